#include "tests/app/AgentBench.h"

using namespace Qt::StringLiterals;

namespace quibel {

/// A branch that could not be sent: how it is kept, sent again, and dropped.
class CaptureFlowRetryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsABranchThatCouldNotBeSent_data()
    {
        QTest::addColumn<HttpOutcome>("outcome");
        QTest::newRow("offline") << FakeHttpSession::failure(
            TransportErrorCode::notConnectedToInternet);
        QTest::newRow("network") << FakeHttpSession::failure(
            TransportErrorCode::networkConnectionLost);
        QTest::newRow("server") << FakeHttpSession::success(500, {});
    }

    void keepsABranchThatCouldNotBeSent()
    {
        QFETCH(HttpOutcome, outcome);
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.launch();
        bench.branchOff(u"x"_s);
        const QByteArray document = bench.desktop.session.requests.at(branchRequest).body.joined();
        bench.desktop.session.answer(branchRequest, outcome);
        QTRY_COMPARE(bench.keptBranch(), document);

        // The next press sends the same bytes again, silently; the one after it opens the panel.
        bench.pressHotKey();
        QVERIFY(!AgentBench::panelIsOpen());
        QCOMPARE(bench.desktop.session.requests.size(), branchRequest + 2);
        QCOMPARE(bench.desktop.session.requests.at(branchRequest + 1).body.joined(), document);
        bench.pressHotKey();
        QVERIFY(AgentBench::panelIsOpen());
        QVERIFY(bench.syncWarningIsShown());
        AgentBench::pressKey(Qt::Key_Escape);
    }

    void endsARetryByItsOutcome_data()
    {
        QTest::addColumn<HttpOutcome>("outcome");
        QTest::addColumn<bool>("stillKept");
        QTest::newRow("success") << createdBranch << false;
        QTest::newRow("unauthorized") << FakeHttpSession::success(401, {}) << false;
        QTest::newRow("server") << FakeHttpSession::success(503, {}) << true;
        QTest::newRow("offline") << FakeHttpSession::failure(TransportErrorCode::timedOut) << true;
    }

    void endsARetryByItsOutcome()
    {
        QFETCH(HttpOutcome, outcome);
        QFETCH(bool, stillKept);
        AgentBench bench;
        bench.storeKey();
        bench.keepBranch("{\"kept\":1}");
        bench.launch();
        bench.pressHotKey();
        QCOMPARE(bench.desktop.session.requests.at(branchRequest).body.joined(), "{\"kept\":1}"_ba);
        bench.desktop.session.answer(branchRequest, outcome);
        AgentBench::settle();
        QCOMPARE(bench.keptBranch().has_value(), stillKept);
        bench.pressHotKey();
        QVERIFY(AgentBench::panelIsOpen());
        AgentBench::pressKey(Qt::Key_Escape);
    }

    void aRetryThatSucceedsRecordsNoUseOfAProject()
    {
        AgentBench bench;
        bench.connectAccount({ u"p1"_s, u"p2"_s });
        bench.keepBranch(R"({"project_id":"p2"})");
        bench.launch();
        bench.pressHotKey();
        bench.desktop.session.answer(branchRequest, createdBranch);
        QTRY_COMPARE(bench.keptBranch(), std::nullopt);
        QCOMPARE(bench.desktop.preferences.textList(u"ProjectStore.projects"_s),
                 QStringList({ u"p1"_s, u"p2"_s }));
        QCOMPARE(bench.desktop.preferences.text(u"quibel.lastUsedProjectId"_s), std::nullopt);
    }

    void aRetryThatEndsLeavesABranchThatFailedMeanwhile_data()
    {
        QTest::addColumn<int>("status");
        QTest::newRow("success") << 201;
        QTest::newRow("server") << 500;
    }

    void aRetryThatEndsLeavesABranchThatFailedMeanwhile()
    {
        QFETCH(int, status);
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.keepBranch("{\"first\":1}");
        bench.launch();
        bench.pressHotKey();
        bench.branchOff(u"second"_s);
        const auto second = bench.desktop.session.requests.at(branchRequest + 1).body.joined();
        bench.desktop.session.answer(branchRequest + 1, FakeHttpSession::success(503, {}));
        QTRY_COMPARE(bench.keptBranch(), second);
        bench.desktop.session.answer(branchRequest, FakeHttpSession::success(status, "{}"));
        AgentBench::settle();
        QCOMPARE(bench.keptBranch(), second);

        // And it is the one that the next press sends.
        bench.pressHotKey();
        QVERIFY(!AgentBench::panelIsOpen());
        QCOMPARE(bench.desktop.session.requests.back().body.joined(), second);
    }

