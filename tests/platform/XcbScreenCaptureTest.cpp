#include "platform/x11/XcbScreenCapture.h"
#include "tests/desktop/VirtualDesktop.h"
#include "tests/fakes/FakeScreens.h"
#include "tests/platform/PatternWindow.h"

#include <QTest>
#include <QTimer>

#include <atomic>
#include <thread>

#include <xcb/composite.h>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

/// Keeps what a stream delivers.
class FrameReceiver final : public StreamOutput
{
public:
    void didOutput(StreamSample sample, StreamOutputType type) override
    {
        frame = type == StreamOutputType::screen ? std::move(sample.image) : QImage();
        ++count;
    }

    QImage frame; ///< To be read when `count` is not 0.
    std::atomic_int count = 0;
};

} // namespace

/// Every test runs without a compositor and with one.
class XcbScreenCaptureTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase_data()
    {
        QTest::addColumn<bool>("composited");
        QTest::newRow("plain") << false;
        QTest::newRow("composited") << true;
    }

    void initTestCase()
    {
        QVERIFY(desktop.start());
        desktop.enter();
        // picom composes only while there is a window, so one stays.
        companion = std::make_unique<PatternWindow>(
            PatternWindow::Options { .geometry = { 1270, 790, 10, 10 } });
        show(*companion);
    }

    void cleanupTestCase() { companion.reset(); }

    void init()
    {
        QFETCH_GLOBAL(bool, composited);
        desktop.enter();
        if (composited && compositor == nullptr) {
            compositor = desktop.launch(u"picom"_s, { u"--backend"_s, u"xrender"_s });
            QVERIFY(compositor != nullptr);
        } else if (!composited && compositor != nullptr) {
            desktop.stop(compositor);
            compositor = nullptr;
        }
        x = XcbConnection::open();
        QVERIFY(x != nullptr);
        const auto isRedirected = [this] {
            const xcb_pixmap_t pixmap = xcb_generate_id(x->get());
            const XcbOwned<xcb_generic_error_t> error(xcb_request_check(
                x->get(),
                xcb_composite_name_window_pixmap_checked(x->get(), companion->id(), pixmap)));
            return error == nullptr;
        };
        QTRY_COMPARE_WITH_TIMEOUT(isRedirected(), composited, patienceMs);
        screens = std::make_unique<FakeScreens>();
        screenCapture = std::make_unique<XcbScreenCapture>(*x, *screens);
    }

    void cleanup()
    {
        screenCapture.reset();
        x.reset();
    }

    void takesAWindowWithoutItsFrame()
    {
        PatternWindow window({ .geometry = { 200, 150, 333, 217 }, .managed = true });
        show(window);
        QCOMPARE(grab(WindowFilter { window.id() }), PatternWindow::expected({ 333, 217 }));
    }

    void takesACoveredWindow()
    {
        PatternWindow window({ .geometry = { 200, 150, 400, 300 }, .managed = true });
        show(window);
        PatternWindow cover({ .geometry = { 250, 0, 200, 600 } });
        show(cover);
        QCOMPARE(grab(WindowFilter { window.id() }), PatternWindow::expected({ 400, 300 }));
    }

    void takesAWindowThatIsCoveredWholly()
    {
        PatternWindow window({ .geometry = { 200, 150, 400, 300 } });
        show(window);
        PatternWindow cover({ .geometry = { 0, 0, 1280, 800 } });
        show(cover);
        QCOMPARE(grab(WindowFilter { window.id() }), PatternWindow::expected({ 400, 300 }));
    }

    void takesAWindowPartlyOffTheScreen_data()
    {
        QTest::addColumn<QPoint>("position");
        QTest::newRow("left and above") << QPoint(-150, -100);
        QTest::newRow("right and below") << QPoint(1100, 700);
    }

    void takesAWindowPartlyOffTheScreen()
    {
        QFETCH(QPoint, position);
        PatternWindow window({ .geometry = { position, QSize(400, 300) } });
        show(window);
        QCOMPARE(grab(WindowFilter { window.id() }), PatternWindow::expected({ 400, 300 }));
    }

    void leavesOutTheWindowsOwnBorder()
    {
        PatternWindow window({ .geometry = { 200, 150, 100, 80 }, .border = 7 });
        show(window);
        PatternWindow cover({ .geometry = { 190, 140, 30, 30 } });
        show(cover);
        QCOMPARE(grab(WindowFilter { window.id() }), PatternWindow::expected({ 100, 80 }));
    }

    void takesAWindowOfOnePixel()
    {
        PatternWindow window({ .geometry = { 300, 300, 1, 1 } });
        show(window);
        QCOMPARE(grab(WindowFilter { window.id() }), PatternWindow::expected({ 1, 1 }));
    }

    void takesAWindowMuchLargerThanTheScreen()
    {
        PatternWindow window({ .geometry = { 0, 0, 7680, 4320 } });
        show(window);
        // On a busy machine the window may not draw that much in the time that a grab gives it.
        QTRY_COMPARE_WITH_TIMEOUT(grab(WindowFilter { window.id() }),
                                  PatternWindow::expected({ 7680, 4320 }),
                                  patienceMs);
    }

    void keepsTheTransparencyOfAWindowWhereItIsSeen_data()
    {
        QTest::addColumn<bool>("covered");
        QTest::newRow("visible") << false;
        QTest::newRow("covered") << true;
    }

    void keepsTheTransparencyOfAWindowWhereItIsSeen()
    {
        QFETCH_GLOBAL(bool, composited);
        QFETCH(bool, covered);
        PatternWindow window({ .geometry = { 200, 150, 300, 200 }, .hasAlpha = true });
        show(window);
        PatternWindow cover({ .geometry = { 190, 140, 30, 30 } });
        if (covered)
            show(cover);
        const QImage withAlpha = PatternWindow::expected({ 300, 200 }, true);
        QImage opaque = withAlpha;
        QVERIFY(opaque.reinterpretAsFormat(QImage::Format_RGB32));
        QCOMPARE(grab(WindowFilter { window.id() }), composited ? withAlpha : opaque);
    }

    void deliversNoImageOfAWindowThatIsNotOnScreen()
    {
        PatternWindow window({});
        QVERIFY(grab(WindowFilter { window.id() }).isNull());
        show(window);
        window.unmap();
        QVERIFY(grab(WindowFilter { window.id() }).isNull());
        window.destroy();
        QVERIFY(grab(WindowFilter { window.id() }).isNull());
        QVERIFY(grab(WindowFilter { 0 }).isNull());
    }

    void deliversAWholeWindowOrNoneWhileItChangesSize()
    {
        const QSize small(150, 120);
        const QSize large(900, 700);
        PatternWindow window({ .geometry = { QPoint(10, 10), large } });
        show(window);
        int changes = 0;
        QTimer changing;
        connect(&changing, &QTimer::timeout, &window, [&] {
            window.resize(++changes % 2 == 0 ? large : small);
        });
        changing.start(0);
        for (int i = 0; i < 20; ++i) {
            const QImage frame = grab(WindowFilter { window.id() });
            QVERIFY(frame.isNull() || frame.size() == small || frame.size() == large);
        }
        QVERIFY(changes > 0);
    }

    void survivesAWindowThatGoesMeanwhile()
    {
        for (int i = 0; i < 20; ++i) {
            PatternWindow window({ .geometry = { 10, 10, 900, 700 } });
            show(window);
            PatternWindow cover({ .geometry = { 0, 0, 50, 50 } });
            show(cover);
            QTimer::singleShot(i, &window, &PatternWindow::destroy);
            const QImage frame = grab(WindowFilter { window.id() });
            QVERIFY(frame.isNull() || frame.size() == QSize(900, 700));
        }
    }

    void takesTheAreaOfADisplay()
    {
        screens->screens = {
            { .displayID = 1, .frame = {}, .visibleFrame = {}, .pixelFrame = { 0, 0, 640, 800 } },
            { .displayID = 2, .frame = {}, .visibleFrame = {}, .pixelFrame = { 640, 0, 640, 800 } }
        };
        PatternWindow window({ .geometry = { 740, 100, 300, 200 } });
        show(window);
        const auto part = [&](const QImage& frame) { return frame.copy(100, 100, 300, 200); };
        QTRY_COMPARE_WITH_TIMEOUT(
            part(grab(DisplayFilter { 2 })), PatternWindow::expected({ 300, 200 }), patienceMs);
        QCOMPARE(grab(DisplayFilter { 2 }).size(), QSize(640, 800));
        QVERIFY(part(grab(DisplayFilter { 1 })) != PatternWindow::expected({ 300, 200 }));
    }

    void takesWhatOfADisplayIsOnTheDesktop()
    {
        screens->screens = {
            { .displayID = 1,
              .frame = {},
              .visibleFrame = {},
              .pixelFrame = { 1000, 0, 640, 400 } },
            { .displayID = 2, .frame = {}, .visibleFrame = {}, .pixelFrame = { 2000, 0, 640, 400 } }
        };
        QCOMPARE(grab(DisplayFilter { 1 }).size(), QSize(280, 400));
        QVERIFY(grab(DisplayFilter { 2 }).isNull());
    }

    void doesNotStartForADisplayThatIsNotThere()
    {
        screens->screens = {
            { .displayID = 1, .frame = {}, .visibleFrame = {}, .pixelFrame = { 0, 0, 640, 400 } }
        };
        const auto stream = screenCapture->makeStream(DisplayFilter { 9 }, {});
        stream->addOutput(std::make_shared<FrameReceiver>(), [](auto job) { job(); });
        QVERIFY(!stream->start());
    }

    void deliversNothingOfAGrabThatWasStoppedBeforeItBegan()
    {
        const auto receiver = std::make_shared<FrameReceiver>();
        std::function<void()> later;
        const auto stream = screenCapture->makeStream(WindowFilter { x->root() }, {});
        stream->addOutput(receiver, [&](auto job) { later = std::move(job); });
        QVERIFY(stream->start());
        stream->stop();
        later();
        QCOMPARE(receiver->count.load(), 0);
    }

    void finishesAGrabThatOutlivesItsStream()
    {
        PatternWindow window({});
        show(window);
        const auto receiver = std::make_shared<FrameReceiver>();
        std::function<void()> later;
        auto stream = screenCapture->makeStream(WindowFilter { window.id() }, {});
        stream->addOutput(receiver, [&](auto job) { later = std::move(job); });
        QVERIFY(stream->start());
        stream.reset();
        later();
        QCOMPARE(receiver->count.load(), 1);
    }

    void listsWindowsFrontToBackAndDisplays()
    {
        screens->screens = {
            { .displayID = 5, .frame = {}, .visibleFrame = {}, .pixelFrame = { 0, 0, 1280, 800 } },
            { .displayID = std::nullopt,
              .frame = {},
              .visibleFrame = {},
              .pixelFrame = { 0, 0, 9, 9 } }
        };
        PatternWindow back({ .geometry = { 20, 40, 300, 200 }, .managed = true });
        show(back);
        PatternWindow front({ .geometry = { 400, 300, 301, 201 }, .managed = true });
        show(front);

        bool returned = false;
        std::optional<ShareableContent> content;
        screenCapture->shareableContent([&](auto answer) {
            QVERIFY(returned);
            content = std::move(answer);
        });
        returned = true;
        QTRY_VERIFY(content);
        QCOMPARE(content->windows.size(), std::size_t { 2 });
        QCOMPARE(content->windows[0].number, front.id());
        QCOMPARE(content->windows[0].frame.size(), QSizeF(301, 201));
        QCOMPARE(content->windows[0].ownerProcess, QCoreApplication::applicationPid());
        QVERIFY(content->windows[0].onScreen);
        QCOMPARE(content->windows[1].number, back.id());
        const std::vector<ShareableDisplay> displays { { .id = 5, .size = { 1280, 800 } } };
        QCOMPARE(content->displays, displays);
    }

    void doesWithoutSharedMemory()
    {
        VirtualDesktop other(
            { .serverArguments = { u"-extension"_s, u"MIT-SHM"_s }, .windowManager = {} });
        QVERIFY(other.start());
        other.enter();
        PatternWindow window({ .geometry = { 10, 10, 640, 480 } });
        show(window);
        QCOMPARE(grab(WindowFilter { window.id() }), PatternWindow::expected({ 640, 480 }));
    }

    void doesWithoutComposition()
    {
        VirtualDesktop other(
            { .serverArguments = { u"-extension"_s, u"Composite"_s }, .windowManager = {} });
        QVERIFY(other.start());
        other.enter();
        PatternWindow window({ .geometry = { 10, 10, 640, 480 } });
        show(window);
        QCOMPARE(grab(WindowFilter { window.id() }), PatternWindow::expected({ 640, 480 }));
        PatternWindow cover({ .geometry = { 0, 0, 100, 100 } });
        show(cover);
        // Rather nothing than what another program has in front.
        QVERIFY(grab(WindowFilter { window.id() }).isNull());
    }

    void convertsADesktopOfSixteenBits()
    {
        VirtualDesktop other({ .screen = u"640x480x16"_s, .windowManager = {} });
        QVERIFY(other.start());
        other.enter();
        PatternWindow window({ .geometry = { 10, 10, 64, 64 } });
        show(window);
        const QImage frame = grab(WindowFilter { window.id() });
        QCOMPARE(frame.format(), QImage::Format_RGB32);
        QCOMPARE(frame.size(), QSize(64, 64));
        // What is left of the pattern's first two colours there: nothing, and red with most of
        // green.
        QCOMPARE(frame.pixel(0, 0), 0xff000000);
        QCOMPARE(frame.pixel(PatternWindow::cell, 0), 0xffffe300);
    }

