#include "platform/x11/XcbWindowList.h"
#include "tests/desktop/RunOnDesktop.h"
#include "tests/platform/ClientWindow.h"

#include <QTest>

#include <algorithm>

#include <unistd.h>

using namespace Qt::StringLiterals;
using quibel::testing::ClientWindow;
using quibel::testing::settleWindowManager;
using quibel::testing::VirtualDesktop;

namespace quibel {

class XcbWindowListTest : public QObject
{
    Q_OBJECT

public:
    explicit XcbWindowListTest(VirtualDesktop& virtualDesktop)
        : desktop(virtualDesktop)
    {
    }

private Q_SLOTS:
    void cleanup();

    void listsWindowsFrontToBack();
    void tellsTheProcessOfEachWindow();
    void believesAWindowOfThisMachineWhenTheServerDoesNotKnowItsProcess();
    void readsTitles_data();
    void readsTitles();
    void prefersTheNewTitleUnlessItIsEmpty();
    void tellsLayers_data();
    void tellsLayers();
    void leavesDesktopElementsOut_data();
    void leavesDesktopElementsOut();
    void leavesMinimisedWindowsOut();
    void leavesHiddenWindowsOutEvenWhenTheyAreViewable();
    void leavesWindowsOfOtherDesktopsOut();
    void keepsWindowsThatAreOnEveryDesktop();
    void tellsBoundsInTheRootWindow();
    void skipsWindowsThatVanish();
    void listsWhatThereIsWithoutAListInStackingOrder();

private:
    [[nodiscard]] std::optional<XcbListedWindow> find(const ClientWindow& window)
    {
        const auto listed = list.onScreen();
        const auto found = std::ranges::find(*listed, window.id(), &XcbListedWindow::window);
        return found == listed->end() ? std::nullopt : std::optional(*found);
    }
    [[nodiscard]] bool lists(const ClientWindow& window) { return find(window).has_value(); }

    VirtualDesktop& desktop;
    std::unique_ptr<XcbConnection> x = XcbConnection::open();
    XcbWindowList list { *x };
};

void XcbWindowListTest::cleanup()
{
    QTRY_VERIFY(list.onScreen()->empty());
    QVERIFY(settleWindowManager());
}

void XcbWindowListTest::listsWindowsFrontToBack()
{
    ClientWindow back({ .title = "back" });
    ClientWindow front({ .title = "front" });
    back.map();
    QTRY_VERIFY(lists(back));
    front.map();
    QTRY_VERIFY(lists(front));
    const auto order = [&] {
        const auto listed = list.onScreen();
        std::vector<xcb_window_t> windows;
        for (const auto& each : *listed)
            windows.push_back(each.window);
        return windows;
    };
    QTRY_COMPARE(order(), (std::vector { front.id(), back.id() }));
    back.requestFromRoot("_NET_ACTIVE_WINDOW", { 2 });
    QTRY_COMPARE(order(), (std::vector { back.id(), front.id() }));
}

void XcbWindowListTest::tellsTheProcessOfEachWindow()
{
    ClientWindow mine({ .title = "mine" });
    mine.setNumbers("_NET_WM_PID", "CARDINAL", { 1 });
    mine.map();
    QProcess* foreign = desktop.launch(u"xterm"_s, { u"-T"_s, u"foreign"_s });
    QVERIFY(foreign);
    const auto foreignOwner = [&]() -> std::optional<ProcessIdentifier> {
        const auto listed = list.onScreen();
        const auto found = std::ranges::find(*listed, u"foreign"_s, &XcbListedWindow::name);
        return found == listed->end() ? std::nullopt : found->ownerProcess;
    };
    QTRY_VERIFY(foreignOwner());
    QCOMPARE(*foreignOwner(), static_cast<ProcessIdentifier>(foreign->processId()));
    QTRY_VERIFY(lists(mine));
    QCOMPARE(find(mine)->ownerProcess, std::optional<ProcessIdentifier>(getpid()));
    desktop.stop(foreign);
}

void XcbWindowListTest::believesAWindowOfThisMachineWhenTheServerDoesNotKnowItsProcess()
{
    QProcess server;
    server.start(u"Xvfb"_s, { u"-displayfd"_s, u"1"_s, u"-listen"_s, u"tcp"_s, u"-noreset"_s });
    QByteArray number;
    while (!number.endsWith('\n')) {
        QVERIFY(server.waitForReadyRead());
        number += server.readAllStandardOutput();
    }
    const QByteArray outside = qgetenv("DISPLAY");
    qputenv("DISPLAY", "127.0.0.1:" + number.trimmed());
    {
        const auto connection = XcbConnection::open();
        QVERIFY(connection);
        XcbWindowList remoteList(*connection);
        ClientWindow window({});
        window.map();
        QCOMPARE(remoteList.onScreen()->size(), 1);
        const auto owner = [&] { return remoteList.onScreen()->front().ownerProcess; };
        QCOMPARE(owner(), std::nullopt);
        window.setNumbers("_NET_WM_PID", "CARDINAL", { 4711 });
        QCOMPARE(owner(), std::nullopt);
        window.setText("WM_CLIENT_MACHINE", "STRING", "elsewhere.example");
        QCOMPARE(owner(), std::nullopt);
        window.setText("WM_CLIENT_MACHINE", "STRING", QSysInfo::machineHostName().toLocal8Bit());
        QCOMPARE(owner(), std::optional<ProcessIdentifier>(4711));
    }
    qputenv("DISPLAY", outside);
    server.kill();
    server.waitForFinished();
}

void XcbWindowListTest::readsTitles_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<std::optional<QString>>("name");

