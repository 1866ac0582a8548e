#include "ui/TemplateImage.h"

#include <QIconEngine>
#include <QPainter>
#include <QPixmap>

#include <optional>
#include <utility>

namespace quibel {

namespace {

constexpr double side = 18;

/// Draws when it is asked, so that no picture is kept in each of the sizes.
class TemplateIconEngine final : public QIconEngine
{
public:
    TemplateIconEngine(QList<QPainterPath> shapes,
                       const QColor& ink,
                       std::optional<QColor> outlineInk)
        : drawing(std::move(shapes))
        , color(ink)
        , outline(outlineInk)
    {
    }

    void paint(QPainter* painter,
               const QRect& rect,
               QIcon::Mode /*mode*/,
               QIcon::State /*state*/) override
    {
        painter->setRenderHint(QPainter::Antialiasing);
        if (!outline) {
            fill(*painter, rect, color);
            return;
        }
        // Around the image itself, which is drawn a little smaller to leave room for it.
        const double width = rect.width() / side;
        const QRectF inner = QRectF(rect).adjusted(width, width, -width, -width);
        for (const double dx : { -width, 0.0, width })
            for (const double dy : { -width, 0.0, width })
                fill(*painter, inner.translated(dx, dy), *outline);
        fill(*painter, inner, color);
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override
    {
        QPixmap pixmap(size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        paint(&painter, pixmap.rect(), mode, state);
        return pixmap;
    }

    QList<QSize> availableSizes(QIcon::Mode /*mode*/, QIcon::State /*state*/) override
    {
        QList<QSize> sizes;
        for (const int size : { 16, 18, 22, 24, 32, 36, 44, 48, 64 })
            sizes.append({ size, size });
        return sizes;
    }

    [[nodiscard]] QIconEngine* clone() const override { return new TemplateIconEngine(*this); }

private:
    void fill(QPainter& painter, const QRectF& place, const QColor& ink) const
    {
        const QTransform fitting = QTransform::fromTranslate(place.x(), place.y())
                                       .scale(place.width() / side, place.height() / side);
        for (const QPainterPath& shape : drawing)
            painter.fillPath(fitting.map(shape), ink);
    }

    QList<QPainterPath> drawing;
    QColor color;
    std::optional<QColor> outline;
};

} // namespace

TemplateImage::TemplateImage(QList<QPainterPath> shapes)
    : drawing(std::move(shapes))
{
}

QIcon TemplateImage::icon(const QColor& color) const
{
    return QIcon(new TemplateIconEngine(drawing, color, std::nullopt));
}

QIcon TemplateImage::outlinedIcon(const QColor& color) const
{
    const bool isDark = color.lightnessF() < 0.5F;
    return QIcon(new TemplateIconEngine(drawing, color, isDark ? Qt::white : Qt::black));
}

} // namespace quibel
