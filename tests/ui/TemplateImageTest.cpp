#include "ui/TemplateImage.h"

#include <QImage>
#include <QPixmap>
#include <QTemporaryDir>
#include <QTest>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

const QColor orange(0xff8800);

} // namespace

class TemplateImageTest : public QObject
{
    Q_OBJECT

    QTemporaryDir directory;

    QString write(const QByteArray& drawing)
    {
        QString fileName = directory.filePath(u"image.svg"_s);
        QFile file(fileName);
        if (!file.open(QIODevice::WriteOnly) || file.write(drawing) != drawing.size())
            return {};
        return fileName;
    }

private Q_SLOTS:
    void drawsInTheColorOfThePlace()
    {
        const TemplateImage image(
            write("<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 18 18'>"
                  "<rect width='9' height='18' fill='currentColor'/></svg>"));
        for (const QColor& color : { orange, QColor(Qt::white), QColor(Qt::black) }) {
            const QImage drawn = image.icon(color).pixmap(18, 18).toImage();
            QCOMPARE(drawn.pixelColor(4, 9), color);
            QCOMPARE(drawn.pixelColor(14, 9).alpha(), 0);
        }
    }

    void isSharpAtEverySizeOfAStatusArea()
    {
        const TemplateImage image(write("<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 2 2'>"
                                        "<rect width='1' height='2' fill='currentColor'/></svg>"));
        const QIcon icon = image.icon(orange);
        for (const int size : { 16, 18, 22, 24, 32, 36, 44, 48, 64 }) {
            const QImage drawn = icon.pixmap(size, size).toImage();
            QCOMPARE(drawn.size(), QSize(size, size));
            QCOMPARE(drawn.pixelColor(size / 2 - 1, size / 2), orange);
            QCOMPARE(drawn.pixelColor(size / 2, size / 2).alpha(), 0);
        }
    }

    void anOutlineOfTheOppositeBrightnessStandsOutWhereTheImageDoesNot()
    {
        const TemplateImage image(
            write("<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 18 18'>"
                  "<rect x='6' y='6' width='6' height='6' fill='currentColor'/></svg>"));
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

    void givesNoIconWithoutAnImage_data()
    {
        QTest::addColumn<QByteArray>("drawing");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("no drawing") << QByteArray("text");
    }

    void givesNoIconWithoutAnImage()
    {
        QFETCH(const QByteArray, drawing);
        QVERIFY(TemplateImage(directory.filePath(u"missing.svg"_s)).icon(orange).isNull());
        QVERIFY(TemplateImage(write(drawing)).icon(orange).isNull());
        QVERIFY(TemplateImage(write(drawing)).outlinedIcon(orange).isNull());
    }
};

} // namespace quibel

QTEST_MAIN(quibel::TemplateImageTest)
#include "TemplateImageTest.moc"