    const auto some = [](const QString& text) { return std::optional<QString>(text); };
    const QByteArray old = "WM_NAME";
    QTest::newRow("UTF-8") << QByteArray("_NET_WM_NAME") << QByteArray("UTF8_STRING")
                           << "Grüße — 日本"_ba << some(u"Grüße — 日本"_s);
    QTest::newRow("Latin-1") << old << QByteArray("STRING") << "Gr\xfc\xdf"_ba << some(u"Grüß"_s);
    QTest::newRow("old property, UTF-8")
        << old << QByteArray("UTF8_STRING") << "Grüß"_ba << some(u"Grüß"_s);
    QTest::newRow("compound text of Latin-1")
        << old << QByteArray("COMPOUND_TEXT") << "Gr\xfc\xdf e"_ba << some(u"Grüß e"_s);
    QTest::newRow("compound text of other sets")
        << old << QByteArray("COMPOUND_TEXT") << "\x1b-L\xbf\xe0"_ba << std::optional<QString>();
    QTest::newRow("ends at a NUL")
        << old << QByteArray("STRING") << QByteArray("a\0b", 3) << some(u"a"_s);
    QTest::newRow("not a text") << old << QByteArray("ATOM") << QByteArray()
                                << std::optional<QString>();
    QTest::newRow("no title") << QByteArray() << QByteArray() << QByteArray()
                              << std::optional<QString>();
}

void XcbWindowListTest::readsTitles()
{
    QFETCH(const QByteArray, property);
    QFETCH(const QByteArray, type);
    QFETCH(const QByteArray, bytes);
    ClientWindow window({});
    if (type == "ATOM")
        window.setNumbers(property, type, { 1, 2 });
    else if (!property.isEmpty())
        window.setText(property, type, bytes);
    window.map();
    QTRY_VERIFY(lists(window));
    QTEST(find(window)->name, "name");
}

void XcbWindowListTest::prefersTheNewTitleUnlessItIsEmpty()
{
    ClientWindow window({ .title = "new" });
    window.setText("WM_NAME", "STRING", "old");
    window.map();
    QTRY_VERIFY(lists(window));
    QCOMPARE(find(window)->name, std::optional(u"new"_s));
    window.setText("_NET_WM_NAME", "UTF8_STRING", "");
    QTRY_COMPARE(find(window)->name, std::optional(u"old"_s));
}

void XcbWindowListTest::tellsLayers_data()
{
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<QByteArray>("state");
    QTest::addColumn<bool>("ordinary");
    QTest::newRow("untyped") << QByteArray() << QByteArray() << true;
    QTest::newRow("normal") << QByteArray("NORMAL") << QByteArray() << true;
    QTest::newRow("dialog") << QByteArray("DIALOG") << QByteArray() << true;
    QTest::newRow("utility") << QByteArray("UTILITY") << QByteArray() << true;
    QTest::newRow("full screen") << QByteArray("NORMAL") << QByteArray("FULLSCREEN") << true;
    QTest::newRow("above") << QByteArray("NORMAL") << QByteArray("ABOVE") << false;
    QTest::newRow("below") << QByteArray("NORMAL") << QByteArray("BELOW") << false;
    QTest::newRow("splash") << QByteArray("SPLASH") << QByteArray() << false;
    QTest::newRow("toolbar") << QByteArray("TOOLBAR") << QByteArray() << false;
}

void XcbWindowListTest::tellsLayers()
{
    QFETCH(const QByteArray, type);
    QFETCH(const QByteArray, state);
    QFETCH(const bool, ordinary);
    std::vector<QByteArray> states;
    if (!state.isEmpty())
        states.push_back(state);
    ClientWindow window({ .type = type, .states = states });
    window.map();
    QTRY_VERIFY(lists(window));
    QCOMPARE(find(window)->layer == 0, ordinary);
}

void XcbWindowListTest::leavesDesktopElementsOut_data()
{
    QTest::addColumn<QByteArray>("type");
    QTest::newRow("desktop") << QByteArray("DESKTOP");
    QTest::newRow("dock") << QByteArray("DOCK");
}

void XcbWindowListTest::leavesDesktopElementsOut()
{
    QFETCH(const QByteArray, type);
    ClientWindow element({ .type = type });
    ClientWindow window({});
    element.map();
    window.map();
    QTRY_VERIFY(lists(window));
    QTRY_VERIFY(element.isViewable());
    QVERIFY(!lists(element));
}

void XcbWindowListTest::leavesMinimisedWindowsOut()
{
    ClientWindow window({});
    window.map();
    QTRY_VERIFY(lists(window));
    window.iconify();
    QTRY_VERIFY(!lists(window));
}

