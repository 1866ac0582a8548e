#include "capture/ScreenshotCapturer.h"
#include "tests/fakes/FakeScreenCapture.h"
#include "tests/fakes/FakeScreens.h"
#include "tests/fakes/FakeWorkspace.h"

#include <QRegularExpression>
#include <QTest>
#include <QThread>

#include <random>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

constexpr ProcessIdentifier process = 40;

QImage picture(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::darkGreen);
    return image;
}

QImage noise(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    std::minstd_rand random;
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(x, y, 0xff000000U | static_cast<QRgb>(random() & 0xffffffU));
    return image;
}

ShareableWindow shareable(WindowNumber number, ProcessIdentifier owner, bool onScreen, QRectF frame)
{
    return { .number = number, .ownerProcess = owner, .onScreen = onScreen, .frame = frame };
}

} // namespace

class ScreenshotCapturerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        workspace = std::make_unique<FakeWorkspace>();
        screens = std::make_unique<FakeScreens>();
        screenCapture = std::make_unique<FakeScreenCapture>();
        workspace->frontmost = RunningApplication { .localizedName = u"Editor"_s,
                                                    .bundleIdentifier = u"org.editor"_s,
                                                    .processIdentifier = process,
                                                    .keyWindow = 0 };
        workspace->windows = { { .number = 12,
                                 .ownerProcess = process,
                                 .name = {},
                                 .layer = 0,
                                 .bounds = QRectF(1100, 0, 300, 200) } };
        screens->screens = { screen(1, { 0, 0, 1000, 800 }), screen(2, { 1000, 0, 1000, 800 }) };
        screens->mainScreen = screens->screens.front();
        screenCapture->content = ShareableContent {
            .windows = { shareable(12, process, true, { 0, 0, 300.9, 200.9 }) },
            .displays = { { .id = 1, .size = { 1000, 800 } }, { .id = 2, .size = { 2000, 1600 } } }
        };
        screenCapture->windowImage = picture({ 300, 200 });
        screenCapture->displayImage = picture({ 500, 400 });
        capturer = std::make_unique<ScreenshotCapturer>(*workspace, *screens, *screenCapture);
    }

    void cleanup() { capturer.reset(); }

    void takesTheWindowAndDescribesIt()
    {
        const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-1);
        const auto result = capture();
        QCOMPARE(screenCapture->streams.size(), std::size_t { 1 });
        QCOMPARE(screenCapture->streams[0].filter, ContentFilter(WindowFilter { 12 }));
        const StreamConfiguration configuration { .size = { 300, 200 },
                                                  .showsCursor = false,
                                                  .queueDepth = 1 };
        QCOMPARE(screenCapture->streams[0].configuration, configuration);
        QCOMPARE(screenCapture->stops, 1);

        QCOMPARE(QImage::fromData(result->data).convertToFormat(QImage::Format_RGB32),
                 picture({ 300, 200 }));
        const QString capturedAt = result->metadata.capturedAt;
        const ScreenshotMetadata expected { .source = u"desktop"_s,
                                            .captureType = u"active_window"_s,
                                            .capturedAt = capturedAt,
                                            .appName = u"Editor"_s,
                                            .bundleID = u"org.editor"_s,
                                            .windowTitle = u"notes.txt"_s,
                                            .imageFormat = u"png"_s,
                                            .imageWidth = 300,
                                            .imageHeight = 200,
                                            .byteSize = result->data.size(),
                                            .branchID = std::nullopt,
                                            .projectName = u"Garden"_s };
        QCOMPARE(result->metadata, expected);
        static const QRegularExpression form(u"^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ$"_s);
        QVERIFY2(form.match(capturedAt).hasMatch(), qPrintable(capturedAt));
        const QDateTime moment = QDateTime::fromString(capturedAt, Qt::ISODate);
        QVERIFY(before <= moment && moment <= QDateTime::currentDateTimeUtc());
    }

    void leavesOutWhatIsEmpty_data()
    {
        QTest::addColumn<bool>("titleIsEmpty");
        QTest::newRow("no title") << false;
        QTest::newRow("empty title") << true;
    }

    void leavesOutWhatIsEmpty()
    {
        QFETCH(bool, titleIsEmpty);
        context = {};
        if (titleIsEmpty)
            context.windowTitle = QString();
        project.isMock = true;
        const auto result = capture();
        QVERIFY(!result->metadata.appName);
        QVERIFY(!result->metadata.bundleID);
        QVERIFY(!result->metadata.windowTitle);
        QVERIFY(!result->metadata.projectName);
    }

    void takesTheFirstWindowThatMatches_data()
    {
        QTest::addColumn<std::vector<ShareableWindow>>("windows");
        QTest::addColumn<WindowNumber>("taken");
        const QRectF frame(0, 0, 300, 200);
        const auto other = shareable(9, 41, true, frame);
        const auto byNumber = shareable(12, 41, false, frame);
        const auto byProcess = shareable(13, process, true, frame);
        const auto hidden = shareable(14, process, false, frame);
        using Windows = std::vector<ShareableWindow>;
        QTest::newRow("by number")
            << Windows { other, hidden, byNumber, byProcess } << WindowNumber { 12 };
        QTest::newRow("by process")
            << Windows { other, hidden, byProcess, byNumber } << WindowNumber { 13 };
    }

    void takesTheFirstWindowThatMatches()
    {
        QFETCH(std::vector<ShareableWindow>, windows);
        QFETCH(WindowNumber, taken);
        screenCapture->content->windows = windows;
        QVERIFY(capture());
        QCOMPARE(screenCapture->streams[0].filter, ContentFilter(WindowFilter { taken }));
    }

    void takesTheDisplayWhenNoWindowMatches()
    {
        screenCapture->content->windows = { shareable(9, 41, true, { 0, 0, 9, 9 }),
                                            shareable(14, process, false, { 0, 0, 9, 9 }) };
        expectDisplay(2, { 2000, 1600 });
        QCOMPARE(screenCapture->streams.size(), std::size_t { 1 });
    }

    void takesTheMainDisplayForAnApplicationWithoutWindows()
    {
        workspace->windows->clear();
        screenCapture->content->windows.clear();
        expectDisplay(1, { 1000, 800 });
    }

    void takesTheMainDisplayForAnApplicationWithoutProcess()
    {
        workspace->frontmost->processIdentifier = std::nullopt;
        screenCapture->content->windows = { { .number = 12,
                                              .ownerProcess = std::nullopt,
                                              .onScreen = true,
                                              .frame = { 0, 0, 9, 9 } } };
        workspace->windows = { { .number = 12,
                                 .ownerProcess = std::nullopt,
                                 .name = {},
                                 .layer = 0,
                                 .bounds = QRectF(1100, 0, 9, 9) } };
        expectDisplay(1, { 1000, 800 });
    }

    void takesTheDisplayWhenTheWindowGivesNoFrame_data()
    {
        QTest::addColumn<bool>("starts");
        QTest::addColumn<bool>("delivers");
        QTest::newRow("cannot start") << false << false;
        QTest::newRow("no frame in time") << true << false;
        QTest::newRow("a sample without image") << true << true;
    }

    void takesTheDisplayWhenTheWindowGivesNoFrame()
    {
        QFETCH(bool, starts);
        QFETCH(bool, delivers);
        screenCapture->windowStreamsStart = starts;
        screenCapture->windowImage = delivers ? std::optional(QImage()) : std::nullopt;
        expectDisplay(2, { 2000, 1600 });
        QCOMPARE(screenCapture->streams.size(), std::size_t { 2 });
        QCOMPARE(screenCapture->stops, 2);
    }

    void goesOnAtOnceWhenTheStreamOfTheWindowCannotStart()
    {
        screenCapture->windowStreamsStart = false;
        capturer->capture(context, project, [](const auto&) {});
        QCoreApplication::processEvents();
        QCOMPARE(screenCapture->streams.size(), std::size_t { 2 });
    }

    void endsWithNothing_data()
    {
        QTest::addColumn<std::function<void(ScreenshotCapturerTest&)>>("breakSomething");
        using Break = std::function<void(ScreenshotCapturerTest&)>;
        QTest::newRow("no frontmost application")
            << Break([](auto& test) { test.workspace->frontmost = std::nullopt; });
        QTest::newRow("no shareable content")
            << Break([](auto& test) { test.screenCapture->content = std::nullopt; });
        QTest::newRow("no such display") << Break([](auto& test) {
            test.screenCapture->windowImage = QImage();
            test.screenCapture->content->displays.pop_back();
        });
        QTest::newRow("no display chosen") << Break([](auto& test) {
            test.screenCapture->content->windows.clear();
            test.workspace->windows = std::nullopt;
            test.screens->mainScreen = std::nullopt;
        });
        QTest::newRow("no frame of the display") << Break([](auto& test) {
            test.screenCapture->windowImage = QImage();
            test.screenCapture->displayImage = QImage();
        });
        QTest::newRow("no frame of either in time") << Break([](auto& test) {
            test.screenCapture->windowImage = std::nullopt;
            test.screenCapture->displayImage = std::nullopt;
        });
    }

    void endsWithNothing()
    {
        QFETCH(std::function<void(ScreenshotCapturerTest&)>, breakSomething);
        breakSomething(*this);
        QVERIFY(!capture());
        QCOMPARE(screenCapture->stops, static_cast<int>(screenCapture->streams.size()));
    }

    void waitsSixTenthsOfASecondForAFrame()
    {
        screenCapture->windowImage = std::nullopt;
        screenCapture->content->displays.clear();
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!capture());
        QVERIFY2(timer.elapsed() >= 600, qPrintable(QString::number(timer.elapsed())));
    }

    void takesAFrameThatComesWhileTheStreamStarts()
    {
        screenCapture->deliversWhileStarting = true;
        screenCapture->content->displays.clear();
        QVERIFY(capture());
        QCOMPARE(screenCapture->stops, 1);
    }

    void neverLosesAFrameOfAFastStream()
    {
        screenCapture->content->displays.clear();
        screenCapture->windowImage = picture({ 8, 8 });
        for (int i = 0; i < 300; ++i)
            QVERIFY(capture());
    }

    void answersSeveralCallsEachWithItsOwn()
    {
        std::vector<QString> titles;
        for (int i = 0; i < 5; ++i) {
            context.windowTitle = QString::number(i);
            capturer->capture(context, project, [&](const auto& result) {
                titles.push_back(*result->metadata.windowTitle);
            });
        }
        QTRY_COMPARE(titles.size(), std::size_t { 5 });
        QCOMPARE(titles, (std::vector { u"0"_s, u"1"_s, u"2"_s, u"3"_s, u"4"_s }));
    }

    void beginsACaptureWhenTheOneBeforeHasEnded()
    {
        std::vector<std::size_t> streams;
        const auto answered
            = [&](const auto&) { streams.push_back(screenCapture->streams.size()); };
        for (int i = 0; i < 3; ++i)
            capturer->capture(context, project, answered);
        QTRY_COMPARE(streams, (std::vector<std::size_t> { 1, 2, 3 }));
    }

    void givesEachCaptureItsWholeTimeWhileTheOneBeforeIsEncoded()
    {
        screenCapture->windowImage = noise({ 3840, 2160 });
        std::vector<QString> types;
        for (int i = 0; i < 2; ++i)
            capturer->capture(context, project, [&](const auto& result) {
                types.push_back(result ? result->metadata.captureType : QString());
            });
        // Encoding gives way to whatever else runs.
        QTRY_COMPARE_WITH_TIMEOUT(
            types, (std::vector { u"active_window"_s, u"active_window"_s }), 120'000);
    }

    void takesWhatWasFrontmostWhenTheCaptureWasAskedFor()
    {
        const ProcessIdentifier later = 41;
        screenCapture->content->windows.push_back(shareable(13, later, true, { 0, 0, 30, 20 }));
        int answers = 0;
        for (int i = 0; i < 2; ++i)
            capturer->capture(context, project, [&](const auto&) { ++answers; });
        workspace->frontmost->processIdentifier = later;
        workspace->windows = { { .number = 13,
                                 .ownerProcess = later,
                                 .name = {},
                                 .layer = 0,
                                 .bounds = QRectF(0, 0, 30, 20) } };
        QTRY_COMPARE(answers, 2);
        QCOMPARE(screenCapture->streams[1].filter, ContentFilter(WindowFilter { 12 }));
    }

    void goesOnAfterACaptureThatEndedWithNothing()
    {
        screenCapture->content = std::nullopt;
        int nothing = 0;
        for (int i = 0; i < 2; ++i)
            capturer->capture(context, project, [&](const auto& result) { nothing += !result; });
        QTRY_COMPARE(nothing, 2);
    }

    void forgetsTheCallerWhenItIsGone_data()
    {
        QTest::addColumn<int>("turns");
        QTest::newRow("at once") << 0;
        for (int turns = 1; turns < 6; ++turns)
            QTest::addRow("after %d turns", turns) << turns;
    }

    void forgetsTheCallerWhenItIsGone()
    {
        QFETCH(int, turns);
        // Large, so that some of the turns end while it is encoded.
        screenCapture->windowImage = picture({ 3000, 2000 });
        bool answered = false;
        capturer->capture(context, project, [&](const auto&) { answered = true; });
        for (int i = 0; i < turns && !answered; ++i)
            QCoreApplication::processEvents();
        const bool answeredBefore = answered;
        answered = false;
        capturer.reset();
        QCoreApplication::processEvents();
        QVERIFY(!answered || answeredBefore);
    }

    void releasesTheFrameWhenAllIsDone()
    {
        int released = 0;
        {
            static const QRgb pixel = 0xff000000;
            screenCapture->windowImage = QImage(
                reinterpret_cast<const uchar*>(&pixel),
                1,
                1,
                QImage::Format_RGB32,
                [](void* count) { ++*static_cast<int*>(count); },
                &released);
        }
        QVERIFY(capture());
        screenCapture->windowImage = std::nullopt;
        capturer.reset();
        QCOMPARE(released, 1);
    }

private:
    static Screen screen(DisplayID id, QRect frame)
    {
        return { .displayID = id, .frame = frame, .visibleFrame = frame, .pixelFrame = frame };
    }

    std::optional<ScreenshotCapture> capture()
    {
        int answers = 0;
        std::optional<ScreenshotCapture> answer;
        bool returned = false;
        bool onMainThread = false;
        capturer->capture(context, project, [&](std::optional<ScreenshotCapture> result) {
            ++answers;
            onMainThread = returned && QThread::currentThread() == thread();
            answer = std::move(result);
        });
        returned = true;
        if (!QTest::qWaitFor([&] { return answers > 0; }, 120'000) || !onMainThread)
            qFatal("no answer, or not later on the main thread");
        QCoreApplication::processEvents();
        return answers == 1 ? answer : std::nullopt;
    }

    void expectDisplay(DisplayID display, QSize size)
    {
        const auto result = capture();
        QVERIFY(result);
        QCOMPARE(result->metadata.captureType, u"display_fallback"_s);
        QCOMPARE(result->metadata.imageWidth, 500);
        QCOMPARE(result->metadata.imageHeight, 400);
        QCOMPARE(screenCapture->streams.back().filter, ContentFilter(DisplayFilter { display }));
        QCOMPARE(screenCapture->streams.back().configuration.size, size);
    }

    CaptureContext context { .appName = u"Editor"_s,
                             .bundleID = u"org.editor"_s,
                             .windowTitle = u"notes.txt"_s };
    Project project { .id = u"p1"_s, .name = u"Garden"_s, .isMock = false };
    std::unique_ptr<FakeWorkspace> workspace;
    std::unique_ptr<FakeScreens> screens;
    std::unique_ptr<FakeScreenCapture> screenCapture;
    std::unique_ptr<ScreenshotCapturer> capturer;
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::ScreenshotCapturerTest)
#include "ScreenshotCapturerTest.moc"
