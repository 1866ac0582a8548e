#include "panels/LegibleColor.h"

#include <QTest>

#include <algorithm>
#include <cmath>

namespace quibel {

namespace {

QPalette makePalette(QRgb window, QRgb text)
{
    QPalette palette;
    palette.setColor(QPalette::Window, QColor(window));
    palette.setColor(QPalette::WindowText, QColor(text));
    return palette;
}

double luminance(QRgb color)
{
    const auto linear = [](int component) {
        const double share = component / 255.0;
        return share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(qRed(color)) + 0.7152 * linear(qGreen(color))
        + 0.0722 * linear(qBlue(color));
}

double contrast(const QColor& a, const QColor& b)
{
    const double first = luminance(a.rgb()) + 0.05;
    const double second = luminance(b.rgb()) + 0.05;
    return std::max(first, second) / std::min(first, second);
}

const QColor red(0xffff3b30);
const QColor halfBlack(0, 0, 0, 128);
const QColor halfWhite(255, 255, 255, 128);

} // namespace

class LegibleColorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void standsOutFromTheWindow_data()
    {
        QTest::addColumn<QColor>("wanted");
        QTest::addColumn<QPalette>("palette");
        const QPalette light = makePalette(0xffefefef, 0xff000000);
        const QPalette dark = makePalette(0xff31363b, 0xfffcfcfc);
        QTest::newRow("red on light") << red << light;
        QTest::newRow("red on dark") << red << dark;
        QTest::newRow("translucent on light") << halfBlack << light;
        QTest::newRow("translucent on dark") << halfWhite << dark;
        QTest::newRow("nothing at all") << QColor(Qt::transparent) << light;
    }

    void standsOutFromTheWindow()
    {
        QFETCH(const QColor, wanted);
        QFETCH(const QPalette, palette);
        const QColor color = legibleColor(wanted, palette);
        QCOMPARE(color.alpha(), 255);
        QVERIFY2(contrast(color, palette.color(QPalette::Window)) >= 4.5, qPrintable(color.name()));
    }

    void keepsAColorThatStandsOut()
    {
        const QPalette light = makePalette(0xffffffff, 0xff000000);
        QCOMPARE(legibleColor(QColor(0xffb00020), light), QColor(0xffb00020));
    }

    void staysAsCloseToTheWantedColorAsItCan()
    {
        const QColor color = legibleColor(red, makePalette(0xffefefef, 0xff000000));
        QVERIFY2(color.red() > 2 * color.green() && color.red() > 2 * color.blue(),
                 qPrintable(color.name()));
    }

    void fallsBackToTheTextColorOnAWindowWithoutRoom()
    {
        const QPalette grey = makePalette(0xff808080, 0xff202020);
        QCOMPARE(legibleColor(red, grey), QColor(0xff202020));
    }
};

} // namespace quibel

QTEST_MAIN(quibel::LegibleColorTest)
#include "LegibleColorTest.moc"
