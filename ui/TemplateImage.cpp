#include "ui/TemplateImage.h"

#include <QFile>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

namespace quibel {

TemplateImage::TemplateImage(const QString& fileName)
{
    QFile file(fileName);
    if (file.open(QIODevice::ReadOnly))
        drawing = file.readAll();
}

QIcon TemplateImage::icon(const QColor& color) const
{
    // Qt SVG knows `currentColor` as the colour of a parent element only, never of the widget.
    QByteArray colored = drawing;
    colored.replace("currentColor", color.name().toLatin1());
    if (colored.isEmpty())
        return {};
    QSvgRenderer renderer;
    if (!renderer.load(colored))
        return {};

    QIcon icon;
    for (const int size : { 16, 18, 22, 24, 32, 36, 44, 48, 64 }) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        renderer.render(&painter);
        icon.addPixmap(pixmap);
    }
    return icon;
}

} // namespace quibel
