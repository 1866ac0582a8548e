#include "platform/x11/XcbWorkspace.h"
#include "tests/desktop/VirtualDesktop.h"
#include "tests/fakes/FakeScreens.h"
#include "tests/platform/ClientWindow.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QRasterWindow>
#include <QTest>

#include <array>
#include <csignal>

#include <unistd.h>

using namespace Qt::StringLiterals;
using quibel::testing::activeWindow;
using quibel::testing::ClientWindow;
using quibel::testing::settleWindowManager;
using quibel::testing::VirtualDesktop;

namespace quibel {

namespace {

const Screen onlyScreen { .displayID = 1,
                          .frame = { 0, 0, 1280, 800 },
                          .visibleFrame = { 0, 0, 1280, 800 },
                          .pixelFrame = { 0, 0, 1280, 800 } };

} // namespace

class XcbWorkspaceTest : public QObject
{
    Q_OBJECT

public:
    explicit XcbWorkspaceTest(VirtualDesktop& virtualDesktop)
        : desktop(virtualDesktop)
    {
        screens.screens = { onlyScreen };
    }

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void namesTheApplicationOfTheActiveWindow();
    void takesNamesFromTheDesktopEntry();
    void knowsAnApplicationByTheIdThatItsWindowStates_data();
    void knowsAnApplicationByTheIdThatItsWindowStates();
    void knowsNoApplicationWhenNoWindowIsActive();
    void answersWithItselfWhileItHasTheKeyboard();
    void givesTheKeyboardAndRaises();
    void givesTheKeyboardBackToTheVeryWindowThatHadIt();
    void goesToTheDesktopOfTheActivatedWindow();
    void bringsAMinimisedWindowBack();
    void countsTheActivatedOneAsFrontmostUntilTheWindowManagerFollows();
    void followsTheKeyboardBeforeTheWindowManagerTellsOfIt();
    void followsTheUserAfterAnActivation();
    void forgetsAnActivatedWindowThatIsGone();
    void doesNothingForAnApplicationWithoutAWindow();
    void doesNothingForAWindowThatItsProgramHasHidden_data();
    void doesNothingForAWindowThatItsProgramHasHidden();
    void tellsBoundsInPoints();
    void convertsPixelsToPoints_data();
    void convertsPixelsToPoints();
    void followsTheFocusWithoutAWindowManager();
    void keepsRunningWithoutWindowsAsAnAccessory();

private:
    [[nodiscard]] bool isFrontmost(const ClientWindow& window)
    {
        const auto application = workspace.frontmostApplication();
        return application && application->keyWindow == window.id();
    }
    void mapAndActivate(ClientWindow& window)
    {
        window.map();
        // The window manager gives a new window the keyboard of itself. Till then it would take it
        // from whichever window is activated next.
        QTRY_COMPARE(activeWindow(*x), window.id());
        QTRY_VERIFY(window.hasFocus());
    }
    [[nodiscard]] pid_t windowManager();

