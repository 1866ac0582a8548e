#include "tests/app/AgentBench.h"

#include <QBuffer>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

const HttpOutcome createdBranch = FakeHttpSession::success(201, R"({"branch":{"id":"b1"}})");

QImage anyFrame()
{
    QImage frame(64, 48, QImage::Format_RGB32);
    frame.fill(Qt::darkGreen);
    return frame;
}

} // namespace

class CaptureFlowTest : public QObject
{
    Q_OBJECT

private:
    /// An agent with a key, two projects, and screenshots that work, on.
    static void prepareForScreenshots(AgentBench& bench)
    {
        bench.storeKey();
        bench.rememberProjects({ u"p1"_s, u"p2"_s });
        bench.desktop.preferences.values.insert(u"quibel.screenshotMode"_s, u"on"_s);
        bench.desktop.screenCapture.windowImage = anyFrame();
        bench.desktop.screenCapture.content = ShareableContent {
            .windows
            = { { .number = 7, .ownerProcess = 42, .onScreen = true, .frame = { 0, 0, 64, 48 } } },
            .displays = { { .id = 1, .size = { 64, 48 } } }
        };
        bench.launch();
    }

    /// The launch request is the first of all; branches come after it.
    static constexpr std::size_t branchRequest = 1;

private Q_SLOTS:
    void opensThePanelWithWhatTheUserWasLookingAt()
    {
        AgentBench bench;
        bench.storeKey();
        bench.rememberProjects({ u"p1"_s, u"p2"_s });
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
        bench.storeKey();
        bench.rememberProjects({ u"p1"_s });
        bench.desktop.workspace.windows = windows;
        bench.launch();
        bench.branchOff(u"x"_s);
        const QJsonObject document = bench.sentDocument(branchRequest);
        QCOMPARE(document[u"context_snapshot"_s][u"active_window_title"_s], title);
    }

