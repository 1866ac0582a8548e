#include "tests/app/AgentBench.h"

using namespace Qt::StringLiterals;

namespace quibel {

/// What the panel and a branch do without a key, with a late one, and with one that is rejected.
class CaptureFlowKeyTest : public QObject
{
    Q_OBJECT

private:
    static void whoIsWarned()
    {
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<bool>("kept");
        QTest::addColumn<bool>("warns");
        QTest::newRow("key") << QByteArray("sk") << false << false;
        QTest::newRow("no key") << QByteArray() << false << true;
        QTest::newRow("empty key") << QByteArray("") << false << true;
        QTest::newRow("kept branch") << QByteArray("sk") << true << true;
    }

private Q_SLOTS:
    void warnsWhenTheServiceCannotBeReachedOrTheKeyIsMissing_data() { whoIsWarned(); }

    void warnsWhenTheServiceCannotBeReachedOrTheKeyIsMissing()
    {
        QFETCH(QByteArray, key);
        QFETCH(bool, kept);
        QFETCH(bool, warns);
        AgentBench bench;
        if (!key.isNull())
            bench.storeKey(key);
        if (kept)
            bench.keepBranch("{}");
        // The environment's key is for the list of projects only.
        bench.desktop.environment.insert(u"QUIBEL_API_KEY"_s, u"sk_environment"_s);
        bench.launch();
        bench.delegate->sendBranch();
        QVERIFY(AgentBench::panelIsOpen());
        QCOMPARE(bench.syncWarningIsShown(), warns);
        AgentBench::pressKey(Qt::Key_Escape);
    }

    void waitsAShortTimeForTheKeyBeforeThePanelIsShown()
    {
        AgentBench bench;
        bench.storeKey();
        bench.launch();
        bench.pressHotKey();
        QCOMPARE(bench.desktop.secretItems.holds.back(), std::chrono::milliseconds(50));
        QVERIFY(!AgentBench::syncWarningIsShown());
        AgentBench::pressKey(Qt::Key_Escape);
    }

    void closesThePanelBeforeASlowStoreAnswers()
    {
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.launch();
        bench.pressHotKey();
        bench.desktop.secretItems.slow = true;
        AgentBench::type(u"x"_s);
        AgentBench::pressKey(Qt::Key_Return);
        QTRY_VERIFY(!AgentBench::panelIsOpen());
        QCOMPARE(bench.desktop.workspace.activated, std::vector { bench.editor });
        QCOMPARE(bench.desktop.session.requests.size(), branchRequest);
        QVERIFY(bench.desktop.secretItems.answerLate());
        QCOMPARE(bench.desktop.session.requests.size(), branchRequest + 1);
        QCOMPARE(bench.sentDocument(branchRequest)[u"title"_s], u"x"_s);
    }

    void opensWithoutTheKeyAndPutsTheWarningRightWhenItComes_data() { whoIsWarned(); }

    void opensWithoutTheKeyAndPutsTheWarningRightWhenItComes()
    {
        QFETCH(QByteArray, key);
        QFETCH(bool, kept);
        QFETCH(bool, warns);
        AgentBench bench;
        if (!key.isNull())
            bench.storeKey(key);
        if (kept)
            bench.keepBranch("{}");
        bench.launch();
        bench.desktop.secretItems.slow = true;
        bench.delegate->sendBranch();
        QVERIFY(AgentBench::syncWarningIsShown());
        AgentBench::type(u"typed meanwhile"_s);
        const QLineEdit* const field = AgentBench::textField();
        const QSize size = field->window()->size();

        QVERIFY(bench.desktop.secretItems.answerLate());
        AgentBench::settle();
        QCOMPARE(AgentBench::syncWarningIsShown(), warns);
        QCOMPARE(AgentBench::textField(), field);
        QCOMPARE(field->text(), u"typed meanwhile"_s);
        QCOMPARE(field->window()->size(), size);
        AgentBench::pressKey(Qt::Key_Escape);
    }