    VirtualDesktop& desktop;
    std::unique_ptr<XcbConnection> x = XcbConnection::open();
    FakeScreens screens;
    DesktopEntries entries;
    XcbWorkspace workspace { *x, screens, entries };
};

pid_t XcbWorkspaceTest::windowManager()
{
    XcbWindowOwners owners(*x);
    const XcbProperty check(x->get(),
                            askProperty(x->get(), x->root(), x->atom("_NET_SUPPORTING_WM_CHECK")));
    const std::array<xcb_window_t, 1> window { check.firstValue().value_or(0) };
    return owners.answer(owners.ask(window)).front().value_or(0);
}

void XcbWorkspaceTest::initTestCase()
{
    entries.prepare();
    QTRY_VERIFY(entries.isPrepared());
}

void XcbWorkspaceTest::cleanup()
{
    QTRY_VERIFY(workspace.onScreenWindows()->empty());
    QVERIFY(settleWindowManager());
}

void XcbWorkspaceTest::namesTheApplicationOfTheActiveWindow()
{
    ClientWindow window({ .title = "letter" });
    window.setText("WM_CLASS", "STRING", QByteArray("typewriter\0Typewriter\0", 22));
    mapAndActivate(window);
    const auto application = workspace.frontmostApplication();
    QVERIFY(application);
    QCOMPARE(application->localizedName, u"Typewriter"_s);
    QCOMPARE(application->bundleIdentifier, u"Typewriter"_s);
    QCOMPARE(application->processIdentifier, std::optional<ProcessIdentifier>(getpid()));
    QCOMPARE(application->keyWindow, window.id());
}

void XcbWorkspaceTest::takesNamesFromTheDesktopEntry()
{
    ClientWindow window({});
    window.setText("WM_CLASS", "STRING", QByteArray("x\0org.example.Painter\0", 22));
    mapAndActivate(window);
    const auto application = workspace.frontmostApplication();
    QVERIFY(application);
    QCOMPARE(application->localizedName, u"Painter of Pictures"_s);
    QCOMPARE(application->bundleIdentifier, u"org.example.Painter"_s);
}

void XcbWorkspaceTest::knowsAnApplicationByTheIdThatItsWindowStates_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::newRow("GTK") << QByteArray("_GTK_APPLICATION_ID");
    QTest::newRow("KDE") << QByteArray("_KDE_NET_WM_DESKTOP_FILE");
}

void XcbWorkspaceTest::knowsAnApplicationByTheIdThatItsWindowStates()
{
    QFETCH(const QByteArray, property);
    ClientWindow window({});
    window.setText("WM_CLASS", "STRING", QByteArray("other\0Other\0", 12));
    window.setText(property, "UTF8_STRING", "org.example.Painter");
    mapAndActivate(window);
    QCOMPARE(workspace.frontmostApplication()->bundleIdentifier, u"org.example.Painter"_s);
}

void XcbWorkspaceTest::knowsNoApplicationWhenNoWindowIsActive()
{
    QTRY_COMPARE(workspace.frontmostApplication(), std::nullopt);
}

void XcbWorkspaceTest::answersWithItselfWhileItHasTheKeyboard()
{
    ClientWindow other({});
    mapAndActivate(other);
    QRasterWindow own;
    own.show();
    own.requestActivate();
    QTRY_COMPARE(QGuiApplication::focusWindow(), &own);
    const auto application = workspace.frontmostApplication();
    QVERIFY(application);
    QCOMPARE(application->localizedName, u"The Agent"_s);
    QCOMPARE(application->bundleIdentifier, u"org.example.Agent"_s);
    QCOMPARE(application->processIdentifier, std::optional<ProcessIdentifier>(getpid()));
    QCOMPARE(application->keyWindow, static_cast<WindowNumber>(own.winId()));
}

void XcbWorkspaceTest::givesTheKeyboardAndRaises()
{
    ClientWindow below({ .title = "below" });
    ClientWindow above({ .title = "above" });
    mapAndActivate(below);
    const auto application = workspace.frontmostApplication();
    mapAndActivate(above);
    workspace.activate(*application);
    QTRY_VERIFY(below.hasFocus());
    QTRY_COMPARE(activeWindow(*x), below.id());
    QTRY_COMPARE(workspace.onScreenWindows()->front().name, std::optional(u"below"_s));
    QTRY_VERIFY(below.hasFocus());
}