    void aRetryWithoutAKeyKeepsTheBranchAndOpensThePanelNextTime()
    {
        AgentBench bench;
        bench.keepBranch("{}");
        bench.launch();
        bench.pressHotKey();
        QVERIFY(bench.desktop.session.requests.empty());
        QVERIFY(!AgentBench::panelIsOpen());
        QVERIFY(bench.keptBranch());
        bench.pressHotKey();
        QVERIFY(AgentBench::panelIsOpen());
        AgentBench::pressKey(Qt::Key_Escape);
        QVERIFY(bench.keptBranch());
    }

    void theMenuOpensThePanelAndLeavesTheKeptBranchForTheHotKey()
    {
        AgentBench bench;
        bench.storeKey();
        bench.keepBranch("{}");
        bench.launch();
        bench.delegate->sendBranch();
        QVERIFY(AgentBench::panelIsOpen());
        AgentBench::pressKey(Qt::Key_Escape);
        QVERIFY(bench.keptBranch());
        bench.pressHotKey();
        QVERIFY(!AgentBench::panelIsOpen());
        QCOMPARE(bench.desktop.session.requests.size(), branchRequest + 1);
    }

    void aBranchThatIsSentDropsAnEarlierKeptOneAndRecordsItsProject()
    {
        AgentBench bench;
        bench.connectAccount({ u"p1"_s, u"p2"_s });
        bench.keepBranch("{}");
        bench.launch();
        bench.delegate->sendBranch();
        AgentBench::type(u"x"_s);
        AgentBench::pressKey(Qt::Key_Down);
        AgentBench::pressKey(Qt::Key_Return);
        bench.desktop.session.answer(branchRequest, createdBranch);
        QTRY_COMPARE(bench.keptBranch(), std::nullopt);
        QCOMPARE(bench.desktop.preferences.textList(u"ProjectStore.projects"_s),
                 QStringList({ u"p2"_s, u"p1"_s }));
        QCOMPARE(bench.desktop.preferences.text(u"quibel.lastUsedProjectId"_s), u"p2"_s);
        bench.pressHotKey();
        QVERIFY(AgentBench::panelIsOpen());
        AgentBench::pressKey(Qt::Key_Escape);
    }

    void anEarlierBranchThatIsSentLeavesALaterOneThatFailed()
    {
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.launch();
        bench.branchOff(u"first"_s);
        QTRY_VERIFY(!AgentBench::panelIsOpen());
        bench.branchOff(u"second"_s);
        const auto second = bench.desktop.session.requests.at(branchRequest + 1).body.joined();
        bench.desktop.session.answer(branchRequest + 1, FakeHttpSession::success(503, {}));
        QTRY_COMPARE(bench.keptBranch(), second);
        bench.desktop.session.answer(branchRequest, createdBranch);
        QTRY_COMPARE(bench.desktop.preferences.text(u"quibel.lastUsedProjectId"_s), u"p1"_s);
        QCOMPARE(bench.keptBranch(), second);
        bench.pressHotKey();
        QVERIFY(!AgentBench::panelIsOpen());
        QCOMPARE(bench.desktop.session.requests.back().body.joined(), second);
    }

    void aNewFailureReplacesTheKeptBranch()
    {
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.keepBranch("{\"old\":1}");
        bench.launch();
        bench.delegate->sendBranch();
        AgentBench::type(u"new"_s);
        AgentBench::pressKey(Qt::Key_Return);
        const QByteArray document = bench.desktop.session.requests.at(branchRequest).body.joined();
        bench.desktop.session.answer(branchRequest, FakeHttpSession::success(502, {}));
        QTRY_COMPARE(bench.keptBranch(), document);
    }
};

} // namespace quibel

QTEST_MAIN(quibel::CaptureFlowRetryTest)

#include "CaptureFlowRetryTest.moc"
