#include "ui/TemplateImage.h"

#include <QFile>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

namespace quibel {

namespace {

constexpr double outlineShare = 18;

template <typename Draw>
QIcon iconOf(const Draw& draw)
{
    QIcon icon;
    for (const int size : { 16, 18, 22, 24, 32, 36, 44, 48, 64 }) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        draw(painter, size);
        icon.addPixmap(pixmap);
    }
    return icon;
}

} // namespace

TemplateImage::TemplateImage(const QString& fileName)
{
    QFile file(fileName);
    if (file.open(QIODevice::ReadOnly))
        drawing = file.readAll();
}

QIcon TemplateImage::icon(const QColor& color) const
{
    QSvgRenderer renderer;
    if (!renderer.load(drawnIn(color)))
        return {};
    return iconOf([&renderer](QPainter& painter, int /*size*/) { renderer.render(&painter); });
}

QIcon TemplateImage::outlinedIcon(const QColor& color) const
{
    QSvgRenderer renderer;
    QSvgRenderer outline;
    const bool isDark = color.lightnessF() < 0.5F;
    if (!renderer.load(drawnIn(color)) || !outline.load(drawnIn(isDark ? Qt::white : Qt::black)))
        return {};
    return iconOf([&](QPainter& painter, int size) {
        // Around the image itself, which is drawn a little smaller to leave room for it.
        const double width = size / outlineShare;
        const QRectF inner = QRectF(0, 0, size, size).adjusted(width, width, -width, -width);
        for (const double dx : { -width, 0.0, width })
            for (const double dy : { -width, 0.0, width })
                outline.render(&painter, inner.translated(dx, dy));
        renderer.render(&painter, inner);
    });
}

QByteArray TemplateImage::drawnIn(const QColor& color) const
{
    // Qt SVG knows `currentColor` as the colour of a parent element only, never of the widget.
    QByteArray colored = drawing;
    colored.replace("currentColor", color.name().toLatin1());
    return colored;
}

} // namespace quibel