void XcbWorkspaceTest::givesTheKeyboardBackToTheVeryWindowThatHadIt()
{
    ClientWindow window({});
    mapAndActivate(window);
    xcb_connection_t* c = window.connection().get();
    const xcb_window_t inner = xcb_generate_id(c);
    xcb_create_window(
        c, 0, inner, window.id(), 0, 0, 50, 50, 0, XCB_COPY_FROM_PARENT, 0, 0, nullptr);
    xcb_map_window(c, inner);
    xcb_set_input_focus(c, XCB_INPUT_FOCUS_PARENT, inner, XCB_CURRENT_TIME);
    const auto focus
        = [c] { return xcbReply(xcb_get_input_focus_reply, c, xcb_get_input_focus(c))->focus; };
    QCOMPARE(focus(), inner);
    const auto application = workspace.frontmostApplication();
    QVERIFY(application);
    QCOMPARE(application->keyWindow, window.id());

    ClientWindow other({ .overrideRedirect = true });
    other.map();
    xcb_set_input_focus(c, XCB_INPUT_FOCUS_PARENT, other.id(), XCB_CURRENT_TIME);
    QCOMPARE(focus(), other.id());
    workspace.activate(*application);
    QTRY_COMPARE(focus(), inner);
}

void XcbWorkspaceTest::goesToTheDesktopOfTheActivatedWindow()
{
    const auto currentDesktop = [this] {
        return XcbProperty(x->get(),
                           askProperty(x->get(), x->root(), x->atom("_NET_CURRENT_DESKTOP")))
            .firstValue();
    };
    ClientWindow window({});
    mapAndActivate(window);
    const auto application = workspace.frontmostApplication();
    QVERIFY(desktop.output(u"xdotool"_s, { u"set_desktop"_s, u"1"_s }));
    QTRY_COMPARE(currentDesktop(), std::optional(1U));
    QTRY_VERIFY(!window.isViewable());
    workspace.activate(*application);
    QTRY_VERIFY(window.hasFocus());
    QCOMPARE(currentDesktop(), std::optional(0U));
}

void XcbWorkspaceTest::bringsAMinimisedWindowBack()
{
    ClientWindow window({});
    mapAndActivate(window);
    const auto application = workspace.frontmostApplication();
    window.iconify();
    QTRY_VERIFY(!window.isViewable());
    workspace.activate(*application);
    QTRY_VERIFY(window.hasFocus());
}

void XcbWorkspaceTest::countsTheActivatedOneAsFrontmostUntilTheWindowManagerFollows()
{
    ClientWindow first({});
    ClientWindow second({});
    mapAndActivate(first);
    const auto application = workspace.frontmostApplication();
    mapAndActivate(second);
    QTRY_VERIFY(isFrontmost(second));

    const pid_t manager = windowManager();
    QVERIFY(manager > 1);
    QCOMPARE(kill(manager, SIGSTOP), 0);
    workspace.activate(*application);
    QCOMPARE(activeWindow(*x), second.id());
    const bool countsAtOnce = isFrontmost(first);
    QCOMPARE(kill(manager, SIGCONT), 0);
    QVERIFY(countsAtOnce);
    QTRY_COMPARE(activeWindow(*x), first.id());
    QVERIFY(isFrontmost(first));
}

void XcbWorkspaceTest::followsTheKeyboardBeforeTheWindowManagerTellsOfIt()
{
    ClientWindow first({});
    ClientWindow second({});
    mapAndActivate(first);
    mapAndActivate(second);
    QVERIFY(settleWindowManager());

    const pid_t manager = windowManager();
    QVERIFY(manager > 1);
    QCOMPARE(kill(manager, SIGSTOP), 0);
    xcb_connection_t* c = first.connection().get();
    xcb_set_input_focus(c, XCB_INPUT_FOCUS_PARENT, first.id(), XCB_CURRENT_TIME);
    const bool hasKeyboard = first.hasFocus();
    const bool isNamed = activeWindow(*x) == first.id();
    const bool isFirst = isFrontmost(first);
    QCOMPARE(kill(manager, SIGCONT), 0);
    QVERIFY(hasKeyboard && !isNamed);
    QVERIFY(isFirst);
}

void XcbWorkspaceTest::followsTheUserAfterAnActivation()
{
    ClientWindow first({});
    ClientWindow second({});
    mapAndActivate(first);
    const auto application = workspace.frontmostApplication();
    mapAndActivate(second);
    workspace.activate(*application);
    QTRY_COMPARE(activeWindow(*x), first.id());
    // Nobody asks in between, and the user goes back to where the window manager was before.
    second.requestFromRoot("_NET_ACTIVE_WINDOW", { 2 });
    QTRY_COMPARE(activeWindow(*x), second.id());
    QTRY_VERIFY(isFrontmost(second));
}

