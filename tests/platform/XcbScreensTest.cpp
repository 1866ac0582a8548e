#include "platform/x11/XcbProperty.h"
#include "platform/x11/XcbScreens.h"
#include "tests/desktop/VirtualDesktop.h"
#include "tests/platform/DockWindow.h"

#include <QGuiApplication>
#include <QScopeGuard>
#include <QScreen>
#include <QTest>

using namespace Qt::StringLiterals;
using quibel::testing::Dock;
using quibel::testing::DockWindow;
using quibel::testing::settleWindowManager;
using quibel::testing::VirtualDesktop;

namespace quibel {

namespace {

using Numbers = std::vector<std::uint32_t>;

const QRect leftFrame(0, 0, 1280, 800);
const QRect rightFrame(1280, 0, 500, 500);

} // namespace

/// First one monitor, then two side by side: 1280×800 on the left and, with two pixels to the
/// point, 1000×1000 pixels on the right.
class XcbScreensTest : public QObject
{
    Q_OBJECT

public:
    explicit XcbScreensTest(VirtualDesktop& virtualDesktop)
        : desktop(virtualDesktop)
    {
    }

private Q_SLOTS:
    void init();
    void describesTheOnlyScreen();
    void leavesRoomForADockOnTheOnlyScreen();
    void leavesRoomForADockWithoutAWorkArea();
    void tellsWhereThePointerIs();
    void describesASecondScreenThatIsConnected();
    void leavesRoomForDocksOnTheirScreenOnly_data();
    void leavesRoomForDocksOnTheirScreenOnly();
    void tellsWhereThePointerIsOnAScaledScreen();
    void leavesRoomForTheDocksOfEitherScreen();
    void leavesNoRoomForADockOnAnotherDesktop();
    void cutsTheWorkAreaWithEachScreen_data();
    void cutsTheWorkAreaWithEachScreen();
    void prefersDocksToTheWorkArea();
    void prefersTheAreasOfEachScreen_data();
    void prefersTheAreasOfEachScreen();
    void takesTheAreasOfTheCurrentDesktop();

private:
    void movePointer(int xInPixels, int yInPixels)
    {
        QVERIFY(desktop.output(
            u"xdotool"_s,
            { u"mousemove"_s, QString::number(xInPixels), QString::number(yInPixels) }));
    }
    void setMonitor(const QString& name, const QString& geometry, const QString& output)
    {
        QVERIFY(desktop.output(u"xrandr"_s, { u"--setmonitor"_s, name, geometry, output }));
    }
    [[nodiscard]] QRect visible(std::size_t index) { return screens.all().at(index).visibleFrame; }
    /// Has the root window say something, as a window manager would.
    void tell(const QByteArray& property, const Numbers& numbers)
    {
        xcb_change_property(x->get(),
                            XCB_PROP_MODE_REPLACE,
                            x->root(),
                            x->atom(property),
                            XCB_ATOM_CARDINAL,
                            32,
                            static_cast<std::uint32_t>(numbers.size()),
                            numbers.data());
        x->flush();
    }
    [[nodiscard]] Numbers told(const QByteArray& property)
    {
        return XcbProperty(x->get(), askProperty(x->get(), x->root(), x->atom(property))).values();
    }

