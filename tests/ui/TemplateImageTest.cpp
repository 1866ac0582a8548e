#include "ui/TemplateImage.h"

#include <QImage>
#include <QPixmap>
#include <QTest>

namespace quibel {

namespace {

const QColor orange(0xff8800);

TemplateImage rectangle(const QRectF& place)
{
    QPainterPath path;
    path.addRect(place);
    return TemplateImage({ path });
}

} // namespace

class TemplateImageTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void drawsInTheColorOfThePlace()
    {
        const TemplateImage image = rectangle({ 0, 0, 9, 18 });
        for (const QColor& color : { orange, QColor(Qt::white), QColor(Qt::black) }) {
            const QImage drawn = image.icon(color).pixmap(18, 18).toImage();
            QCOMPARE(drawn.pixelColor(4, 9), color);
            QCOMPARE(drawn.pixelColor(14, 9).alpha(), 0);
        }
    }

    void isSharpAtEverySizeOfAStatusArea()
    {
        const QIcon icon = rectangle({ 0, 0, 9, 18 }).icon(orange);
        for (const int size : { 16, 18, 22, 24, 32, 36, 44, 48, 64 }) {
            QVERIFY(icon.availableSizes().contains(QSize(size, size)));
            const QImage drawn = icon.pixmap(size, size).toImage();
            QCOMPARE(drawn.size(), QSize(size, size));
            QCOMPARE(drawn.pixelColor(size / 2 - 1, size / 2), orange);
            QCOMPARE(drawn.pixelColor(size / 2, size / 2).alpha(), 0);
        }
    }

    void anOutlineOfTheOppositeBrightnessStandsOutWhereTheImageDoesNot()
    {
        const TemplateImage image = rectangle({ 6, 6, 6, 6 });
        const auto pixel = [&](const QColor& color, QPoint at) {
            return image.outlinedIcon(color).pixmap(36, 36).toImage().pixelColor(at);
        };
        const QPoint middle(18, 18);
        const QPoint edge(11, 18);
        QCOMPARE(pixel(Qt::black, middle), QColor(Qt::black));
        QCOMPARE(pixel(Qt::black, edge), QColor(Qt::white));
        QCOMPARE(pixel(Qt::white, middle), QColor(Qt::white));
        QCOMPARE(pixel(Qt::white, edge), QColor(Qt::black));
        QCOMPARE(pixel(Qt::white, { 2, 2 }).alpha(), 0);
    }

    void aCopyOfTheIconIsTheSame()
    {
        QIcon copy = rectangle({ 6, 6, 6, 6 }).outlinedIcon(orange);
        const QImage original = copy.pixmap(36, 36).toImage();
        copy.detach();
        QCOMPARE(copy.pixmap(36, 36).toImage(), original);
    }
};

} // namespace quibel

QTEST_MAIN(quibel::TemplateImageTest)
#include "TemplateImageTest.moc"
