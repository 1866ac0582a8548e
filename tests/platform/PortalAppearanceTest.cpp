#include "platform/freedesktop/PortalAppearance.h"
#include "tests/desktop/RunOnDesktop.h"
#include "tests/platform/SettingsPortal.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
using quibel::testing::SettingsPortal;

namespace quibel {

class PortalAppearanceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // First, when nothing has come over the bus yet.
    void tellsOfAChangeOnce()
    {
        SettingsPortal portal(1U);
        PortalAppearance appearance;
        QTRY_COMPARE(appearance.colorScheme(), ColorScheme::dark);
        const QSignalSpy changes(&appearance, &Appearance::colorSchemeChanged);
        portal.set(1U);
        portal.set(2U);
        QTRY_COMPARE(appearance.colorScheme(), ColorScheme::light);
        QCOMPARE(changes.size(), 1);
    }

    void hasNoPreferenceWithoutAPortal()
    {
        const PortalAppearance appearance;
        const SettingsPortal later(0U);
        QTRY_COMPARE(later.questions(), 1); // The first went to nobody.
        QCOMPARE(appearance.colorScheme(), ColorScheme::noPreference);
    }

    void understandsThePortal_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<ColorScheme>("scheme");
        QTest::newRow("none") << QVariant(0U) << ColorScheme::noPreference;
        QTest::newRow("dark") << QVariant(1U) << ColorScheme::dark;
        QTest::newRow("light") << QVariant(2U) << ColorScheme::light;
        QTest::newRow("unknown") << QVariant(3U) << ColorScheme::noPreference;
        QTest::newRow("no number") << QVariant(u"dark"_s) << ColorScheme::noPreference;
    }

    void understandsThePortal()
    {
        QFETCH(const QVariant, value);
        QFETCH(const ColorScheme, scheme);
        SettingsPortal portal(scheme == ColorScheme::dark ? 2U : 1U);
        const PortalAppearance appearance;
        QTRY_VERIFY(appearance.colorScheme() != ColorScheme::noPreference);
        portal.set(value);
        QTRY_COMPARE(appearance.colorScheme(), scheme);

        const PortalAppearance another;
        QTRY_COMPARE(portal.questions(), 2);
        QTRY_COMPARE(another.colorScheme(), scheme);
    }

    void doesNotWaitForThePortal()
    {
        const SettingsPortal portal(1U);
        const PortalAppearance appearance;
        QCOMPARE(appearance.colorScheme(), ColorScheme::noPreference);
        QTRY_COMPARE(appearance.colorScheme(), ColorScheme::dark);
    }

    void hearsNothingOfOtherSettings()
    {
        SettingsPortal portal(1U);
        const PortalAppearance appearance;
        QTRY_COMPARE(appearance.colorScheme(), ColorScheme::dark);
        portal.tell(u"org.freedesktop.appearance"_s, u"contrast"_s, 2U);
        portal.tell(u"org.example"_s, u"color-scheme"_s, 2U);
        portal.set(1U);
        const PortalAppearance later; // Its answer comes behind the signals.
        QTRY_COMPARE(later.colorScheme(), ColorScheme::dark);
        QCOMPARE(appearance.colorScheme(), ColorScheme::dark);
    }

    void asksAPortalThatComesLate()
    {
        const PortalAppearance appearance;
        const SettingsPortal portal(1U);
        QTRY_COMPARE(appearance.colorScheme(), ColorScheme::dark);
    }
};

} // namespace quibel

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::PortalAppearanceTest>(
        argc, argv, { .windowManager = {} });
}

#include "PortalAppearanceTest.moc"