void XcbWorkspaceTest::forgetsAnActivatedWindowThatIsGone()
{
    ClientWindow window({});
    mapAndActivate(window);
    const auto application = workspace.frontmostApplication();
    workspace.activate(*application);
    window.destroy();
    QTRY_COMPARE(workspace.frontmostApplication(), std::nullopt);
    workspace.activate(*application);
    QCOMPARE(workspace.frontmostApplication(), std::nullopt);
}

void XcbWorkspaceTest::doesNothingForAnApplicationWithoutAWindow()
{
    ClientWindow window({});
    mapAndActivate(window);
    workspace.activate({});
    QVERIFY(window.hasFocus());
    QVERIFY(isFrontmost(window));
}

void XcbWorkspaceTest::doesNothingForAWindowThatItsProgramHasHidden_data()
{
    QTest::addColumn<bool>("isManaged");
    QTest::newRow("panel") << false;
    QTest::newRow("dialog") << true;
}

void XcbWorkspaceTest::doesNothingForAWindowThatItsProgramHasHidden()
{
    QFETCH(const bool, isManaged);
    ClientWindow window({});
    mapAndActivate(window);
    ClientWindow hidden({ .overrideRedirect = !isManaged });
    hidden.map();
    QTRY_VERIFY(hidden.isViewable());
    hidden.unmap();
    window.requestFromRoot("_NET_ACTIVE_WINDOW", { 2 });
    QTRY_COMPARE(activeWindow(*x), window.id());
    QTRY_VERIFY(window.hasFocus());
    QVERIFY(settleWindowManager());
    workspace.activate({ .localizedName = {},
                         .bundleIdentifier = {},
                         .processIdentifier = {},
                         .keyWindow = hidden.id() });
    QVERIFY(isFrontmost(window));
    QVERIFY(window.hasFocus());
}

void XcbWorkspaceTest::tellsBoundsInPoints()
{
    ClientWindow window({ .title = "letter", .geometry = { 400, 200, 300, 100 } });
    mapAndActivate(window);
    QTRY_COMPARE(workspace.onScreenWindows()->size(), 1);
    const auto inPixels = workspace.onScreenWindows();
    const WindowInfo& info = inPixels->front();
    QCOMPARE(*info.number, window.id());
    QCOMPARE(info.ownerProcess, std::optional<ProcessIdentifier>(getpid()));
    QCOMPARE(info.name, std::optional(u"letter"_s));
    QCOMPARE(info.layer, std::optional(0));
    QCOMPARE(info.bounds->size(), QSizeF(300, 100));

    screens.screens.front().frame = { 0, 0, 640, 400 };
    const auto inPoints = workspace.onScreenWindows();
    screens.screens = { onlyScreen };
    QCOMPARE(inPoints->front().bounds->size(), QSizeF(150, 50));
    QCOMPARE(inPoints->front().bounds->topLeft(), info.bounds->topLeft() / 2);
}

void XcbWorkspaceTest::convertsPixelsToPoints_data()
{
    QTest::addColumn<QRectF>("pixels");
    QTest::addColumn<QRectF>("points");
    QTest::newRow("plain screen") << QRectF(10, 20, 300, 200) << QRectF(10, 20, 300, 200);
    QTest::newRow("scaled screen") << QRectF(1200, 100, 400, 200) << QRectF(1100, 50, 200, 100);
    QTest::newRow("on both, more on the scaled one")
        << QRectF(900, 0, 400, 100) << QRectF(950, 0, 200, 50);
    QTest::newRow("outside of all") << QRectF(5000, 5000, 10, 10) << QRectF(5000, 5000, 10, 10);
}

