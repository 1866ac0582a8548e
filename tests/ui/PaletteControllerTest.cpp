#include "tests/fakes/FakeAppearance.h"
#include "ui/PaletteController.h"

#include <QApplication>
#include <QPalette>
#include <QTest>

namespace quibel {

namespace {

int windowLightness()
{
    return QApplication::palette().color(QPalette::Window).lightness();
}

} // namespace

/// The theme of these tests is a light one.
class PaletteControllerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { themePalette = QApplication::palette(); }
    void cleanup() { QApplication::setPalette({}); }

    void changesNothingWithoutAPreference()
    {
        FakeAppearance appearance;
        const PaletteController controller(appearance);
        QCOMPARE(QApplication::palette(), themePalette);
        QVERIFY(!QApplication::testAttribute(Qt::AA_SetPalette));
    }

    void followsADesktopThatIsDarkFromTheStart()
    {
        FakeAppearance appearance;
        appearance.setColorScheme(ColorScheme::dark);
        const PaletteController controller(appearance);
        QVERIFY(windowLightness() < 80);
    }

    void followsWhileItRunsAndGoesBackToTheTheme()
    {
        FakeAppearance appearance;
        const PaletteController controller(appearance);
        appearance.setColorScheme(ColorScheme::dark);
        QVERIFY(windowLightness() < 80);
        QVERIFY(QApplication::palette().color(QPalette::Text).lightness() > 200);
        appearance.setColorScheme(ColorScheme::light);
        QCOMPARE(QApplication::palette(), themePalette);
        appearance.setColorScheme(ColorScheme::dark);
        appearance.setColorScheme(ColorScheme::noPreference);
        QCOMPARE(QApplication::palette(), themePalette);
    }

private:
    QPalette themePalette;
};

} // namespace quibel

QTEST_MAIN(quibel::PaletteControllerTest)
#include "PaletteControllerTest.moc"
