#include "capture/FrontmostWindow.h"
#include "tests/fakes/FakeScreens.h"
#include "tests/fakes/FakeWorkspace.h"

#include <QTest>

namespace quibel {

namespace {

constexpr ProcessIdentifier process = 40;

WindowInfo windowInfo(std::optional<WindowNumber> number,
                      std::optional<ProcessIdentifier> owner,
                      std::optional<int> layer)
{
    return { .number = number, .ownerProcess = owner, .name = {}, .layer = layer, .bounds = {} };
}

ShareableWindow shareable(WindowNumber number, ProcessIdentifier owner, bool onScreen = true)
{
    return { .number = number, .ownerProcess = owner, .onScreen = onScreen, .frame = {} };
}

WindowInfo placedWindow(ProcessIdentifier owner, std::optional<QRectF> bounds, int layer = 0)
{
    return { .number = 1, .ownerProcess = owner, .name = {}, .layer = layer, .bounds = bounds };
}

Screen screen(std::optional<DisplayID> id, QRect frame)
{
    return { .displayID = id, .frame = frame, .visibleFrame = frame, .pixelFrame = frame };
}

} // namespace

class FrontmostWindowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        workspace = std::make_unique<FakeWorkspace>();
        screens = std::make_unique<FakeScreens>();
        screens->screens = { screen(1, { 0, 0, 1000, 800 }), screen(2, { 1000, 0, 1000, 800 }) };
        screens->mainScreen = screens->screens.front();
    }

    void findsTheFirstOrdinaryWindowOfTheProcess()
    {
        workspace->windows = { windowInfo(10, 41, 0),
                               windowInfo(11, process, 3),
                               windowInfo(12, process, 0),
                               windowInfo(13, process, 0) };
        QCOMPARE(number(), WindowNumber { 12 });
    }

    void skipsWindowsThatLackAKey()
    {
        workspace->windows = { windowInfo(std::nullopt, process, 0),
                               windowInfo(11, std::nullopt, 0),
                               windowInfo(12, process, std::nullopt),
                               windowInfo(13, process, 0) };
        QCOMPARE(number(), WindowNumber { 13 });
    }

    void findsNoWindowWhereThereIsNone()
    {
        workspace->windows = { windowInfo(10, 41, 0), windowInfo(11, process, -1) };
        QVERIFY(!number());
        workspace->windows = std::nullopt;
        QVERIFY(!number());
    }

    void findsNoWindowForAnUnknownProcess()
    {
        workspace->windows = { windowInfo(10, std::nullopt, 0) };
        QVERIFY(!findFrontmostWindowNumber(*workspace, std::nullopt));
    }

    void findsTheWindowToCapture_data()
    {
        QTest::addColumn<std::vector<ShareableWindow>>("windows");
        QTest::addColumn<std::optional<WindowNumber>>("found");
        const std::optional<WindowNumber> none;
        QTest::newRow("its frontmost") << std::vector { shareable(10, 41), shareable(12, process) }
                                       << std::optional<WindowNumber>(12);
        QTest::newRow("its frontmost, off screen by now")
            << std::vector { shareable(12, process, false), shareable(13, process) }
            << std::optional<WindowNumber>(12);
        QTest::newRow("another one before that")
            << std::vector { shareable(11, process), shareable(12, process) }
            << std::optional<WindowNumber>(11);
        QTest::newRow("another one alone")
            << std::vector { shareable(10, 41), shareable(13, process) }
            << std::optional<WindowNumber>(13);
        QTest::newRow("none on screen") << std::vector { shareable(13, process, false) } << none;
        QTest::newRow("those of others only") << std::vector { shareable(10, 41) } << none;
    }

    void findsTheWindowToCapture()
    {
        QFETCH(const std::vector<ShareableWindow>, windows);
        QFETCH(const std::optional<WindowNumber>, found);
        workspace->windows = { windowInfo(12, process, 0) };
        const auto window
            = findWindowToCapture(*workspace, { .windows = windows, .displays = {} }, process);
        QCOMPARE(window ? std::optional(window->number) : std::nullopt, found);
    }

    void findsNoWindowToCaptureForAnUnknownProcess()
    {
        const ShareableContent content {
            .windows = { { .number = 12, .ownerProcess = {}, .onScreen = true, .frame = {} } },
            .displays = {}
        };
        QVERIFY(!findWindowToCapture(*workspace, content, std::nullopt));
    }

    void choosesTheFirstScreenThatTheWindowIsOn_data()
    {
        QTest::addColumn<QRectF>("bounds");
        QTest::addColumn<DisplayID>("display");
        QTest::newRow("first") << QRectF(100, 100, 50, 50) << DisplayID { 1 };
        QTest::newRow("second") << QRectF(1100, 100, 50, 50) << DisplayID { 2 };
        QTest::newRow("both") << QRectF(900, 100, 1000, 50) << DisplayID { 1 };
        QTest::newRow("touches the first") << QRectF(1000, 100, 50, 50) << DisplayID { 2 };
        QTest::newRow("half a point on the first") << QRectF(999.5, 100, 50, 50) << DisplayID { 1 };
        QTest::newRow("none") << QRectF(5000, 100, 50, 50) << DisplayID { 1 };
    }

    void choosesTheFirstScreenThatTheWindowIsOn()
    {
        QFETCH(QRectF, bounds);
        workspace->windows
            = { placedWindow(41, QRectF(1500, 0, 9, 9)), placedWindow(process, bounds) };
        QTEST(display().value(), "display");
    }

    void choosesByTheFirstWindowWithBoundsWhateverItsLayer()
    {
        workspace->windows = { placedWindow(process, std::nullopt),
                               placedWindow(process, QRectF(1100, 0, 50, 50), 3),
                               placedWindow(process, QRectF(100, 0, 50, 50)) };
        QCOMPARE(display(), DisplayID { 2 });
    }

    void choosesTheMainScreenWithoutAWindow()
    {
        screens->mainScreen = screens->screens.back();
        QCOMPARE(display(), DisplayID { 2 });
        QCOMPARE(findDisplayOfFrontmostWindow(*workspace, *screens, std::nullopt), DisplayID { 2 });
    }

    void choosesTheMainScreenWhenTheOtherHasNoNumber()
    {
        screens->screens.back().displayID = std::nullopt;
        workspace->windows = { placedWindow(process, QRectF(1100, 0, 50, 50)) };
        QCOMPARE(display(), DisplayID { 1 });
    }

    void choosesNoneWhenTheMainScreenHasNoNumberEither()
    {
        screens->mainScreen->displayID = std::nullopt;
        QVERIFY(!display());
        screens->mainScreen = std::nullopt;
        QVERIFY(!display());
    }

private:
    std::optional<WindowNumber> number() { return findFrontmostWindowNumber(*workspace, process); }
    std::optional<DisplayID> display()
    {
        return findDisplayOfFrontmostWindow(*workspace, *screens, process);
    }

    std::unique_ptr<FakeWorkspace> workspace;
    std::unique_ptr<FakeScreens> screens;
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::FrontmostWindowTest)
#include "FrontmostWindowTest.moc"
