#include "tests/app/AgentBench.h"

using namespace Qt::StringLiterals;

namespace quibel {

class AppDelegateTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void launchesInOrder()
    {
        AgentBench bench;
        bench.storeKey();
        bench.keepBranch("{}");
        bench.launch();
        QCOMPARE(bench.desktop.journal.entries,
                 QStringList({ u"setActivationPolicy"_s,
                               u"GET /base/api/projects"_s,
                               u"look for the status area"_s,
                               u"read quibel.lastFailedCapture"_s,
                               u"installHandler"_s,
                               u"registerHotKey"_s,
                               u"prepare panel"_s }));
    }

    void constructionAloneTouchesNothing()
    {
        AgentBench bench;
        bench.storeKey();
        const AppDelegate delegate(bench.desktop.ports());
        AgentBench::settle();
        QCOMPARE(bench.desktop.journal.entries, QStringList());
        QVERIFY(bench.desktop.session.requests.empty());
    }

    void beforeLaunchTheMenuCommandsDoNothing()
    {
        AgentBench bench;
        AppDelegate delegate(bench.desktop.ports());
        delegate.connectAccount();
        delegate.sendBranch();
        AgentBench::settle();
        QVERIFY(bench.desktop.panelWindows.calls.isEmpty());
    }

    void aFirstStartWithoutAKeyAsksNothingAndIsReady()
    {
        AgentBench bench;
        bench.launch();
        AgentBench::settle();
        QVERIFY(bench.desktop.session.requests.empty());
        QVERIFY(!bench.statusLine().isVisible());
        QVERIFY(!bench.desktop.hotKeys.registrations.empty());
        QCOMPARE(bench.delegate->heldHotKey(), u"Meta+Shift+B"_s);
        bench.pressHotKey();
        QVERIFY(AgentBench::panelIsOpen());
        QVERIFY(bench.syncWarningIsShown());
        AgentBench::pressKey(Qt::Key_Escape);
    }

    void theEnvironmentsKeyFetchesTheProjects()
    {
        AgentBench bench;
        bench.desktop.environment.insert(u"QUIBEL_API_KEY"_s, u"sk_environment"_s);
        bench.launch();
        QCOMPARE(bench.desktop.session.requests.size(), 1U);
        QCOMPARE(bench.desktop.session.requests.front().headers.front().second,
                 "Bearer sk_environment"_ba);
    }

    void aSlowStoreHoldsUpNoStart()
    {
        AgentBench bench;
        bench.storeKey();
        bench.desktop.secretItems.slow = true;
        bench.launch();
        QCOMPARE(bench.desktop.secretItems.holds, std::vector { std::chrono::milliseconds(0) });
        QCOMPARE(bench.delegate->heldHotKey(), u"Meta+Shift+B"_s);
        QVERIFY(bench.desktop.session.requests.empty());
        QVERIFY(bench.desktop.secretItems.answerLate());
        QCOMPARE(bench.desktop.session.requests.size(), 1U);
    }

    void aLockedStoreIsWaitedForAndItsLateProjectsOnlyFillTheList()
    {
        AgentBench bench;
        bench.storeKey();
        bench.keepBranch("{}");
        bench.desktop.secretItems.locked = true;
        bench.launch();
        AgentBench::settle();
        QVERIFY(bench.desktop.session.requests.empty());
        bench.desktop.secretItems.locked = false;
        bench.desktop.secretItems.change();
        QCOMPARE(bench.desktop.session.requests.size(), 1U);
        bench.desktop.session.answer(
            0, FakeHttpSession::success(200, R"([{"id":"p1","name":"Atlas"}])"));
        QTRY_VERIFY(bench.desktop.output.contains("Loaded 1 projects from API\n"));
        QVERIFY(bench.keptBranch());
        QVERIFY(!bench.desktop.secretItems.calls.contains(u"unlock"_s));
    }

    void aLockedStoreIsNotWaitedForWhenTheEnvironmentHasAKey()
    {
        AgentBench bench;
        bench.desktop.environment.insert(u"QUIBEL_API_KEY"_s, u"sk_environment"_s);
        bench.desktop.secretItems.locked = true;
        bench.launch();
        QCOMPARE(bench.desktop.session.requests.size(), 1U);
    }