    VirtualDesktop& desktop;
    std::unique_ptr<XcbConnection> x = XcbConnection::open();
    XcbScreens screens { *x };
};

void XcbScreensTest::init()
{
    // The docks of the test before, and the work area without them.
    QVERIFY(settleWindowManager());
}

void XcbScreensTest::describesTheOnlyScreen()
{
    const Screen only { .displayID = x->atom("screen"),
                        .frame = { 0, 0, 2280, 1000 },
                        .visibleFrame = { 0, 0, 2280, 1000 },
                        .pixelFrame = { 0, 0, 2280, 1000 } };
    QCOMPARE(screens.all(), std::vector { only });
    QCOMPARE(screens.main(), std::optional(only));
}

void XcbScreensTest::leavesRoomForADockOnTheOnlyScreen()
{
    {
        const DockWindow dock({ .strut = { 0, 0, 0, 30, 0, 0, 0, 0, 0, 0, 0, 2279 } });
        QTRY_COMPARE(visible(0), QRect(0, 0, 2280, 970));
        QCOMPARE(screens.main()->visibleFrame, QRect(0, 0, 2280, 970));
        QCOMPARE(screens.main()->frame, QRect(0, 0, 2280, 1000));
    }
    QTRY_COMPARE(visible(0), QRect(0, 0, 2280, 1000));
}

void XcbScreensTest::leavesRoomForADockWithoutAWorkArea()
{
    const DockWindow dock({ .strut = { 0, 0, 0, 30, 0, 0, 0, 0, 0, 0, 0, 2279 } });
    QTRY_COMPARE(visible(0), QRect(0, 0, 2280, 970));
    QVERIFY(settleWindowManager());
    const Numbers former = told("_NET_WORKAREA");
    xcb_delete_property(x->get(), x->root(), x->atom("_NET_WORKAREA"));
    QCOMPARE(visible(0), QRect(0, 0, 2280, 970));
    tell("_NET_WORKAREA", former);
}

void XcbScreensTest::tellsWhereThePointerIs()
{
    movePointer(321, 123);
    QTRY_COMPARE(screens.pointerLocation(), QPoint(321, 123));
}

void XcbScreensTest::describesASecondScreenThatIsConnected()
{
    setMonitor(u"*left"_s, u"1280/338x800/211+0+0"_s, u"screen"_s);
    setMonitor(u"right"_s, u"1000/264x1000/264+1280+0"_s, u"none"_s);
    const Screen left { .displayID = x->atom("left"),
                        .frame = leftFrame,
                        .visibleFrame = leftFrame,
                        .pixelFrame = leftFrame };
    const Screen right { .displayID = x->atom("right"),
                         .frame = rightFrame,
                         .visibleFrame = rightFrame,
                         .pixelFrame = { 1280, 0, 1000, 1000 } };
    QTRY_COMPARE(screens.all(), (std::vector { left, right }));
    QCOMPARE(screens.main(), std::optional(left));
}

void XcbScreensTest::leavesRoomForDocksOnTheirScreenOnly_data()
{
    QTest::addColumn<Dock>("dock");
    QTest::addColumn<QRect>("left");
    QTest::addColumn<QRect>("right");
    const auto row = [](const char* name, const Dock& dock, const QRect& left, const QRect& right) {
        QTest::newRow(name) << dock << left << right;
    };
    const QRect shorter(0, 0, 1280, 760);
    row("below, on the left, in the middle of the desktop",
        { .strut = { 0, 0, 0, 240, 0, 0, 0, 0, 0, 0, 0, 1279 } },
        shorter,
        rightFrame);
    row("the same, with an end that is a pixel too far",
        { .strut = { 0, 0, 0, 240, 0, 0, 0, 0, 0, 0, 0, 1280 } },
        shorter,
        rightFrame);
    row("the same, without ends",
        { .strut = { 0, 0, 0, 240 }, .property = "_NET_WM_STRUT", .frame = { 0, 760, 1280, 40 } },
        shorter,
        rightFrame);
    row("below, on the right",
        { .strut = { 0, 0, 0, 40, 0, 0, 0, 0, 0, 0, 1280, 2279 } },
        leftFrame,
        QRect(1280, 0, 500, 480));
    row("above, on the right",
        { .strut = { 0, 0, 40, 0, 0, 0, 0, 0, 1280, 2279, 0, 0 } },
        leftFrame,
        QRect(1280, 20, 500, 480));
    row("above, on both",
        { .strut = { 0, 0, 20, 0, 0, 0, 0, 0, 0, 2279, 0, 0 } },
        QRect(0, 20, 1280, 780),
        QRect(1280, 10, 500, 490));
    row("above, on both, without ends",
        { .strut = { 0, 0, 20, 0 }, .property = "_NET_WM_STRUT", .frame = { 0, 0, 2280, 20 } },
        QRect(0, 20, 1280, 780),
        QRect(1280, 10, 500, 490));
    row("at the left edge",
        { .strut = { 60, 0, 0, 0, 0, 799, 0, 0, 0, 0, 0, 0 } },
        QRect(60, 0, 1220, 800),
        rightFrame);
    row("at the right edge",
        { .strut = { 0, 60, 0, 0, 0, 0, 0, 999, 0, 0, 0, 0 } },
        leftFrame,
        QRect(1280, 0, 470, 500));
    row("at the inner edge of the left one",
        { .strut = { 0, 1060, 0, 0, 0, 0, 0, 799, 0, 0, 0, 0 } },
        QRect(0, 0, 1220, 800),
        rightFrame);
    row("at the inner edge of the right one",
        { .strut = { 1340, 0, 0, 0, 0, 999, 0, 0, 0, 0, 0, 0 } },
        leftFrame,
        QRect(1310, 0, 470, 500));
    row("nothing", { .strut = Numbers(12) }, leftFrame, rightFrame);
    row("more than there is", { .strut = Numbers(12, 0xFFFFFFFF) }, leftFrame, rightFrame);
    row("all of the left one",
        { .strut = { 1280, 0, 0, 0, 0, 799, 0, 0, 0, 0, 0, 0 } },
        leftFrame,
        rightFrame);
    row("too few numbers", { .strut = { 0, 0, 0, 240, 0, 0, 0 } }, leftFrame, rightFrame);
}

void XcbScreensTest::leavesRoomForDocksOnTheirScreenOnly()
{
    QFETCH(const Dock, dock);
    QFETCH(const QRect, left);
    QFETCH(const QRect, right);
    {
        const DockWindow window(dock);
        QTRY_COMPARE(visible(0), left);
        QTRY_COMPARE(visible(1), right);
        QVERIFY(settleWindowManager());
    }
    QTRY_COMPARE(visible(0), leftFrame);
    QTRY_COMPARE(visible(1), rightFrame);
}

void XcbScreensTest::leavesRoomForTheDocksOfEitherScreen()
{
    const DockWindow below({ .strut = { 0, 0, 0, 240, 0, 0, 0, 0, 0, 0, 0, 1279 } });
    const DockWindow higher({ .strut = { 0, 0, 0, 260, 0, 0, 0, 0, 0, 0, 400, 879 } });
    const DockWindow inner({ .strut = { 1340, 0, 0, 0, 0, 999, 0, 0, 0, 0, 0, 0 } });
    QTRY_COMPARE(visible(0), QRect(0, 0, 1280, 740));
    QTRY_COMPARE(visible(1), QRect(1310, 0, 470, 500));
}

void XcbScreensTest::tellsWhereThePointerIsOnAScaledScreen()
{
    movePointer(1280 + 300, 200);
    QTRY_COMPARE(screens.pointerLocation(), QPoint(1280 + 150, 100));
}

void XcbScreensTest::leavesNoRoomForADockOnAnotherDesktop()
{
    const DockWindow here({ .strut = { 60, 0, 0, 0, 0, 799, 0, 0, 0, 0, 0, 0 } });
    DockWindow elsewhere({ .strut = { 0, 0, 0, 240, 0, 0, 0, 0, 0, 0, 0, 1279 } });
    QTRY_COMPARE(visible(0), QRect(60, 0, 1220, 760));
    elsewhere.requestFromRoot("_NET_WM_DESKTOP", { 2 });
    QTRY_COMPARE(visible(0), QRect(60, 0, 1220, 800));
}

void XcbScreensTest::cutsTheWorkAreaWithEachScreen_data()
{
    QTest::addColumn<Numbers>("area");
    QTest::addColumn<QRect>("left");
    QTest::addColumn<QRect>("right");
    QTest::newRow("bar above") << Numbers { 0, 40, 2280, 960 } << QRect(0, 40, 1280, 760)
                               << QRect(1280, 20, 500, 480);
    QTest::newRow("bar at the left")
        << Numbers { 60, 0, 2220, 1000 } << QRect(60, 0, 1220, 800) << rightFrame;
    QTest::newRow("on the right only")
        << Numbers { 1280, 40, 1000, 960 } << leftFrame << QRect(1280, 20, 500, 480);
    QTest::newRow("of each desktop") << Numbers { 0, 40, 2280, 960, 0, 80, 2280, 920 }
                                     << QRect(0, 40, 1280, 760) << QRect(1280, 20, 500, 480);
    QTest::newRow("none") << Numbers {} << leftFrame << rightFrame;
    QTest::newRow("nothing") << Numbers(4) << leftFrame << rightFrame;
    QTest::newRow("out of sight") << Numbers { 9000, 9000, 9, 9 } << leftFrame << rightFrame;
    QTest::newRow("too large") << Numbers(4, 0xFFFFFFFF) << leftFrame << rightFrame;
    QTest::newRow("too few numbers") << Numbers { 0, 40, 2280 } << leftFrame << rightFrame;
}

void XcbScreensTest::cutsTheWorkAreaWithEachScreen()
{
    QFETCH(const Numbers, area);
    QFETCH(const QRect, left);
    QFETCH(const QRect, right);
    const Numbers former = told("_NET_WORKAREA");
    const auto restored = qScopeGuard([&] { tell("_NET_WORKAREA", former); });
    tell("_NET_WORKAREA", area);
    QCOMPARE(visible(0), left);
    QCOMPARE(visible(1), right);
}

void XcbScreensTest::prefersDocksToTheWorkArea()
{
    const DockWindow dock({ .strut = { 60, 0, 0, 0, 0, 799, 0, 0, 0, 0, 0, 0 } });
    QTRY_COMPARE(visible(0), QRect(60, 0, 1220, 800));
    QVERIFY(settleWindowManager());
    const Numbers former = told("_NET_WORKAREA");
    const auto restored = qScopeGuard([&] { tell("_NET_WORKAREA", former); });
    tell("_NET_WORKAREA", { 0, 40, 2280, 960 });
    QCOMPARE(visible(0), QRect(60, 0, 1220, 800));
    QCOMPARE(visible(1), rightFrame);
}

void XcbScreensTest::prefersTheAreasOfEachScreen_data()
{
    QTest::addColumn<Numbers>("areas");
    QTest::addColumn<QRect>("left");
    QTest::addColumn<QRect>("right");
    const QRect lower(0, 27, 1280, 773);
    const QRect narrower(1280, 0, 450, 500);
    const QRect dockedLeft(60, 0, 1220, 800);
    QTest::newRow("in order") << Numbers { 0, 27, 1280, 773, 1280, 0, 900, 1000 } << lower
                              << narrower;
    QTest::newRow("in another order")
        << Numbers { 1280, 0, 900, 1000, 0, 27, 1280, 773 } << lower << narrower;
    QTest::newRow("one that laps over")
        << Numbers { 1280, 0, 900, 1000, 0, 27, 1300, 773 } << lower << narrower;
    QTest::newRow("of one screen") << Numbers { 0, 27, 1280, 773 } << lower << rightFrame;
    QTest::newRow("none") << Numbers {} << dockedLeft << rightFrame;
    QTest::newRow("too many numbers")
        << Numbers { 0, 27, 1280, 773, 1280, 0 } << dockedLeft << rightFrame;
}

void XcbScreensTest::prefersTheAreasOfEachScreen()
{
    QFETCH(const Numbers, areas);
    QFETCH(const QRect, left);
    QFETCH(const QRect, right);
    const DockWindow dock({ .strut = { 60, 0, 0, 0, 0, 799, 0, 0, 0, 0, 0, 0 } });
    QTRY_COMPARE(visible(0), QRect(60, 0, 1220, 800));
    tell("_GTK_WORKAREAS_D0", areas);
    const auto restored = qScopeGuard([&] { tell("_GTK_WORKAREAS_D0", {}); });
    QCOMPARE(visible(0), left);
    QCOMPARE(visible(1), right);
}

void XcbScreensTest::takesTheAreasOfTheCurrentDesktop()
{
    tell("_GTK_WORKAREAS_D0", { 0, 27, 1280, 773, 1280, 0, 1000, 1000 });
    tell("_GTK_WORKAREAS_D2", { 0, 0, 1280, 700, 1280, 0, 1000, 900 });
    const auto restored = qScopeGuard([&] {
        tell("_GTK_WORKAREAS_D0", {});
        tell("_GTK_WORKAREAS_D2", {});
    });
    QCOMPARE(visible(0), QRect(0, 27, 1280, 773));
    QVERIFY(desktop.output(u"xdotool"_s, { u"set_desktop"_s, u"2"_s }));
    QTRY_COMPARE(visible(0), QRect(0, 0, 1280, 700));
    QCOMPARE(visible(1), QRect(1280, 0, 500, 450));
    QVERIFY(desktop.output(u"xdotool"_s, { u"set_desktop"_s, u"0"_s }));
    QTRY_COMPARE(visible(0), QRect(0, 27, 1280, 773));
}

} // namespace quibel

int main(int argc, char* argv[])
{
    VirtualDesktop desktop(
        { .screen = u"2280x1000x24"_s,
          .windowManager = qEnvironmentVariable("QUIBEL_TEST_WINDOW_MANAGER", u"openbox"_s) });
    if (!desktop.start())
        return 1;
    desktop.enter();
    qputenv("QT_SCREEN_SCALE_FACTORS", "right=2");
    const QGuiApplication application(argc, argv);
    quibel::XcbScreensTest test(desktop);
    return QTest::qExec(&test, argc, argv);
}

#include "XcbScreensTest.moc"
