#include "ui/TextStyle.h"

#include <QGuiApplication>
#include <QTest>

namespace quibel {

namespace {

QPalette makePalette(const QColor& window, const QColor& text)
{
    QPalette palette;
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    return palette;
}

} // namespace

class TextStyleTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasTheSizeAndWeightOfTheSystemFont()
    {
        const QFont font = TextStyle { .size = 11, .weight = QFont::Medium }.font();
        QCOMPARE(font.family(), QGuiApplication::font().family());
        QCOMPARE(font.pixelSize(), 11);
        QCOMPARE(font.weight(), QFont::Medium);
    }

    void isAsStrongAsItsForeground_data()
    {
        QTest::addColumn<QColor>("window");
        QTest::addColumn<QColor>("text");
        QTest::newRow("light") << QColor(0xffffff) << QColor(Qt::black);
        QTest::newRow("dark") << QColor(0x202020) << QColor(0xf0f0f0);
    }

    void isAsStrongAsItsForeground()
    {
        QFETCH(const QColor, window);
        QFETCH(const QColor, text);
        const QPalette palette = makePalette(window, text);
        QCOMPARE(TextStyle { .foreground = Foreground::primary }.color(palette), text);
        const QColor secondary = TextStyle { .foreground = Foreground::secondary }.color(palette);
        QCOMPARE(secondary.alpha(), 255);
        QVERIFY(qAbs(secondary.lightness() - window.lightness())
                < qAbs(text.lightness() - window.lightness()));
    }

    void isReadableWhereThereIsLittleContrast()
    {
        const QPalette palette = makePalette(QColor(0x808080), QColor(Qt::black));
        const QColor pale = TextStyle { .foreground = Foreground::secondary }.color(palette);
        // 4.5 to 1 on this grey takes a level of 23 at most.
        QVERIFY2(pale.red() <= 23, qPrintable(pale.name()));
    }
};

} // namespace quibel

QTEST_MAIN(quibel::TextStyleTest)
#include "TextStyleTest.moc"
