#include "tests/app/AgentBench.h"

using namespace Qt::StringLiterals;

namespace quibel {

/// From the key press to the branch, and to the panel's end.
class CaptureFlowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void opensThePanelWithWhatTheUserWasLookingAt()
    {
        AgentBench bench;
        bench.connectAccount({ u"p1"_s, u"p2"_s });
        bench.launch();
        bench.branchOff(u"  look into caching "_s);

        QCOMPARE(bench.desktop.session.requests.size(), branchRequest + 1);
        const auto& request = bench.desktop.session.requests.at(branchRequest);
        QCOMPARE(request.url, QUrl(u"https://service.invalid/base/api/branches/from-agent"_s));
        const QJsonObject document = bench.sentDocument(branchRequest);
        QCOMPARE(document[u"title"_s], u"look into caching"_s);
        QCOMPARE(document[u"project_id"_s], u"p1"_s);
        const QJsonObject snapshot = document[u"context_snapshot"_s].toObject();
        QCOMPARE(snapshot[u"captured_text"_s], u"look into caching"_s);
        QCOMPARE(snapshot[u"active_app"_s],
                 QJsonObject(
                     { { u"name"_s, u"Editor"_s }, { u"bundle_id"_s, u"org.example.Editor"_s } }));
        QCOMPARE(snapshot[u"active_window_title"_s], u"notes.txt"_s);
    }

    void takesTheFirstNamedWindowOfTheFrontApplication_data()
    {
        using Windows = std::optional<std::vector<WindowInfo>>;
        QTest::addColumn<Windows>("windows");
        QTest::addColumn<QJsonValue>("title");
        const auto window =
            [](std::optional<ProcessIdentifier> owner, std::optional<QString> name, int layer = 0) {
                return WindowInfo { .number = 1,
                                    .ownerProcess = owner,
                                    .name = std::move(name),
                                    .layer = layer,
                                    .bounds = {} };
            };
        QTest::newRow("front to back")
            << Windows({ { window(42, u"a"_s), window(42, u"b"_s) } }) << QJsonValue(u"a"_s);
        QTest::newRow("others skipped")
            << Windows({ { window(1, u"a"_s), window(42, u"b"_s) } }) << QJsonValue(u"b"_s);
        QTest::newRow("unknown owner skipped")
            << Windows({ { window({}, u"a"_s), window(42, u"b"_s) } }) << QJsonValue(u"b"_s);
        QTest::newRow("empty name skipped")
            << Windows({ { window(42, u""_s), window(42, u"b"_s) } }) << QJsonValue(u"b"_s);
        QTest::newRow("missing name skipped")
            << Windows({ { window(42, {}), window(42, u"b"_s) } }) << QJsonValue(u"b"_s);
        QTest::newRow("any layer") << Windows({ { window(42, u"a"_s, 3) } }) << QJsonValue(u"a"_s);
        QTest::newRow("all names empty") << Windows({ { window(42, u""_s) } }) << QJsonValue();
        QTest::newRow("no window") << Windows({ std::vector<WindowInfo> {} }) << QJsonValue();
        QTest::newRow("no list") << Windows() << QJsonValue();
    }

    void takesTheFirstNamedWindowOfTheFrontApplication()
    {
        QFETCH(std::optional<std::vector<WindowInfo>>, windows);
        QFETCH(QJsonValue, title);
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.desktop.workspace.windows = windows;
        bench.launch();
        bench.branchOff(u"x"_s);
        const QJsonObject document = bench.sentDocument(branchRequest);
        QCOMPARE(document[u"context_snapshot"_s][u"active_window_title"_s], title);
    }

    void sendsEmptyNamesWhenNoApplicationIsInFront()
    {
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.desktop.workspace.frontmost.reset();
        bench.launch();
        bench.branchOff(u"x"_s);
        const QJsonObject document = bench.sentDocument(branchRequest);
        const QJsonValue snapshot = document[u"context_snapshot"_s];
        QCOMPARE(snapshot[u"active_app"_s],
                 QJsonObject({ { u"name"_s, u""_s }, { u"bundle_id"_s, u""_s } }));
        QCOMPARE(snapshot[u"active_window_title"_s], QJsonValue());
        QTRY_VERIFY(!AgentBench::panelIsOpen());
        QVERIFY(bench.desktop.workspace.activated.empty());
    }

    void asksWhichApplicationIsInFrontOnce()
    {
        AgentBench bench;
        bench.storeKey();
        bench.launch();
        const int before = bench.desktop.workspace.frontmostAsked;
        bench.pressHotKey();
        QCOMPARE(bench.desktop.workspace.frontmostAsked, before + 1);
        AgentBench::pressKey(Qt::Key_Escape);
    }

    void closesThePanelInALaterTurnAndGivesTheFocusBack()
    {
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.launch();
        bench.pressHotKey();
        AgentBench::type(u"x"_s);
        bench.desktop.workspace.frontmost.reset();
        QLineEdit* field = AgentBench::textField();
        QTest::sendKeyEvent(QTest::Click, field, Qt::Key_Return, QString(), Qt::NoModifier, 0);
        QCOMPARE(bench.desktop.session.requests.size(), branchRequest + 1);
        QVERIFY(AgentBench::panelIsOpen());
        QVERIFY(bench.desktop.workspace.activated.empty());
        QTRY_VERIFY(!AgentBench::panelIsOpen());
        QCOMPARE(bench.desktop.workspace.activated, std::vector { bench.editor });
    }

