#include "doctor/DesktopChecks.h"
#include "platform/freedesktop/KeyNames.h"
#include "tests/fakes/FakeHotKeyService.h"
#include "tests/fakes/FakeScreenCapture.h"
#include "tests/fakes/FakeScreens.h"
#include "tests/fakes/FakeStatusArea.h"
#include "tests/fakes/FakeWorkspace.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace quibel {

class DesktopChecksTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void judgesTheDisplay_data()
    {
        QTest::addColumn<DisplayFacts>("facts");
        QTest::addColumn<Verdict>("verdict");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("advice");
        const DisplayFacts plain { .server = u"X11"_s, .windowManager = u"Openbox"_s };
        DisplayFacts composed = plain;
        composed.hasCompositor = true;
        DisplayFacts bare = plain;
        bare.windowManager.reset();
        DisplayFacts nested = plain;
        nested.server = u"Xwayland"_s;
        nested.isInsideWayland = true;
        QTest::newRow("X11") << plain << Verdict::fine
                             << u"X11, window manager Openbox, no compositor"_s << QString();
        QTest::newRow("compositor")
            << composed << Verdict::fine << u"X11, window manager Openbox, with a compositor"_s
            << QString();
        QTest::newRow("no window manager")
            << bare << Verdict::failure << u"X11, window manager none, no compositor"_s
            << u"Start a window manager"_s;
        QTest::newRow("Wayland") << nested << Verdict::warning
                                 << u"Xwayland, window manager Openbox, no compositor"_s
                                 << u"quibel-capture-agent --capture"_s;
    }

    void judgesTheDisplay()
    {
        QFETCH(const DisplayFacts, facts);
        QFETCH(const Verdict, verdict);
        QFETCH(const QString, text);
        QFETCH(const QString, advice);
        const Finding finding = judgeDisplay(display(facts));
        QCOMPARE(finding.verdict, verdict);
        QCOMPARE(finding.text, text);
        QCOMPARE(finding.advice.isEmpty(), advice.isEmpty());
        QVERIFY(finding.advice.contains(advice));
        QCOMPARE(finding.details.value(u"server"_s).toString(), facts.server);
        QCOMPARE(finding.details.value(u"windowManager"_s).toString(),
                 facts.windowManager.value_or(QString()));
    }

    void failsWithoutADisplay()
    {
        const Finding finding = judgeDisplay(std::nullopt);
        QCOMPARE(finding.verdict, Verdict::failure);
        QVERIFY(finding.advice.contains(u"DISPLAY"_s));
        QVERIFY(finding.details.value(u"server"_s).isNull());
    }

    void judgesTheHotKey_data()
    {
        using State = SessionBusFacts::State;
        using Bus = SessionBusFacts;
        QTest::addColumn<HotKeyAvailability>("availability");
        QTest::addColumn<SessionBusFacts>("bus");
        QTest::addColumn<std::vector<HotKeyBinding>>("bindings");
        QTest::addColumn<Verdict>("verdict");
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("said");
        const Bus alone { .state = State::answers };
        const Bus beside { .state = State::answers, .agentRuns = true };
        const Bus holding { .state = State::answers,
                            .agentRuns = true,
                            .agentHotKey = u"Meta+N"_s };
        const Bus without { .state = State::answers, .agentRuns = true, .agentHotKey = u""_s };
        const Bus other { .state = State::answers, .agentRuns = true, .agentHotKey = u"Meta+B"_s };
        const Bus noBus {};
        const auto free = HotKeyAvailability::available;
        const auto partly = HotKeyAvailability::partlyTaken;
        const auto taken = HotKeyAvailability::taken;
        using Bindings = std::vector<HotKeyBinding>;
        const Bindings nobody;
        const Bindings some { { .program = u"Openbox"_s }, { .program = u"sxhkd"_s } };
        const Bindings toAgent { { .program = u"Openbox"_s, .isToAgent = true } };
        const Bindings both { { .program = u"Openbox"_s, .isToAgent = true },
                              { .program = u"sxhkd"_s } };
        QTest::newRow("free") << free << alone << nobody << Verdict::fine << u"free"_s
                              << u"could be grabbed"_s;
        QTest::newRow("free, no bus")
            << free << noBus << nobody << Verdict::fine << u"free"_s << QString();
        QTest::newRow("free beside the agent") << free << beside << nobody << Verdict::failure
                                               << u"freeBesideAgent"_s << u"does not hold it"_s;
        QTest::newRow("held by the agent") << taken << holding << nobody << Verdict::fine
                                           << u"heldByAgent"_s << u"held by the running agent"_s;
        QTest::newRow("held beside an agent that does not say")
            << taken << beside << nobody << Verdict::fine << u"heldByAgent"_s
            << u"held by the running agent"_s;
        QTest::newRow("taken beside an agent without it")
            << taken << without << nobody << Verdict::failure << u"taken"_s << u"another program"_s;
        QTest::newRow("free beside an agent with another key")
            << free << other << nobody << Verdict::failure << u"freeBesideAgent"_s
            << u"not chosen yet"_s;
        QTest::newRow("taken beside an agent with another key")
            << taken << other << nobody << Verdict::failure << u"taken"_s << u"another program"_s;
        QTest::newRow("taken") << taken << alone << nobody << Verdict::failure << u"taken"_s
                               << u"another program"_s;
        QTest::newRow("taken, by whom")
            << taken << alone << some << Verdict::failure << u"taken"_s << u"Openbox, sxhkd"_s;
        QTest::newRow("bound to the agent") << taken << without << toAgent << Verdict::fine
                                            << u"boundToAgent"_s << u"to the agent by Openbox"_s;
        QTest::newRow("bound to the agent, which does not run yet")
            << taken << alone << toAgent << Verdict::fine << u"boundToAgent"_s
            << u"to the agent by Openbox"_s;
        QTest::newRow("bound to the agent, which cannot be reached")
            << taken << noBus << toAgent << Verdict::warning << u"taken"_s
            << u"without a session bus"_s;
        QTest::newRow("bound to the agent and to something else")
            << taken << without << both << Verdict::failure << u"taken"_s
            << u"the settings of sxhkd bind it"_s;
        QTest::newRow("taken, no bus") << taken << noBus << nobody << Verdict::warning << u"taken"_s
                                       << u"without a session bus"_s;
        QTest::newRow("free without lock keys beside the agent")
            << partly << without << nobody << Verdict::failure << u"freeBesideAgent"_s
            << u"does not hold it"_s;
        QTest::newRow("partly taken")
            << partly << alone << nobody << Verdict::warning << u"partlyTaken"_s << u"Caps Lock"_s;
    }

    void judgesTheHotKey()
    {
        QFETCH(const HotKeyAvailability, availability);
        QFETCH(const SessionBusFacts, bus);
        QFETCH(const std::vector<HotKeyBinding>, bindings);
        QFETCH(const Verdict, verdict);
        QFETCH(const QString, state);
        QFETCH(const QString, said);
        Patient::Display examined = display({ .server = u"X11"_s, .windowManager = {} });
        examined.hotKeyBindings = bindings;
        const Finding finding = judgeHotKey(availability, bus, examined);
        QCOMPARE(finding.verdict, verdict);
        QCOMPARE(finding.details.value(u"state"_s).toString(), state);
        QVERIFY2(finding.text.startsWith(u"Super+N is "_s)
                     || finding.text.startsWith(u"Super+N could "_s),
                 qPrintable(finding.text));
        QVERIFY2(finding.text.contains(said), qPrintable(finding.text));
        QCOMPARE(finding.details.value(u"key"_s).toString(), u"Meta+N"_s);
        QCOMPARE(finding.advice.isEmpty(), verdict == Verdict::fine);
        if (said.contains(u"sxhkd"_s))
            QVERIFY(finding.advice.contains(said.contains(u"Openbox"_s) ? u"of Openbox, sxhkd"_s
                                                                        : u"of sxhkd"_s));
    }

    void namesAHotKeyThatCannotBe_data()
    {
        QTest::addColumn<HotKeyAvailability>("availability");
        QTest::addColumn<Verdict>("verdict");
        QTest::newRow("free") << HotKeyAvailability::available << Verdict::warning;
        QTest::newRow("taken") << HotKeyAvailability::taken << Verdict::failure;
    }

    void namesAHotKeyThatCannotBe()
    {
        QFETCH(const HotKeyAvailability, availability);
        QFETCH(const Verdict, verdict);
        Patient::Display examined = display({ .server = u"X11"_s, .windowManager = {} });
        examined.hotKey.refusal = u"that cannot be"_s;
        const Finding finding
            = judgeHotKey(availability, { .state = SessionBusFacts::State::answers }, examined);
        QCOMPARE(finding.verdict, verdict);
        QVERIFY2(finding.text.startsWith(u"that cannot be; Super+N "_s), qPrintable(finding.text));
        QVERIFY(!finding.advice.isEmpty());
    }

    void judgesTheTray_data()
    {
        QTest::addColumn<StatusAreaKind>("kind");
        QTest::addColumn<QString>("windowManager");
        QTest::addColumn<Verdict>("verdict");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("advice");
        QTest::newRow("StatusNotifier") << StatusAreaKind::statusNotifier << u"KWin"_s
                                        << Verdict::fine << u"statusNotifier"_s << QString();
        QTest::newRow("XEmbed") << StatusAreaKind::embedding << u"Openbox"_s << Verdict::fine
                                << u"xEmbed"_s << QString();
        QTest::newRow("none") << StatusAreaKind::none << u"Openbox"_s << Verdict::warning
                              << u"none"_s << u"tint2"_s;
        QTest::newRow("none on GNOME") << StatusAreaKind::none << u"GNOME Shell"_s
                                       << Verdict::warning << u"none"_s << u"AppIndicator"_s;
    }

    void judgesTheTray()
    {
        QFETCH(const StatusAreaKind, kind);
        QFETCH(const QString, windowManager);
        QFETCH(const Verdict, verdict);
        QFETCH(const QString, name);
        QFETCH(const QString, advice);
        const Finding finding
            = judgeTray(kind, { .server = u"X11"_s, .windowManager = windowManager });
        QCOMPARE(finding.verdict, verdict);
        QCOMPARE(finding.details.value(u"kind"_s).toString(), name);
        QCOMPARE(finding.advice.isEmpty(), advice.isEmpty());
        QVERIFY(finding.advice.contains(advice));
    }

    void judgesThePreferences_data()
    {
        QTest::addColumn<PreferencesFacts>("facts");
        QTest::addColumn<Verdict>("verdict");
        QTest::addColumn<QString>("text");
        const auto path = u"/home/ada/preferences.json"_s;
        const PreferencesFacts good {
            .path = path, .exists = true, .damage = {}, .canBeWritten = true
        };
        PreferencesFacts fresh = good;
        fresh.exists = false;
        PreferencesFacts damaged = good;
        damaged.damage = u"not an object"_s;
        PreferencesFacts fixed = good;
        fixed.canBeWritten = false;
        QTest::newRow("in order") << good << Verdict::fine << path + u", in order"_s;
        QTest::newRow("none yet") << fresh << Verdict::fine << path + u", none stored yet"_s;
        QTest::newRow("damaged") << damaged << Verdict::warning
                                 << path + u" is damaged: not an object"_s;
        QTest::newRow("read only") << fixed << Verdict::warning << path + u" cannot be written"_s;
    }

    void judgesThePreferences()
    {
        QFETCH(const PreferencesFacts, facts);
        QFETCH(const Verdict, verdict);
        QFETCH(const QString, text);
        const Finding finding = judgePreferences(facts);
        QCOMPARE(finding.verdict, verdict);
        QCOMPARE(finding.text, text);
        QCOMPARE(finding.advice.isEmpty(), verdict == Verdict::fine);
        QCOMPARE(finding.details.value(u"path"_s).toString(), facts.path);
        QCOMPARE(finding.details.value(u"exists"_s).toBool(), facts.exists);
        QCOMPARE(finding.details.value(u"damage"_s).toString(), facts.damage.value_or(QString()));
        QCOMPARE(finding.details.value(u"writable"_s).toBool(), facts.canBeWritten);
    }

    void judgesATrialPicture()
    {
        const TrialPicture picture { .source = TrialPicture::Source::frontWindow,
                                     .size = { 1'920, 1'080 },
                                     .grabbing = 3ms,
                                     .encoding = 41ms,
                                     .encodedSize = { 1'728, 972 },
                                     .encodedBytes = 20'001 };
        const DisplayFacts bare { .server = u"X11"_s, .windowManager = {} };
        DisplayFacts good = bare;
        good.keepsCoveredWindows = true;
        const Finding finding = judgeTrial(picture, good);
        QCOMPARE(finding.verdict, Verdict::fine);
        QCOMPARE(finding.text,
                 u"front window, 1920 × 1080 pixels, 3 ms to grab; 41 ms to encode, 21 kB"_s);
        const QJsonObject details { { u"way"_s, u"window"_s },       { u"width"_s, 1'920 },
                                    { u"height"_s, 1'080 },          { u"grabMilliseconds"_s, 3 },
                                    { u"encodeMilliseconds"_s, 41 }, { u"encodedWidth"_s, 1'728 },
                                    { u"encodedHeight"_s, 972 },     { u"encodedBytes"_s, 20'001 },
                                    { u"coveredWindows"_s, true } };
        QCOMPARE(finding.details, details);

        TrialPicture whole = picture;
        whole.source = TrialPicture::Source::display;
        QVERIFY(judgeTrial(whole, good).text.startsWith(u"display"_s));
        QCOMPARE(judgeTrial(whole, good).details.value(u"way"_s).toString(), u"display"_s);

        QCOMPARE(judgeTrial(picture, bare).verdict, Verdict::warning);
        QVERIFY(judgeTrial(picture, bare).advice.contains(u"Composite"_s));
        QCOMPARE(judgeTrial(std::nullopt, good).verdict, Verdict::failure);
        QVERIFY(!judgeTrial(std::nullopt, good).advice.isEmpty());
    }

private:
    [[nodiscard]] Patient::Display display(const DisplayFacts& facts)
    {
        return { .facts = facts,
                 .hotKey = { .key = Qt::META | Qt::Key_N },
                 .hotKeyBindings = {},
                 .hotKeys = hotKeys,
                 .statusArea = statusArea,
                 .workspace = workspace,
                 .screens = screens,
                 .screenCapture = screenCapture };
    }

    KeyNames keyNames;
    FakeHotKeyService hotKeys;
    FakeStatusArea statusArea;
    FakeWorkspace workspace;
    FakeScreens screens;
    FakeScreenCapture screenCapture;
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::DesktopChecksTest)
#include "DesktopChecksTest.moc"