    void sendsEmptyNamesWhenNoApplicationIsInFront()
    {
        AgentBench bench;
        bench.storeKey();
        bench.rememberProjects({ u"p1"_s });
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

    void closesThePanelInALaterTurnAndGivesTheFocusBack()
    {
        AgentBench bench;
        bench.storeKey();
        bench.rememberProjects({ u"p1"_s });
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

    void sendsOneBranchForReturnsThatComeBeforeThePanelHasClosed()
    {
        AgentBench bench;
        bench.storeKey();
        bench.rememberProjects({ u"p1"_s });
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
        bench.storeKey();
        bench.rememberProjects({ u"p1"_s });
        bench.launch();
        bench.branchOff(u" \t "_s);
        AgentBench::settle();
        QVERIFY(AgentBench::panelIsOpen());
        QCOMPARE(bench.desktop.session.requests.size(), branchRequest);
        AgentBench::pressKey(Qt::Key_Escape);
    }

    void pressingAgainWhileThePanelIsOpenStartsOverFromTheAgentItself()
    {
        AgentBench bench;
        bench.storeKey();
        bench.rememberProjects({ u"p1"_s });
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
        AgentBench::pressKey(Qt::Key_Escape);
        QCOMPARE(bench.desktop.workspace.activated, std::vector { agent });
    }

    void remembersTheScreenshotModeAtOnce()
    {
        AgentBench bench;
        bench.launch();
        bench.pressHotKey();
        AgentBench::pressKey(Qt::Key_Right);
        QCOMPARE(bench.desktop.preferences.text(u"quibel.screenshotMode"_s), u"on"_s);
        AgentBench::pressKey(Qt::Key_Left);
        QCOMPARE(bench.desktop.preferences.text(u"quibel.screenshotMode"_s), u"off"_s);
        AgentBench::pressKey(Qt::Key_Escape);
        QCOMPARE(bench.desktop.preferences.text(u"quibel.screenshotMode"_s), u"off"_s);
    }

    void takesScreenshotsOnlyWhenExactlyOnIsStored_data()
    {
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<bool>("captures");
        QTest::newRow("on") << QVariant(u"on"_s) << true;
        QTest::newRow("off") << QVariant(u"off"_s) << false;
        QTest::newRow("other case") << QVariant(u"On"_s) << false;
        QTest::newRow("other text") << QVariant(u"yes"_s) << false;
        QTest::newRow("not a text") << QVariant(QByteArray("on")) << false;
        QTest::newRow("missing") << QVariant() << false;
    }

    void takesScreenshotsOnlyWhenExactlyOnIsStored()
    {
        QFETCH(QVariant, stored);
        QFETCH(bool, captures);
        AgentBench bench;
        bench.storeKey();
        bench.rememberProjects({ u"p1"_s });
        if (stored.isValid())
            bench.desktop.preferences.values.insert(u"quibel.screenshotMode"_s, stored);
        bench.launch();
        bench.branchOff(u"x"_s);
        if (captures) {
            QTRY_VERIFY(bench.desktop.output.contains("Screenshot capture failed"));
        } else {
            // The capture would begin 50 ms after the submission; a timer set later runs later.
            bool passed = false;
            QTimer::singleShot(60, Qt::PreciseTimer, [&] { passed = true; });
            QTRY_VERIFY(passed);
            AgentBench::settle();
            QCOMPARE(bench.desktop.output, QByteArray());
        }
    }

    void warnsWhenTheServiceCannotBeReachedOrTheKeyIsMissing_data()
    {
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<bool>("kept");
        QTest::addColumn<bool>("warns");
        QTest::newRow("key") << QByteArray("sk") << false << false;
        QTest::newRow("no key") << QByteArray() << false << true;
        QTest::newRow("empty key") << QByteArray("") << false << true;
        QTest::newRow("kept branch") << QByteArray("sk") << true << true;
    }

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
        bench.storeKey();
        bench.rememberProjects({ u"p1"_s });
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

    void opensWithoutTheKeyAndPutsTheWarningRightWhenItComes_data()
    {
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<bool>("kept");
        QTest::addColumn<bool>("warns");
        QTest::newRow("key") << QByteArray("sk") << false << false;
        QTest::newRow("no key") << QByteArray() << false << true;
        QTest::newRow("empty key") << QByteArray("") << false << true;
        QTest::newRow("kept branch") << QByteArray("sk") << true << true;
    }

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
        bench.storeKey();
        bench.rememberProjects({ u"p1"_s });
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
        bench.storeKey();
        bench.rememberProjects({ u"p1"_s });
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
        bench.storeKey();
        bench.rememberProjects({ u"p1"_s });
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

    void preselectsTheProjectUsedLast()
    {
        AgentBench bench;
        bench.storeKey();
        bench.rememberProjects({ u"p1"_s, u"p2"_s });
        bench.desktop.preferences.values.insert(u"quibel.lastUsedProjectId"_s, u"p2"_s);
        bench.launch();
        bench.branchOff(u"x"_s);
        QCOMPARE(bench.sentDocument(branchRequest)[u"project_id"_s], u"p2"_s);
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
        bench.storeKey();
        bench.rememberProjects({ u"p1"_s });
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
        bench.storeKey();
        bench.rememberProjects({ u"p1"_s, u"p2"_s });
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

    void aNewFailureReplacesTheKeptBranch()
    {
        AgentBench bench;
        bench.storeKey();
        bench.rememberProjects({ u"p1"_s });
        bench.keepBranch("{\"old\":1}");
        bench.launch();
        bench.delegate->sendBranch();
        AgentBench::type(u"new"_s);
        AgentBench::pressKey(Qt::Key_Return);
        const QByteArray document = bench.desktop.session.requests.at(branchRequest).body.joined();
        bench.desktop.session.answer(branchRequest, FakeHttpSession::success(502, {}));
        QTRY_COMPARE(bench.keptBranch(), document);
    }

    void anUnauthorizedBranchSignsOutAndIsDropped()
    {
        AgentBench bench;
        bench.storeKey();
        bench.rememberProjects({ u"p1"_s });
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

    void uploadsTheScreenshotWhicheverHalfComesFirst_data()
    {
        QTest::addColumn<bool>("branchFirst");
        QTest::newRow("branch first") << true;
        QTest::newRow("screenshot first") << false;
    }

    void uploadsTheScreenshotWhicheverHalfComesFirst()
    {
        QFETCH(bool, branchFirst);
        AgentBench bench;
        prepareForScreenshots(bench);
        bench.branchOff(u"x"_s);
        if (branchFirst) {
            bench.desktop.session.answer(branchRequest, createdBranch);
            AgentBench::settle();
        }
        QTRY_VERIFY(bench.desktop.output.contains("Screenshot captured"));
        if (!branchFirst) {
            QCOMPARE(bench.desktop.session.requests.size(), 2U);
            bench.desktop.session.answer(branchRequest, createdBranch);
        }
        QTRY_COMPARE(bench.desktop.session.requests.size(), 3U);
        QCOMPARE(bench.desktop.session.requests.back().url.path(),
                 u"/base/api/branches/b1/screenshots"_s);
        bench.desktop.session.answer(branchRequest + 1, FakeHttpSession::success(201, {}));
        QTRY_VERIFY(bench.desktop.output.contains("Screenshot saved"));
    }

    void theScreenshotStartsAfterThePanelHasGone()
    {
        AgentBench bench;
        prepareForScreenshots(bench);
        bench.branchOff(u"x"_s);
        QTRY_VERIFY(!bench.desktop.screenCapture.streams.empty());
        QVERIFY(!AgentBench::panelIsOpen());
    }

    void aFailedBranchLeavesALaterScreenshotPendingWithoutUpload()
    {
        AgentBench bench;
        prepareForScreenshots(bench);
        bench.branchOff(u"x"_s);
        bench.desktop.session.answer(branchRequest, FakeHttpSession::success(500, {}));
        QTRY_VERIFY(bench.keptBranch());
        QTRY_VERIFY(bench.desktop.output.contains("Screenshot captured"));
        AgentBench::settle();
        QCOMPARE(bench.desktop.session.requests.size(), 2U);

        // A later submission that succeeds finds it.
        bench.desktop.preferences.values.insert(u"quibel.screenshotMode"_s, u"off"_s);
        bench.delegate->sendBranch();
        AgentBench::type(u"y"_s);
        AgentBench::pressKey(Qt::Key_Return);
        bench.desktop.session.answer(branchRequest + 1, createdBranch);
        QTRY_COMPARE(bench.desktop.session.requests.size(), 4U);
        QVERIFY(bench.desktop.session.requests.back().url.path().endsWith(u"/b1/screenshots"));
    }

    void aBranchWithoutAnIdUploadsNothing_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("empty body") << QByteArray();
        QTest::newRow("number") << QByteArray(R"({"branch_id":7})");
    }

    void aBranchWithoutAnIdUploadsNothing()
    {
        QFETCH(QByteArray, body);
        AgentBench bench;
        prepareForScreenshots(bench);
        bench.branchOff(u"x"_s);
        bench.desktop.session.answer(branchRequest, FakeHttpSession::success(201, body));
        QTRY_VERIFY(bench.desktop.output.contains("Screenshot captured"));
        AgentBench::settle();
        QCOMPARE(bench.desktop.session.requests.size(), branchRequest + 1);
        QVERIFY(!bench.desktop.output.contains("Screenshot upload"));
        QCOMPARE(bench.desktop.preferences.text(u"quibel.lastUsedProjectId"_s), u"p1"_s);
    }

    void aFailedScreenshotClearsTheBranchIdAndUploadsNothing()
    {
        AgentBench bench;
        prepareForScreenshots(bench);
        bench.desktop.screenCapture.content.reset();
        bench.branchOff(u"x"_s);
        bench.desktop.session.answer(branchRequest, createdBranch);
        QTRY_VERIFY(bench.desktop.output.contains("Screenshot capture failed"));
        AgentBench::settle();
        QCOMPARE(bench.desktop.session.requests.size(), 2U);
        QVERIFY(bench.desktop.output.contains("  app_name   : Editor\n"));
        QVERIFY(bench.desktop.output.contains("  message    : null\n"));

        // The id of the first branch is gone: a screenshot of the next one goes to the next one.
        bench.desktop.screenCapture.content = ShareableContent {
            .windows = { { .number = 7, .ownerProcess = 42, .onScreen = true, .frame = {} } },
            .displays = {}
        };
        bench.branchOff(u"y"_s);
        QTRY_VERIFY(bench.desktop.output.contains("Screenshot captured"));
        QCOMPARE(bench.desktop.session.requests.size(), 3U);
        bench.desktop.session.answer(branchRequest + 1,
                                     FakeHttpSession::success(201, R"({"id":"b2"})"));
        QTRY_COMPARE(bench.desktop.session.requests.size(), 4U);
        QVERIFY(bench.desktop.session.requests.back().url.path().endsWith(u"/b2/screenshots"));
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
