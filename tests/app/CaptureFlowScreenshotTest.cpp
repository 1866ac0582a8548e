#include "tests/app/AgentBench.h"

#include <QElapsedTimer>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

QImage anyFrame()
{
    QImage frame(64, 48, QImage::Format_RGB32);
    frame.fill(Qt::darkGreen);
    return frame;
}

} // namespace

/// When a screenshot is taken, and which branch it goes to.
class CaptureFlowScreenshotTest : public QObject
{
    Q_OBJECT

private:
    /// An agent with a key, two projects, and screenshots that work, on.
    static void prepareForScreenshots(AgentBench& bench)
    {
        bench.connectAccount({ u"p1"_s, u"p2"_s });
        bench.desktop.preferences.values.insert(u"quibel.screenshotMode"_s, u"on"_s);
        bench.desktop.screenCapture.windowImage = anyFrame();
        bench.desktop.screenCapture.content = ShareableContent {
            .windows
            = { { .number = 7, .ownerProcess = 42, .onScreen = true, .frame = { 0, 0, 64, 48 } } },
            .displays = { { .id = 1, .size = { 64, 48 } } }
        };
        bench.launch();
    }

private Q_SLOTS:
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
        bench.connectAccount({ u"p1"_s });
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
        bench.pressHotKey();
        AgentBench::type(u"x"_s);
        QElapsedTimer sinceReturn;
        sinceReturn.start();
        AgentBench::pressKey(Qt::Key_Return);
        QTRY_VERIFY_WITH_TIMEOUT(!bench.desktop.screenCapture.streams.empty(), 30'000);
        QVERIFY(sinceReturn.elapsed() >= 50);
        QVERIFY(!AgentBench::panelIsOpen());
    }

    void eachScreenshotGoesToItsOwnBranch()
    {
        AgentBench bench;
        prepareForScreenshots(bench);
        bench.pressHotKey();
        AgentBench::type(u"without"_s);
        AgentBench::pressKey(Qt::Key_Left);
        AgentBench::pressKey(Qt::Key_Return);
        QTRY_VERIFY(!AgentBench::panelIsOpen());
        bench.pressHotKey();
        AgentBench::type(u"with"_s);
        AgentBench::pressKey(Qt::Key_Right);
        AgentBench::pressKey(Qt::Key_Return);
        QTRY_VERIFY(bench.desktop.output.contains("Screenshot captured"));

        bench.desktop.session.answer(branchRequest, createdBranch);
        AgentBench::settle();
        QCOMPARE(bench.desktop.session.requests.size(), branchRequest + 2);
        bench.desktop.session.answer(branchRequest + 1,
                                     FakeHttpSession::success(201, R"({"id":"b2"})"));
        QTRY_COMPARE(bench.desktop.session.requests.size(), branchRequest + 3);
        QCOMPARE(bench.desktop.session.requests.back().url.path(),
                 u"/base/api/branches/b2/screenshots"_s);
    }

    void aFailureAfterTheScreenshotDropsIt_data()
    {
        QTest::addColumn<int>("status");
        QTest::newRow("server") << 500;
        QTest::newRow("unauthorized") << 401;
        QTest::newRow("no key") << 0;
    }

    void aFailureAfterTheScreenshotDropsIt()
    {
        QFETCH(int, status);
        AgentBench bench;
        prepareForScreenshots(bench);
        bench.pressHotKey();
        bench.desktop.secretItems.slow = status == 0;
        AgentBench::type(u"x"_s);
        AgentBench::pressKey(Qt::Key_Return);
        QTRY_VERIFY(bench.desktop.output.contains("Screenshot captured"));
        if (status == 0) {
            bench.desktop.secretItems.items.clear();
            QVERIFY(bench.desktop.secretItems.answerLate());
            bench.desktop.secretItems.slow = false;
        } else {
            bench.desktop.session.answer(branchRequest, FakeHttpSession::success(status, {}));
        }
        AgentBench::settle();

        // The next branch, without a screenshot, finds none.
        bench.connectAccount({ u"p1"_s });
        bench.delegate->sendBranch();
        AgentBench::type(u"y"_s);
        AgentBench::pressKey(Qt::Key_Left);
        AgentBench::pressKey(Qt::Key_Return);
        const std::size_t requests = bench.desktop.session.requests.size();
        QCOMPARE(bench.desktop.session.requests.back().url.path(),
                 u"/base/api/branches/from-agent"_s);
        bench.desktop.session.answer(requests - 1, createdBranch);
        AgentBench::settle();
        QCOMPARE(bench.desktop.preferences.text(u"quibel.lastUsedProjectId"_s), u"p1"_s);
        QCOMPARE(bench.desktop.session.requests.size(), requests);
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

    void anotherAccountGetsNoScreenshotOfAFailedBranch()
    {
        AgentBench bench;
        prepareForScreenshots(bench);
        bench.branchOff(u"x"_s);
        bench.desktop.session.answer(branchRequest, FakeHttpSession::success(401, {}));
        QTRY_VERIFY(bench.desktop.output.contains("Screenshot captured"));
        bench.delegate->connectAccount();
        AgentBench::enterKey(u"sk_other"_s);
        bench.desktop.session.answer(
            branchRequest + 1, FakeHttpSession::success(200, R"([{"id":"q","name":"Other"}])"));
        QTRY_VERIFY(!AgentBench::statusLine().isVisible());

        bench.desktop.preferences.values.insert(u"quibel.screenshotMode"_s, u"off"_s);
        bench.branchOff(u"y"_s);
        const std::size_t requests = bench.desktop.session.requests.size();
        bench.desktop.session.answer(requests - 1, createdBranch);
        QTRY_COMPARE(bench.desktop.preferences.text(u"quibel.lastUsedProjectId"_s), u"q"_s);
        AgentBench::settle();
        QCOMPARE(bench.desktop.session.requests.size(), requests);
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
};

} // namespace quibel

QTEST_MAIN(quibel::CaptureFlowScreenshotTest)

#include "CaptureFlowScreenshotTest.moc"
