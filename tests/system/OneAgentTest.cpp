#include "tests/desktop/StoppedProcess.h"
#include "tests/system/AgentRun.h"
#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <algorithm>
#include <csignal>

using namespace Qt::StringLiterals;

namespace quibel::testing {

/// Starts of the program while it runs already, and what they ask of it.
class OneAgentTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    [[nodiscard]] QProcessEnvironment withoutBus() const
    {
        QProcessEnvironment environment = desktop.environment();
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nowhere"_s);
        return environment;
    }

    [[nodiscard]] std::optional<AgentRun> run(const QStringList& arguments) const
    {
        return AgentRun::of(desktop.environment(), arguments);
    }

    [[nodiscard]] bool keyPanelIsShown() const
    {
        return desktop
            .output(u"xdotool"_s,
                    { u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Connect Quibel$"_s })
            .has_value();
    }

    /// Calls a method of `org.freedesktop.Application`; none when it fails.
    [[nodiscard]] std::optional<QByteArray> call(const QString& method,
                                                 const QStringList& arguments) const
    {
        return desktop.output(u"gdbus"_s,
                              QStringList { u"call"_s,
                                            u"--session"_s,
                                            u"--dest"_s,
                                            u"org.quibel.CaptureAgent"_s,
                                            u"--object-path"_s,
                                            u"/org/quibel/CaptureAgent"_s,
                                            u"--method"_s,
                                            u"org.freedesktop.Application."_s + method }
                                  + arguments);
    }

    [[nodiscard]] bool nobodyRuns() const
    {
        const auto end = run({ u"--quit"_s });
        return end && end->output.contains("it is not running");
    }

private Q_SLOTS:
    void cleanup() { QTRY_VERIFY(nobodyRuns()); }

    void aSecondStartOpensThePanelAndEnds()
    {
        AgentSession session(desktop);
        QVERIFY(session.launch());
        const auto end = run({});
        QVERIFY(end);
        QCOMPARE(end->exitCode, 0);
        QCOMPARE(end->output + end->errors, QByteArray());
        QTRY_VERIFY(session.panelHasKeyboard());
        QVERIFY(session.isRunning());
    }

    void aSecondStartNeedsNoDisplay()
    {
        AgentSession session(desktop);
        QVERIFY(session.launch());
        QProcessEnvironment elsewhere = desktop.environment();
        elsewhere.remove(u"DISPLAY"_s);
        const auto end = AgentRun::of(elsewhere, { u"--send-branch"_s });
        QVERIFY(end);
        QCOMPARE(end->exitCode, 0);
        QTRY_VERIFY(session.panelHasKeyboard());
    }

    void theKeyPanelIsAskedFor()
    {
        AgentSession session(desktop);
        QVERIFY(session.launch());
        QVERIFY(!keyPanelIsShown());
        QCOMPARE(run({ u"--connect-account"_s })->exitCode, 0);
        QTRY_VERIFY(keyPanelIsShown());
        QVERIFY(!session.panel());
    }

    void quittingEndsTheAgent()
    {
        AgentSession session(desktop);
        QVERIFY(session.launch());
        const auto end = run({ u"--quit"_s });
        QVERIFY(end);
        QCOMPARE(end->exitCode, 0);
        QCOMPARE(end->output + end->errors, QByteArray());
        QTRY_VERIFY(!session.isRunning());
        QCOMPARE(session.exitCode(), 0);
    }

    void capturingSendsAKeptBranchAgainAndSendingOpensThePanel()
    {
        AgentSession session(desktop);
        QVERIFY(session.storeKey());
        session.service.answer("/api/projects", Answer::json(503, "{}"));
        session.writePreferences({ { keptKey, QJsonObject { { u"base64"_s, u"e30="_s } } } });
        QVERIFY(session.launch());
        QTRY_COMPARE(session.countOf("/api/projects"), 1U);
        QCOMPARE(run({ u"--send-branch"_s })->exitCode, 0);
        QTRY_VERIFY(session.panelHasKeyboard());
        session.press(u"Escape"_s);
        QTRY_VERIFY(!session.panel());
        QCOMPARE(session.countOf(branchPath), 0U);

        QCOMPARE(run({ u"--capture"_s })->exitCode, 0);
        QTRY_COMPARE(session.countOf(branchPath), 1U);
        QCOMPARE(session.service.requests().back().body, "{}"_ba);
        QTRY_VERIFY(!session.preferences().contains(keptKey));
        QVERIFY(!session.panel());
        QCOMPARE(run({ u"--capture"_s })->exitCode, 0);
        QTRY_VERIFY(session.panelHasKeyboard());
    }

    void aFirstStartCarriesItsCommandOut_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<bool>("opensPanel");
        QTest::addColumn<bool>("opensKeyPanel");
        QTest::newRow("none") << QString() << false << false;
        QTest::newRow("send") << u"--send-branch"_s << true << false;
        QTest::newRow("capture") << u"--capture"_s << true << false;
        QTest::newRow("connect") << u"--connect-account"_s << false << true;
    }

    void aFirstStartCarriesItsCommandOut()
    {
        QFETCH(const QString, command);
        QFETCH(const bool, opensPanel);
        QFETCH(const bool, opensKeyPanel);
        AgentSession session(desktop);
        QVERIFY(session.launch({}, command.isEmpty() ? QStringList() : QStringList(command)));
        // A command that follows shows that the first one is over.
        QCOMPARE(call(u"Open"_s, { u"[]"_s, u"{}"_s }), "()\n"_ba);
        QTRY_COMPARE(session.panelHasKeyboard(), opensPanel);
        QTRY_COMPARE(keyPanelIsShown(), opensKeyPanel);
    }

    void startsAtTheSameInstantEndAsOneAgent()
    {
        constexpr int starts = 4;
        for (int round = 0; round < 3; ++round) {
            AgentSession session(desktop);
            std::vector<std::unique_ptr<QProcess>> processes;
            for (int start = 0; start < starts; ++start) {
                processes.push_back(std::make_unique<QProcess>());
                processes.back()->setProcessEnvironment(desktop.environment());
                processes.back()->start(AgentRun::program(), QStringList());
            }
            const auto running = [&] {
                return std::ranges::count(processes, QProcess::Running, [](const auto& process) {
                    return process->state();
                });
            };
            QTRY_COMPARE_WITH_TIMEOUT(running(), 1, 20'000);
            QTRY_VERIFY_WITH_TIMEOUT(session.panelHasKeyboard(), 20'000);
            QCOMPARE(run({ u"--quit"_s })->exitCode, 0);
            QTRY_COMPARE(running(), 0);
            for (const auto& process : processes) {
                QCOMPARE(process->exitStatus(), QProcess::NormalExit);
                QCOMPARE(process->exitCode(), 0);
                QCOMPARE(process->readAllStandardError(), QByteArray());
            }
        }
    }

    void aStartWhileTheAgentEndsBecomesTheAgent()
    {
        AgentSession session(desktop);
        for (int round = 0; round < 5; ++round) {
            QVERIFY(session.launch());
            QProcess next;
            next.setProcessEnvironment(desktop.environment());
            QCOMPARE(run({ u"--quit"_s })->exitCode, 0);
            next.start(AgentRun::program(), { u"--send-branch"_s });
            QTRY_VERIFY(!session.isRunning());
            QTRY_VERIFY_WITH_TIMEOUT(session.panelHasKeyboard(), 20'000);
            QCOMPARE(next.state(), QProcess::Running);
            QCOMPARE(run({ u"--quit"_s })->exitCode, 0);
            QTRY_COMPARE(next.state(), QProcess::NotRunning);
            QCOMPARE(next.exitCode(), 0);
            QCOMPARE(next.readAllStandardError(), QByteArray());
        }
    }

    void aCommandThatMeetsTheEndOfTheAgentIsNotLost()
    {
        AgentSession session(desktop);
        for (int round = 0; round < 5; ++round) {
            QVERIFY(session.launch());
            QProcess quitting;
            QProcess sending;
            for (QProcess* process : { &quitting, &sending })
                process->setProcessEnvironment(desktop.environment());
            quitting.start(AgentRun::program(), { u"--quit"_s });
            sending.start(AgentRun::program(), { u"--send-branch"_s });
            QTRY_COMPARE(quitting.state(), QProcess::NotRunning);
            QTRY_VERIFY(!session.isRunning());
            // The agent had opened its panel before it ended, or the start became the agent.
            QTRY_VERIFY_WITH_TIMEOUT(
                sending.state() == QProcess::NotRunning || session.panelHasKeyboard(), 20'000);
            static_cast<void>(run({ u"--quit"_s }));
            QTRY_COMPARE(sending.state(), QProcess::NotRunning);
            QCOMPARE(sending.exitCode(), 0);
            QCOMPARE(sending.readAllStandardError(), QByteArray());
        }
    }

    void anAgentThatHangsHoldsNobodyUpForEver()
    {
        AgentSession session(desktop);
        QVERIFY(session.launch());
        session.signal(SIGSTOP);
        const auto end = run({});
        session.signal(SIGCONT);
        QVERIFY(end);
        QCOMPARE(end->exitCode, 1);
        QCOMPARE(end->errors.count('\n'), 1);
        QVERIFY(end->errors.contains("does not answer"));
        QTRY_VERIFY(session.panelHasKeyboard());
    }

    void desktopsStartItsActions()
    {
        AgentSession session(desktop);
        QVERIFY(session.launch());
        const QString platformData = u"{'activation-token': <'x'>, 'anything': <42>}"_s;
        QCOMPARE(call(u"Open"_s, { u"['file:///tmp']"_s, platformData }), "()\n"_ba);
        QVERIFY(!call(u"ActivateAction"_s, { u"fly"_s, u"[]"_s, platformData }));
        QCOMPARE(call(u"ActivateAction"_s, { u"connect-account"_s, u"[]"_s, platformData }),
                 "()\n"_ba);
        QTRY_VERIFY(keyPanelIsShown());
        QVERIFY(!session.panel());
        QCOMPARE(call(u"Activate"_s, { platformData }), "()\n"_ba);
        QTRY_VERIFY(session.panelHasKeyboard());
        QCOMPARE(call(u"ActivateAction"_s, { u"quit"_s, u"[]"_s, platformData }), "()\n"_ba);
        QTRY_VERIFY(!session.isRunning());
        QCOMPARE(session.exitCode(), 0);
    }

    void theBusStartsIt_data()
    {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<bool>("opensPanel");
        QTest::newRow("Activate") << u"Activate"_s << QStringList(u"{}"_s) << true;
        QTest::newRow("action") << u"ActivateAction"_s
                                << QStringList({ u"connect-account"_s, u"[]"_s, u"{}"_s }) << false;
    }

    void theBusStartsIt()
    {
        QFETCH(const QString, method);
        QFETCH(const QStringList, arguments);
        QFETCH(const bool, opensPanel);
        AgentSession session(desktop);
        QVERIFY(desktop.installBusService(u"org.quibel.CaptureAgent"_s, AgentRun::program()));
        QCOMPARE(call(method, arguments), "()\n"_ba);
        QTRY_COMPARE(session.panelHasKeyboard(), opensPanel);
        QTRY_COMPARE(keyPanelIsShown(), !opensPanel);
        QVERIFY(desktop.removeBusService(u"org.quibel.CaptureAgent"_s));
        QCOMPARE(run({ u"--quit"_s })->exitCode, 0);
    }

    void withoutABusThereIsStillOneAgent()
    {
        AgentSession session(desktop);
        QVERIFY(session.launch(withoutBus()));
        const auto plain = AgentRun::of(withoutBus(), {});
        QVERIFY(plain);
        QCOMPARE(plain->exitCode, 0);
        QCOMPARE(plain->errors.count('\n'), 1);
        QVERIFY(plain->errors.contains("runs already"));
        // A bus that came later does not lead to it either.
        for (const auto& environment : { withoutBus(), desktop.environment() }) {
            const auto commanded = AgentRun::of(environment, { u"--send-branch"_s });
            QVERIFY(commanded);
            QCOMPARE(commanded->exitCode, 1);
            QVERIFY(commanded->errors.contains("session bus"));
        }
        QVERIFY(session.openPanel());

        // Another screen of the same display has the same keyboard.
        QProcessEnvironment otherScreen = withoutBus();
        otherScreen.insert(u"DISPLAY"_s, otherScreen.value(u"DISPLAY"_s) + u".0"_s);
        QVERIFY(AgentRun::of(otherScreen, {})->errors.contains("runs already"));

        session.kill();
        QVERIFY(session.launch(withoutBus()));
    }

    void oneIsEnoughWhereThereIsNoRuntimeDirectory()
    {
        QProcessEnvironment bare = withoutBus();
        bare.insert(u"XDG_RUNTIME_DIR"_s, {});
        AgentSession session(desktop);
        QVERIFY(session.launch(bare));
        const auto second = AgentRun::of(bare, {});
        QVERIFY(second);
        QVERIFY(second->errors.contains("runs already"));
        QCOMPARE(second->errors.count('\n'), 1);
    }

    void aBusThatHangsHoldsNoStartUp()
    {
        AgentSession session(desktop);
        const StoppedProcess hanging(desktop.busProcess());
        QVERIFY(session.launch());
        QVERIFY(session.openPanel());
        session.press(u"Escape"_s);
        session.signal(SIGTERM);
        QTRY_VERIFY(!session.isRunning());
        QCOMPARE(session.exitCode(), 0);
    }

    void nobodyElseSaysWhichHotKeyItHolds()
    {
        AgentSession session(desktop);
        QVERIFY(session.launch());
        const auto property = [this](const QString& method, const QStringList& value) {
            return desktop.output(u"gdbus"_s,
                                  QStringList { u"call"_s,
                                                u"--session"_s,
                                                u"--dest"_s,
                                                u"org.quibel.CaptureAgent"_s,
                                                u"--object-path"_s,
                                                u"/org/quibel/CaptureAgent"_s,
                                                u"--method"_s,
                                                u"org.freedesktop.DBus.Properties."_s + method,
                                                u"org.quibel.CaptureAgent"_s,
                                                u"HeldHotKey"_s }
                                      + value);
        };
        QCOMPARE(property(u"Get"_s, {}), "(<'Meta+Shift+B'>,)\n"_ba);
        QVERIFY(!property(u"Set"_s, { u"<'Meta+Shift+N'>"_s }));
        QCOMPARE(property(u"Get"_s, {}), "(<'Meta+Shift+B'>,)\n"_ba);
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    using namespace quibel::testing;
    return runOnDesktop<OneAgentTest, QApplication>(argc, argv, { .keyRing = true });
}

#include "OneAgentTest.moc"