void XcbWorkspaceTest::convertsPixelsToPoints()
{
    QFETCH(const QRectF, pixels);
    const std::vector<Screen> known {
        { .displayID = 1,
          .frame = { 0, 0, 1000, 800 },
          .visibleFrame = {},
          .pixelFrame = { 0, 0, 1000, 800 } },
        { .displayID = 2,
          .frame = { 1000, 0, 1000, 800 },
          .visibleFrame = {},
          .pixelFrame = { 1000, 0, 2000, 1600 } },
    };
    QTEST(pointsFromPixels(pixels, known), "points");
    QCOMPARE(pointsFromPixels(pixels, {}), pixels);
}

void XcbWorkspaceTest::followsTheFocusWithoutAWindowManager()
{
    VirtualDesktop bare({ .windowManager = {} });
    QVERIFY(bare.start());
    const QByteArray outside = qgetenv("DISPLAY");
    qputenv("DISPLAY", bare.environment().value(u"DISPLAY"_s).toLocal8Bit());
    {
        const auto connection = XcbConnection::open();
        XcbWorkspace bareWorkspace(*connection, screens, entries);
        QCOMPARE(bareWorkspace.frontmostApplication(), std::nullopt);

        const QByteArray editorClass("editor\0Editor\0", 14);
        ClientWindow editor({ .geometry = { 0, 0, 400, 300 } });
        editor.setText("WM_CLASS", "STRING", editorClass);
        editor.map();
        ClientWindow other({ .geometry = { 600, 400, 400, 300 } });
        other.setText("WM_CLASS", "STRING", QByteArray("other\0Other\0", 12));
        other.map();
        QVERIFY(bare.output(u"xdotool"_s, { u"mousemove"_s, u"100"_s, u"100"_s }));
        // The keyboard is where the pointer is, as long as nothing has the focus.
        const auto editing = bareWorkspace.frontmostApplication();
        QVERIFY(editing);
        QCOMPARE(editing->localizedName, u"Editor"_s);
        QCOMPARE(editing->keyWindow, editor.id());

        bareWorkspace.activate({ .localizedName = {},
                                 .bundleIdentifier = {},
                                 .processIdentifier = {},
                                 .keyWindow = other.id() });
        QTRY_VERIFY(other.hasFocus());
        QCOMPARE(bareWorkspace.frontmostApplication()->localizedName, u"Other"_s);
        bareWorkspace.activate(*editing);
        QTRY_VERIFY(editor.hasFocus());
        QCOMPARE(bareWorkspace.frontmostApplication()->localizedName, u"Editor"_s);
    }
    qputenv("DISPLAY", outside);
}

void XcbWorkspaceTest::keepsRunningWithoutWindowsAsAnAccessory()
{
    workspace.setActivationPolicy(ActivationPolicy::accessory);
    QVERIFY(!QGuiApplication::quitOnLastWindowClosed());
    workspace.setActivationPolicy(ActivationPolicy::regular);
    QVERIFY(QGuiApplication::quitOnLastWindowClosed());
}

} // namespace quibel

int main(int argc, char* argv[])
{
    VirtualDesktop desktop(
        { .windowManager = qEnvironmentVariable("QUIBEL_TEST_WINDOW_MANAGER", u"openbox"_s) });
    if (!desktop.start())
        return 1;
    desktop.enter();
    QDir(desktop.home()).mkpath(u"data/applications"_s);
    QFile entry(desktop.home() + u"/data/applications/org.example.Painter.desktop"_s);
    if (!entry.open(QIODevice::WriteOnly))
        return 1;
    entry.write("[Desktop Entry]\nType=Application\nName=Painter of Pictures\nExec=true\n");
    entry.close();

    const QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QGuiApplication::setApplicationDisplayName(u"The Agent"_s);
    QGuiApplication::setDesktopFileName(u"org.example.Agent"_s);
    quibel::XcbWorkspaceTest test(desktop);
    return QTest::qExec(&test, argc, argv);
}

#include "XcbWorkspaceTest.moc"