    void aPressBeforeThePanelHasClosedOpensItAnew()
    {
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.launch();
        bench.pressHotKey();
        AgentBench::type(u"first"_s);
        QLineEdit* field = AgentBench::textField();
        QTest::sendKeyEvent(QTest::Press, field, Qt::Key_Return, QString(), {}, 0);
        bench.pressHotKey();
        AgentBench::settle();
        QVERIFY(AgentBench::panelIsOpen());
        QCOMPARE(bench.desktop.workspace.activated, std::vector { bench.editor });
        AgentBench::type(u"second"_s);
        AgentBench::pressKey(Qt::Key_Return);
        const QJsonObject document = bench.sentDocument(branchRequest + 1);
        QCOMPARE(document[u"title"_s], u"second"_s);
        QCOMPARE(document[u"context_snapshot"_s][u"active_app"_s][u"name"_s], u"Editor"_s);
    }

    void sendsOneBranchForReturnsThatComeBeforeThePanelHasClosed()
    {
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.launch();
        for (std::size_t branches = 1; branches <= 2; ++branches) {
            bench.pressHotKey();
            QLineEdit* field = AgentBench::textField();
            AgentBench::type(u"x"_s);
            for (int i = 0; i < 2; ++i)
                QTest::sendKeyEvent(QTest::Press, field, Qt::Key_Return, QString(), {}, 0);
            QCOMPARE(bench.desktop.session.requests.size(), branchRequest + branches);
            QTRY_VERIFY(!AgentBench::panelIsOpen());
        }
    }

    void escapeClosesThePanelFirstAndThenGivesTheFocusBack()
    {
        AgentBench bench;
        bench.storeKey();
        bench.launch();
        bench.pressHotKey();
        AgentBench::pressKey(Qt::Key_Escape);
        QVERIFY(!AgentBench::panelIsOpen());
        QCOMPARE(bench.desktop.workspace.activated, std::vector { bench.editor });
        QCOMPARE(bench.desktop.session.requests.size(), branchRequest);
    }

    void ignoresTextThatIsOnlyWhiteSpace()
    {
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.launch();
        bench.branchOff(u" \t "_s);
        AgentBench::settle();
        QVERIFY(AgentBench::panelIsOpen());
        QCOMPARE(bench.desktop.session.requests.size(), branchRequest);
        AgentBench::pressKey(Qt::Key_Escape);
    }

    void leavesThePanelOpenWhenNoDocumentCanBeBuilt()
    {
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.desktop.workspace.windows->front().name = QString(QChar(0xd83e)); // half a character
        bench.launch();
        bench.branchOff(u"x"_s);
        AgentBench::settle();
        QVERIFY(AgentBench::panelIsOpen());
        QCOMPARE(AgentBench::textField()->text(), u"x"_s);
        QCOMPARE(bench.desktop.session.requests.size(), branchRequest);
        QVERIFY(bench.desktop.workspace.activated.empty());
        AgentBench::pressKey(Qt::Key_Escape);
    }

    void pressingAgainWhileThePanelIsOpenStartsOverFromTheAgentItself_data()
    {
        QTest::addColumn<bool>("submits");
        QTest::newRow("cancel") << false;
        QTest::newRow("submit") << true;
    }

    void pressingAgainWhileThePanelIsOpenStartsOverFromTheAgentItself()
    {
        QFETCH(bool, submits);
        AgentBench bench;
        bench.connectAccount({ u"p1"_s });
        bench.launch();
        bench.pressHotKey();
        AgentBench::type(u"typed before"_s);
        const RunningApplication agent { .localizedName = u"Quibel"_s,
                                         .bundleIdentifier = u"org.quibel.CaptureAgent"_s,
                                         .processIdentifier = 1,
                                         .keyWindow = 9 };
        bench.desktop.workspace.frontmost = agent;
        bench.pressHotKey();
        QTRY_VERIFY(AgentBench::panelIsOpen());
        QCOMPARE(AgentBench::textField()->text(), QString());
        if (submits)
            AgentBench::type(u"typed after"_s);
        AgentBench::pressKey(submits ? Qt::Key_Return : Qt::Key_Escape);
        QTRY_COMPARE(bench.desktop.workspace.activated, std::vector { agent });
        QCOMPARE(bench.desktop.session.requests.size(), branchRequest + (submits ? 1 : 0));
        if (!submits)
            return;
        const QJsonObject document = bench.sentDocument(branchRequest);
        QCOMPARE(document[u"title"_s], u"typed after"_s);
        const QJsonValue snapshot = document[u"context_snapshot"_s];
        QCOMPARE(snapshot[u"active_app"_s][u"name"_s], u"Quibel"_s);
        QCOMPARE(snapshot[u"active_window_title"_s], QJsonValue());
    }

    void preselectsTheProjectUsedLast()
    {
        AgentBench bench;
        bench.connectAccount({ u"p1"_s, u"p2"_s });
        bench.desktop.preferences.values.insert(u"quibel.lastUsedProjectId"_s, u"p2"_s);
        bench.launch();
        bench.branchOff(u"x"_s);
        QCOMPARE(bench.sentDocument(branchRequest)[u"project_id"_s], u"p2"_s);
    }

    void opensWithoutAProjectButSendsNothing()
    {
        AgentBench bench;
        bench.storeKey();
        bench.launch();
        bench.branchOff(u"x"_s);
        AgentBench::settle();
        QVERIFY(AgentBench::panelIsOpen());
        QCOMPARE(bench.desktop.session.requests.size(), branchRequest);
        AgentBench::pressKey(Qt::Key_Escape);
    }
};

} // namespace quibel

QTEST_MAIN(quibel::CaptureFlowTest)

#include "CaptureFlowTest.moc"