private:
    static constexpr int patienceMs = 20'000;

    void show(PatternWindow& window)
    {
        window.map();
        QTRY_VERIFY_WITH_TIMEOUT(window.isDrawn(), patienceMs);
        window.sync();
    }

    /// The frame that a stream delivers, made on another thread while this one draws.
    QImage grab(const ContentFilter& filter)
    {
        const auto receiver = std::make_shared<FrameReceiver>();
        std::thread queue;
        const auto stream = screenCapture->makeStream(filter, {});
        stream->addOutput(receiver, [&](auto job) { queue = std::thread(std::move(job)); });
        const bool started = stream->start();
        const bool delivered
            = started && QTest::qWaitFor([&] { return receiver->count == 1; }, patienceMs);
        if (queue.joinable())
            queue.join();
        return delivered ? receiver->frame : QImage();
    }

    VirtualDesktop desktop { {} };
    QProcess* compositor = nullptr;
    std::unique_ptr<XcbConnection> x;
    std::unique_ptr<PatternWindow> companion;
    std::unique_ptr<FakeScreens> screens;
    std::unique_ptr<XcbScreenCapture> screenCapture;
};

} // namespace quibel::testing

QTEST_GUILESS_MAIN(quibel::testing::XcbScreenCaptureTest)
#include "XcbScreenCaptureTest.moc"
