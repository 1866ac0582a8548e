#include "platform/x11/XcbScreens.h"
#include "tests/desktop/VirtualDesktop.h"
#include "tests/platform/ClientWindow.h"

#include <QGuiApplication>
#include <QRasterWindow>
#include <QScreen>
#include <QTest>

using namespace Qt::StringLiterals;
using quibel::testing::ClientWindow;
using quibel::testing::VirtualDesktop;

namespace quibel {

/// First one monitor, then two side by side: 1280×800 on the left and, with two pixels to the
/// point, 1000×800 pixels on the right.
class XcbScreensTest : public QObject
{
    Q_OBJECT

public:
    explicit XcbScreensTest(VirtualDesktop& virtualDesktop)
        : desktop(virtualDesktop)
    {
    }

private Q_SLOTS:
    void describesTheOnlyScreen();
    void leavesRoomForADockOnTheOnlyScreen();
    void knowsNoScreenOfAKeyWindowThatIsNotThere();
    void tellsWhereThePointerIs();
    void describesASecondScreenThatIsConnected();
    void leavesRoomForDocksOnTheirScreenOnly_data();
    void leavesRoomForDocksOnTheirScreenOnly();
    void tellsWhereThePointerIsOnAScaledScreen();
    void knowsTheScreenOfTheKeyWindow();

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

    VirtualDesktop& desktop;
    std::unique_ptr<XcbConnection> x = XcbConnection::open();
    XcbScreens screens { *x };
};

void XcbScreensTest::describesTheOnlyScreen()
{
    const Screen only { .displayID = x->atom("screen"),
                        .frame = { 0, 0, 2280, 800 },
                        .visibleFrame = { 0, 0, 2280, 800 },
                        .pixelFrame = { 0, 0, 2280, 800 } };
    QCOMPARE(screens.all(), std::vector { only });
    QCOMPARE(screens.main(), std::optional(only));
}

void XcbScreensTest::leavesRoomForADockOnTheOnlyScreen()
{
    {
        ClientWindow dock({ .geometry = { 0, 770, 2280, 30 }, .type = "DOCK" });
        dock.setNumbers(
            "_NET_WM_STRUT_PARTIAL", "CARDINAL", { 0, 0, 0, 30, 0, 0, 0, 0, 0, 0, 0, 2279 });
        dock.map();
        QTRY_COMPARE(visible(0), QRect(0, 0, 2280, 770));
        QCOMPARE(screens.main()->visibleFrame, QRect(0, 0, 2280, 770));
        QCOMPARE(screens.main()->frame, QRect(0, 0, 2280, 800));
    }
    QTRY_COMPARE(visible(0), QRect(0, 0, 2280, 800));
}

void XcbScreensTest::knowsNoScreenOfAKeyWindowThatIsNotThere()
{
    QCOMPARE(screens.ofKeyWindow(), std::nullopt);
}

void XcbScreensTest::tellsWhereThePointerIs()
{
    movePointer(321, 123);
    QTRY_COMPARE(screens.pointerLocation(), QPoint(321, 123));
}

void XcbScreensTest::describesASecondScreenThatIsConnected()
{
    setMonitor(u"*left"_s, u"1280/338x800/211+0+0"_s, u"screen"_s);
    setMonitor(u"right"_s, u"1000/264x800/211+1280+0"_s, u"none"_s);
    const Screen left { .displayID = x->atom("left"),
                        .frame = { 0, 0, 1280, 800 },
                        .visibleFrame = { 0, 0, 1280, 800 },
                        .pixelFrame = { 0, 0, 1280, 800 } };
    const Screen right { .displayID = x->atom("right"),
                         .frame = { 1280, 0, 500, 400 },
                         .visibleFrame = { 1280, 0, 500, 400 },
                         .pixelFrame = { 1280, 0, 1000, 800 } };
    QTRY_COMPARE(screens.all(), (std::vector { left, right }));
    QCOMPARE(screens.main(), std::optional(left));
}

void XcbScreensTest::leavesRoomForDocksOnTheirScreenOnly_data()
{
    using Strut = QList<std::uint32_t>;
    QTest::addColumn<Strut>("strut");
    QTest::addColumn<QRect>("left");
    QTest::addColumn<QRect>("right");
    const QRect left(0, 0, 1280, 800);
    const QRect right(1280, 0, 500, 400);
    QTest::newRow("below, on the left")
        << Strut { 0, 0, 0, 40, 0, 0, 0, 0, 0, 0, 0, 1279 } << QRect(0, 0, 1280, 760) << right;
    QTest::newRow("above, on the right")
        << Strut { 0, 0, 40, 0, 0, 0, 0, 0, 1280, 2279, 0, 0 } << left << QRect(1280, 20, 500, 380);
    QTest::newRow("at the left edge")
        << Strut { 60, 0, 0, 0, 0, 799, 0, 0, 0, 0, 0, 0 } << QRect(60, 0, 1220, 800) << right;
    QTest::newRow("at the right edge")
        << Strut { 0, 60, 0, 0, 0, 0, 0, 799, 0, 0, 0, 0 } << left << QRect(1280, 0, 470, 400);
    QTest::newRow("above, on both") << Strut { 0, 0, 20, 0, 0, 0, 0, 0, 0, 2279, 0, 0 }
                                    << QRect(0, 20, 1280, 780) << QRect(1280, 10, 500, 390);
}

void XcbScreensTest::leavesRoomForDocksOnTheirScreenOnly()
{
    QFETCH(const QList<std::uint32_t>, strut);
    QFETCH(const QRect, left);
    QFETCH(const QRect, right);
    {
        ClientWindow dock({ .type = "DOCK" });
        dock.setNumbers("_NET_WM_STRUT_PARTIAL", "CARDINAL", { strut.begin(), strut.end() });
        dock.map();
        QTRY_COMPARE(visible(0), left);
        QTRY_COMPARE(visible(1), right);
    }
    QTRY_COMPARE(visible(0), QRect(0, 0, 1280, 800));
    QTRY_COMPARE(visible(1), QRect(1280, 0, 500, 400));
}

void XcbScreensTest::tellsWhereThePointerIsOnAScaledScreen()
{
    movePointer(1280 + 300, 200);
    QTRY_COMPARE(screens.pointerLocation(), QPoint(1280 + 150, 100));
}

void XcbScreensTest::knowsTheScreenOfTheKeyWindow()
{
    QRasterWindow window;
    window.setGeometry(1400, 100, 100, 100);
    window.show();
    window.requestActivate();
    QTRY_COMPARE(QGuiApplication::focusWindow(), &window);
    QTRY_VERIFY(screens.ofKeyWindow());
    QTRY_COMPARE(screens.ofKeyWindow()->displayID, std::optional<DisplayID>(x->atom("right")));
}

} // namespace quibel

int main(int argc, char* argv[])
{
    VirtualDesktop desktop(
        { .screen = u"2280x800x24"_s,
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