void XcbWindowListTest::leavesHiddenWindowsOutEvenWhenTheyAreViewable()
{
    ClientWindow window({});
    window.map();
    QTRY_VERIFY(lists(window));
    window.setNumbers("_NET_WM_STATE", "ATOM", { x->atom("_NET_WM_STATE_HIDDEN") });
    QVERIFY(window.isViewable());
    QVERIFY(!lists(window));
}

void XcbWindowListTest::leavesWindowsOfOtherDesktopsOut()
{
    ClientWindow window({});
    window.map();
    QTRY_VERIFY(lists(window));
    // Viewable all the same, as compositing window managers keep the windows of other desktops.
    window.setNumbers("_NET_WM_DESKTOP", "CARDINAL", { 1 });
    QVERIFY(window.isViewable());
    QVERIFY(!lists(window));
}

void XcbWindowListTest::keepsWindowsThatAreOnEveryDesktop()
{
    ClientWindow window({});
    window.map();
    QTRY_VERIFY(lists(window));
    window.requestFromRoot("_NET_WM_DESKTOP", { 0xFFFFFFFF, 2 });
    QTRY_COMPARE(
        XcbProperty(x->get(), askProperty(x->get(), window.id(), x->atom("_NET_WM_DESKTOP")))
            .firstValue(),
        std::optional(0xFFFFFFFFU));
    QVERIFY(lists(window));
}

void XcbWindowListTest::tellsBoundsInTheRootWindow()
{
    ClientWindow window({ .geometry = { 200, 150, 320, 240 } });
    window.map();
    QTRY_VERIFY(lists(window));
    const QRect bounds = find(window)->bounds;
    QCOMPARE(bounds.size(), QSize(320, 240));
    // The frame that the window manager drew moves the window a little.
    QVERIFY2((bounds.topLeft() - QPoint(200, 150)).manhattanLength() < 60,
             "the window is far from where it asked to be");
    const auto inside
        = xcbReply(xcb_translate_coordinates_reply,
                   x->get(),
                   xcb_translate_coordinates(x->get(), x->root(), window.id(), 205, 0));
    QCOMPARE(bounds.x(), 205 - inside->dst_x);
}

void XcbWindowListTest::skipsWindowsThatVanish()
{
    // A window that the list still names but that is gone.
    std::vector<std::unique_ptr<ClientWindow>> windows;
    for (int i = 0; i < 20; ++i) {
        windows.push_back(std::make_unique<ClientWindow>(ClientWindow::Options {}));
        windows.back()->map();
    }
    QTRY_COMPARE(list.onScreen()->size(), windows.size());
    while (!windows.empty()) {
        windows.back()->destroy();
        windows.pop_back();
        const auto listed = list.onScreen();
        QVERIFY(listed);
        QVERIFY(listed->size() <= windows.size());
    }
}

void XcbWindowListTest::listsWhatThereIsWithoutAListInStackingOrder()
{
    VirtualDesktop bare({ .windowManager = {} });
    QVERIFY(bare.start());
    const QByteArray outside = qgetenv("DISPLAY");
    qputenv("DISPLAY", bare.environment().value(u"DISPLAY"_s).toLocal8Bit());
    {
        const auto connection = XcbConnection::open();
        XcbWindowList bareList(*connection);
        ClientWindow back({ .title = "back" });
        ClientWindow front({ .title = "front" });
        ClientWindow popup({ .overrideRedirect = true });
        ClientWindow withdrawn({});
        for (auto* window : { &back, &front, &popup })
            window->map();
        const auto listed = bareList.onScreen();
        QCOMPARE(listed->size(), 2);
        QCOMPARE(listed->front().name, std::optional(u"front"_s));
        QCOMPARE(listed->back().name, std::optional(u"back"_s));
        QCOMPARE(listed->front().bounds, QRect(100, 100, 300, 200));

        // A window manager that keeps no order of stacking.
        const auto onRoot = [&](const QByteArray& name, const std::vector<std::uint32_t>& windows) {
            xcb_change_property(connection->get(),
                                XCB_PROP_MODE_REPLACE,
                                connection->root(),
                                connection->atom(name),
                                XCB_ATOM_WINDOW,
                                32,
                                static_cast<std::uint32_t>(windows.size()),
                                windows.data());
        };
        onRoot("_NET_SUPPORTING_WM_CHECK", { popup.id() });
        QCOMPARE(bareList.onScreen()->size(), 0);
        onRoot("_NET_CLIENT_LIST", { front.id(), back.id(), withdrawn.id() });
        QCOMPARE(bareList.onScreen()->size(), 2);
        QCOMPARE(bareList.onScreen()->front().name, std::optional(u"back"_s));
    }
    qputenv("DISPLAY", outside);
}

} // namespace quibel

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::XcbWindowListTest>(
        argc,
        argv,
        { .windowManager = qEnvironmentVariable("QUIBEL_TEST_WINDOW_MANAGER", u"openbox"_s) });
}

#include "XcbWindowListTest.moc"