    void openingThePanelAsksNobodyToUnlockTheStore()
    {
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.desktop.secretItems.locked = true;
        bench.launch();
        bench.pressHotKey();
        QVERIFY(AgentBench::panelIsOpen());
        QVERIFY(!bench.desktop.secretItems.calls.contains(u"unlock"_s));
        AgentBench::type(u"thought"_s);
        AgentBench::pressKey(Qt::Key_Return);
        AgentBench::settle();
        QVERIFY(!AgentBench::panelIsOpen());
        QCOMPARE(bench.desktop.secretItems.calls.count(u"unlock"_s), 1);
        bench.desktop.secretItems.answerPrompts(false);
        QVERIFY(bench.keptBranch());
    }

    void aKeptBranchSurvivesAStartWithoutNetwork()
    {
        AgentBench bench;
        bench.storeKey();
        bench.keepBranch("{\"kept\":1}");
        bench.launch();
        bench.desktop.session.answer(0,
                                     FakeHttpSession::failure(TransportErrorCode::cannotFindHost));
        AgentBench::settle();
        bench.pressHotKey();
        QVERIFY(!AgentBench::panelIsOpen());
        QCOMPARE(bench.desktop.session.requests.back().body.joined(), "{\"kept\":1}"_ba);
    }

    void anAnswerWithProjectsDropsTheKeptBranch()
    {
        AgentBench bench;
        bench.storeKey();
        bench.keepBranch("{}");
        bench.launch();
        bench.desktop.session.answer(
            0, FakeHttpSession::success(200, R"([{"id":"p1","name":"Atlas"}])"));
        QTRY_COMPARE(bench.keptBranch(), std::nullopt);
        bench.pressHotKey();
        QVERIFY(AgentBench::panelIsOpen());
        QVERIFY(!bench.syncWarningIsShown());
        AgentBench::pressKey(Qt::Key_Escape);
    }

    void anEmptyAnswerLeavesTheKeptBranch()
    {
        AgentBench bench;
        bench.storeKey();
        bench.keepBranch("{}");
        bench.launch();
        bench.desktop.session.answer(0, FakeHttpSession::success(200, "[]"));
        AgentBench::settle();
        QVERIFY(bench.keptBranch());
    }

    void aRejectedKeyShowsTheStatusLineAndDropsTheKeptBranch()
    {
        AgentBench bench;
        bench.storeKey();
        bench.keepBranch("{}");
        bench.launch();
        bench.desktop.session.answer(0, FakeHttpSession::success(401, {}));
        QTRY_VERIFY(bench.statusLine().isVisible());
        QCOMPARE(bench.statusLine().text(), u"Connection lost — reconnect account"_s);
        QVERIFY(!bench.statusLine().isEnabled());
        QCOMPARE(bench.keptBranch(), std::nullopt);
        bench.pressHotKey();
        QVERIFY(bench.syncWarningIsShown());
        AgentBench::pressKey(Qt::Key_Escape);

        // A key that came in another way has not been accepted yet.
        bench.storeKey("sk_new");
        bench.pressHotKey();
        QVERIFY(bench.syncWarningIsShown());
        AgentBench::pressKey(Qt::Key_Escape);
    }

    void aBranchWithARejectedKeyShowsTheStatusLineAndDropsTheKeptBranch()
    {
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.keepBranch("{}");
        bench.launch();
        bench.delegate->sendBranch();
        AgentBench::type(u"x"_s);
        AgentBench::pressKey(Qt::Key_Return);
        bench.desktop.session.answer(branchRequest, FakeHttpSession::success(401, {}));
        QTRY_VERIFY(bench.statusLine().isVisible());
        QCOMPARE(bench.statusLine().text(), u"Connection lost — reconnect account"_s);
        QCOMPARE(bench.keptBranch(), std::nullopt);
        QVERIFY(bench.desktop.secretItems.items.empty());
        bench.pressHotKey();
        QVERIFY(AgentBench::panelIsOpen());
        QVERIFY(bench.syncWarningIsShown());
        AgentBench::pressKey(Qt::Key_Escape);
    }

