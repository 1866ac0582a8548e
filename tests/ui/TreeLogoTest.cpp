#include "ui/TemplateImage.h"
#include "ui/TreeLogo.h"

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>
#include <QTest>

#include <algorithm>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

// What two ways to draw the same may differ in at an edge.
constexpr int edgeTolerance = 32;

QImage logoOfTheIconTheme(int size)
{
    QFile file(QUIBEL_LOGO_OF_THE_ICON_THEME);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QSvgRenderer renderer(file.readAll().replace("currentColor", "black"));
    QImage drawn(size, size, QImage::Format_ARGB32_Premultiplied);
    drawn.fill(Qt::transparent);
    QPainter painter(&drawn);
    renderer.render(&painter);
    return drawn;
}

int largestDifference(const QImage& one, const QImage& other)
{
    int largest = one.size() == other.size() ? 0 : 255;
    for (int y = 0; largest < 255 && y < one.height(); ++y)
        for (int x = 0; x < one.width(); ++x)
            largest = std::max(
                largest, std::abs(one.pixelColor(x, y).alpha() - other.pixelColor(x, y).alpha()));
    return largest;
}

} // namespace

class TreeLogoTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isTheSameAsInTheIconTheme()
    {
        const QIcon icon = TemplateImage(treeLogo()).icon(Qt::black);
        for (const QSize& available : icon.availableSizes()) {
            const int size = available.width();
            const QImage themed = logoOfTheIconTheme(size);
            QVERIFY(themed.pixelColor(size / 2, size * 2 / 3).alpha() > 0);
            const QImage drawn = icon.pixmap(size, size).toImage();
            const int difference = largestDifference(drawn, themed);

            QVERIFY2(difference <= edgeTolerance, qPrintable(QString::number(difference)));
        }
    }
};

} // namespace quibel

QTEST_MAIN(quibel::TreeLogoTest)
#include "TreeLogoTest.moc"
