#include "platform/x11/XcbConnection.h"
#include "platform/x11/XcbDisplayFacts.h"
#include "tests/desktop/RunOnDesktop.h"
#include "tests/platform/ClientWindow.h"

#include <QElapsedTimer>
#include <QTcpServer>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using quibel::testing::ClientWindow;
using quibel::testing::VirtualDesktop;

namespace quibel {

class XcbDisplayFactsTest : public QObject
{
    Q_OBJECT

public:
    explicit XcbDisplayFactsTest(VirtualDesktop& virtualDesktop)
        : desktop(virtualDesktop)
    {
    }

private Q_SLOTS:
    void cleanup() { desktop.enter(); }

    void describesADesktop()
    {
        const auto x = XcbConnection::open();
        const DisplayFacts expected { .server = u"X11"_s,
                                      .isInsideWayland = false,
                                      .windowManager = u"Openbox"_s,
                                      .hasCompositor = false,
                                      .keepsCoveredWindows = true };
        QCOMPARE(describeDisplay(*x), expected);
    }

    void seesACompositor()
    {
        ClientWindow compositor({});
        xcb_set_selection_owner(compositor.connection().get(),
                                compositor.id(),
                                compositor.connection().atom("_NET_WM_CM_S0"),
                                XCB_CURRENT_TIME);
        compositor.connection().flush();
        const auto x = XcbConnection::open();
        QTRY_VERIFY(describeDisplay(*x).hasCompositor);
    }

    void knowsAWaylandSession()
    {
        qputenv("WAYLAND_DISPLAY", "wayland-0");
        const auto x = XcbConnection::open();
        const DisplayFacts facts = describeDisplay(*x);
        qunsetenv("WAYLAND_DISPLAY");
        QVERIFY(facts.isInsideWayland);
        QCOMPARE(facts.server, u"Xwayland"_s);
    }

    void findsNoWindowManagerThatIsNotThere()
    {
        VirtualDesktop bare(
            { .serverArguments = { u"-extension"_s, u"Composite"_s }, .windowManager = {} });
        QVERIFY(bare.start());
        bare.enter();
        const auto x = XcbConnection::open();
        QVERIFY(!describeDisplay(*x).windowManager);
        QVERIFY(!describeDisplay(*x).keepsCoveredWindows);
        // What a window manager that crashed left behind.
        ClientWindow other({});
        xcb_window_t left = other.id();
        xcb_change_property(x->get(),
                            XCB_PROP_MODE_REPLACE,
                            x->root(),
                            x->atom("_NET_SUPPORTING_WM_CHECK"),
                            XCB_ATOM_WINDOW,
                            32,
                            1,
                            &left);
        QVERIFY(!describeDisplay(*x).windowManager);
        other.setNumbers("_NET_SUPPORTING_WM_CHECK", "WINDOW", { left });
        QTRY_COMPARE(describeDisplay(*x).windowManager, u"without a name"_s);
    }

    void looksForAServerOnlySoLong()
    {
        QVERIFY(XcbConnection::serverAnswersWithin(20s));
        // Displays over TCP are ports from 6000 on.
        QTcpServer silent;
        for (quint16 port = 6'050; !silent.isListening() && port < 6'150; ++port)
            silent.listen(QHostAddress::LocalHost, port);
        QVERIFY(silent.isListening());
        qputenv("DISPLAY", "127.0.0.1:" + QByteArray::number(silent.serverPort() - 6'000));
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!XcbConnection::serverAnswersWithin(200ms));
        QVERIFY2(timer.elapsed() < 5'000, "waited too long");
        QVERIFY(timer.elapsed() >= 200);
        qputenv("DISPLAY", "");
        QVERIFY(!XcbConnection::serverAnswersWithin(20s));
    }

private:
    VirtualDesktop& desktop;
};

} // namespace quibel

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::XcbDisplayFactsTest>(argc, argv, {});
}

#include "XcbDisplayFactsTest.moc"