    void anAcceptedKeyClearsTheStatusLineAndTheWarning()
    {
        AgentBench bench;
        bench.storeKey("sk_old");
        bench.launch();
        bench.desktop.session.answer(0, FakeHttpSession::success(401, {}));
        QTRY_VERIFY(bench.statusLine().isVisible());

        bench.delegate->connectAccount();
        AgentBench::enterKey(u"sk_new"_s);
        QCOMPARE(bench.desktop.session.requests.size(), 2U);
        bench.desktop.session.answer(
            1, FakeHttpSession::success(200, R"([{"id":"p1","name":"Atlas"}])"));
        QTRY_VERIFY(!bench.statusLine().isVisible());
        QCOMPARE(bench.statusLine().text(), QString());
        bench.pressHotKey();
        QVERIFY(!bench.syncWarningIsShown());
        AgentBench::pressKey(Qt::Key_Escape);
    }

    void carriesOutWhatOtherStartsAsk()
    {
        AgentBench bench;
        bench.storeKey();
        bench.keepBranch("{\"kept\":1}");
        bench.launch();
        bench.delegate->carryOut(AgentCommand::sendBranch);
        QVERIFY(AgentBench::panelIsOpen());
        AgentBench::pressKey(Qt::Key_Escape);
        QCOMPARE(bench.desktop.session.requests.size(), 1U);
        bench.delegate->carryOut(AgentCommand::capture);
        QVERIFY(!AgentBench::panelIsOpen());
        QCOMPARE(bench.desktop.session.requests.back().body, "{\"kept\":1}"_ba);
        bench.delegate->carryOut(AgentCommand::connectAccount);
        const auto shown = QApplication::topLevelWidgets();
        QVERIFY(std::ranges::any_of(shown, [](const QWidget* window) {
            return window->isVisible() && window->windowTitle() == u"Connect Quibel";
        }));
        QVERIFY(!bench.desktop.terminated);
        bench.delegate->carryOut(AgentCommand::quit);
        QVERIFY(bench.desktop.terminated);
    }

    void aHotKeyThatCannotBeRegisteredLeavesTheMenu()
    {
        AgentBench bench;
        bench.desktop.hotKeys.refusesHotKeys = true;
        bench.launch();
        QCOMPARE(bench.delegate->heldHotKey(), QString());
        bench.delegate->sendBranch();
        QVERIFY(AgentBench::panelIsOpen());
        AgentBench::pressKey(Qt::Key_Escape);
    }

    void takesAnotherHotKeyFromThePreferences()
    {
        AgentBench bench;
        bench.desktop.preferences.values.insert(u"quibel.hotKey"_s, u"Ctrl+Alt+Space"_s);
        bench.launch();
        QCOMPARE(bench.delegate->heldHotKey(), u"Ctrl+Alt+Space"_s);
        QCOMPARE(bench.menuItems().at(2)->text(), u"Send Branch\tCtrl+Alt+Space"_s);
        bench.pressHotKey();
        QVERIFY(!AgentBench::panelIsOpen());
        bench.desktop.hotKeys.press(Qt::CTRL | Qt::ALT | Qt::Key_Space);
        QVERIFY(AgentBench::panelIsOpen());
        AgentBench::pressKey(Qt::Key_Escape);
    }

    void answersThatComeAfterTheDelegateAreDropped()
    {
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.launch();
        bench.branchOff(u"x"_s);
        bench.desktop.session.answer(0, FakeHttpSession::success(401, {}));
        bench.desktop.session.answer(1, FakeHttpSession::success(500, {}));
        bench.delegate.reset();
        AgentBench::settle();
        QCOMPARE(bench.keptBranch(), std::nullopt);
        QCOMPARE(bench.desktop.secretItems.items.size(), 1U);
        QVERIFY(bench.desktop.hotKeys.registrations.empty());
    }
};

} // namespace quibel

QTEST_MAIN(quibel::AppDelegateTest)

#include "AppDelegateTest.moc"