    void aLateKeyDoesNotHideTheWarningOfARejectedOne()
    {
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.launch();
        bench.branchOff(u"x"_s);
        bench.desktop.session.answer(branchRequest, FakeHttpSession::success(401, {}));
        AgentBench::settle();
        bench.storeKey();
        bench.desktop.secretItems.slow = true;
        bench.pressHotKey();
        QVERIFY(bench.desktop.secretItems.answerLate());
        AgentBench::settle();
        QVERIFY(AgentBench::syncWarningIsShown());
        AgentBench::pressKey(Qt::Key_Escape);
    }

    void aLateKeyLeavesAPanelAloneThatWasOpenedAnew_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("earlierReads");
        QTest::newRow("after Escape") << static_cast<int>(Qt::Key_Escape) << 1;
        QTest::newRow("after Return") << static_cast<int>(Qt::Key_Return) << 2;
        QTest::newRow("while it was open") << 0 << 1;
    }

    void aLateKeyLeavesAPanelAloneThatWasOpenedAnew()
    {
        QFETCH(int, key);
        QFETCH(int, earlierReads);
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.launch();
        bench.desktop.secretItems.slow = true;
        bench.pressHotKey();
        AgentBench::type(u"x"_s);
        if (key != 0) {
            AgentBench::pressKey(static_cast<Qt::Key>(key));
            QTRY_VERIFY(!AgentBench::panelIsOpen());
        }
        bench.pressHotKey();
        for (int read = 0; read < earlierReads; ++read)
            QVERIFY(bench.desktop.secretItems.answerLate());
        AgentBench::settle();
        QVERIFY(AgentBench::syncWarningIsShown());
        QVERIFY(bench.desktop.secretItems.answerLate());
        AgentBench::settle();
        QVERIFY(!AgentBench::syncWarningIsShown());
        AgentBench::pressKey(Qt::Key_Escape);
    }

    void aLateKeyLeavesAClosedPanelClosed_data()
    {
        QTest::addColumn<int>("key");
        QTest::newRow("Escape") << static_cast<int>(Qt::Key_Escape);
        QTest::newRow("Return") << static_cast<int>(Qt::Key_Return);
    }

    void aLateKeyLeavesAClosedPanelClosed()
    {
        QFETCH(int, key);
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.launch();
        bench.desktop.secretItems.slow = true;
        bench.pressHotKey();
        const QWidget* const panel = AgentBench::textField()->window();
        AgentBench::type(u"x"_s);
        AgentBench::pressKey(static_cast<Qt::Key>(key));
        QTRY_VERIFY(!AgentBench::panelIsOpen());
        QVERIFY(bench.desktop.secretItems.answerLate());
        AgentBench::settle();
        QVERIFY(!panel->isVisible());
        const auto labels = panel->findChildren<QLabel*>();
        const auto offlineLine
            = std::ranges::find(labels, u"Offline — not syncing"_s, &QLabel::text);
        QVERIFY(!(*offlineLine)->isHidden());
    }

    void aKeyMayComeAfterTheAgentHasGone()
    {
        AgentBench bench;
        bench.storeKey();
        bench.launch();
        bench.desktop.secretItems.slow = true;
        bench.pressHotKey();
        bench.delegate.reset();
        QVERIFY(bench.desktop.secretItems.answerLate());
    }

    void dropsTheBranchWithoutAKey()
    {
        AgentBench bench;
        bench.rememberProjects({ u"p1"_s });
        bench.launch();
        bench.branchOff(u"x"_s);
        QTRY_VERIFY(!AgentBench::panelIsOpen());
        AgentBench::settle();
        QVERIFY(bench.desktop.session.requests.empty());
        QCOMPARE(bench.keptBranch(), std::nullopt);
    }

    void anUnauthorizedBranchSignsOutAndIsDropped()
    {
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.launch();
        bench.branchOff(u"x"_s);
        bench.desktop.session.answer(branchRequest, FakeHttpSession::success(401, {}));
        QTRY_VERIFY(bench.desktop.secretItems.items.empty());
        AgentBench::settle();
        QCOMPARE(bench.keptBranch(), std::nullopt);
        QTRY_VERIFY(!AgentBench::panelIsOpen());
        bench.pressHotKey();
        QVERIFY(bench.syncWarningIsShown());
        AgentBench::pressKey(Qt::Key_Escape);
    }
};

} // namespace quibel

QTEST_MAIN(quibel::CaptureFlowKeyTest)

#include "CaptureFlowKeyTest.moc"
