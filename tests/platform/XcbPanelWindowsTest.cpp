#include "platform/x11/XcbPanelWindows.h"
#include "platform/x11/XcbWorkspace.h"
#include "tests/desktop/VirtualDesktop.h"
#include "tests/fakes/FakeScreens.h"
#include "tests/platform/ClientWindow.h"
#include "tests/platform/Keyboard.h"

#include <QApplication>
#include <QLineEdit>
#include <QTest>
#include <QWindow>

using namespace Qt::StringLiterals;
using quibel::testing::activeWindow;
using quibel::testing::ClientWindow;
using quibel::testing::isAbove;
using quibel::testing::Keyboard;
using quibel::testing::settleWindowManager;
using quibel::testing::VirtualDesktop;

namespace quibel {

namespace {

/// A panel as the agent makes them: a widget whose native window is there before it is prepared.
class Panel : public QWidget
{
public:
    Panel(PanelWindows& windows, PanelKind kind)
        : QWidget(nullptr, kind == PanelKind::capture ? Qt::Window : Qt::Dialog)
        , field(this)
    {
        setFixedSize(300, 60);
        field.setGeometry(10, 10, 280, 30);
        create();
        windows.prepare(window(), kind);
    }

    [[nodiscard]] QWindow& window() { return *windowHandle(); }
    [[nodiscard]] xcb_window_t id() { return static_cast<xcb_window_t>(winId()); }

    QLineEdit field;
};

} // namespace

class XcbPanelWindowsTest : public QObject
{
    Q_OBJECT

public:
    explicit XcbPanelWindowsTest(VirtualDesktop& virtualDesktop)
        : desktop(virtualDesktop)
    {
    }

private Q_SLOTS:
    void init();

    void takesTheKeyboardWhenShown_data();
    void takesTheKeyboardWhenShown();
    void takesTheKeyboardAgain_data() { takesTheKeyboardWhenShown_data(); }
    void takesTheKeyboardAgain();
    void takesTheKeyboardWhenItIsShownAlready_data() { takesTheKeyboardWhenShown_data(); }
    void takesTheKeyboardWhenItIsShownAlready();
    void hides_data() { takesTheKeyboardWhenShown_data(); }
    void hides();
    void givesTheKeyboardBack_data() { takesTheKeyboardWhenShown_data(); }
    void givesTheKeyboardBack();
    void givesTheKeyboardBackToTheVeryWindowThatHadIt();
    void takesTheKeyboardBackWhenItIsClicked_data() { takesTheKeyboardWhenShown_data(); }
    void takesTheKeyboardBackWhenItIsClicked();
    void liesOverAFullScreenWindow();
    void staysAboveOtherWindows_data() { takesTheKeyboardWhenShown_data(); }
    void staysAboveOtherWindows();
    void isOnEveryDesktop();
    void liesWhereItIsPlaced();
    void dialogIsPlacedByTheAgent();
    void noTaskBarOffersTheCapturePanel();
    void noTaskBarOffersTheDialog();
    void dialogCanBeClosedButNotMinimised();

private:
    void show(Panel& panel)
    {
        windows.makeKeyAndOrderFront(panel.window());
        QTRY_VERIFY(panel.isActiveWindow());
        QTRY_COMPARE(focus(), panel.id());
        panel.field.setFocus();
        QTRY_VERIFY(panel.field.hasFocus());
    }
    /// Closes the panel and goes back to the editor, as the agent does.
    void hide(Panel& panel)
    {
        windows.orderOut(panel.window());
        workspace.activate({ .localizedName = {},
                             .bundleIdentifier = {},
                             .processIdentifier = {},
                             .keyWindow = editor->id() });
        QTRY_VERIFY(editor->hasFocus());
        // The window manager and the toolkit each take note a little later.
        QTRY_VERIFY(!property(x->root(), "_NET_CLIENT_LIST").contains(panel.id()));
        QTRY_COMPARE(QGuiApplication::focusWindow(), nullptr);
    }
    [[nodiscard]] xcb_window_t focus()
    {
        const auto reply
            = xcbReply(xcb_get_input_focus_reply, x->get(), xcb_get_input_focus(x->get()));
        return reply->focus;
    }
    [[nodiscard]] XcbProperty property(xcb_window_t window, const QByteArray& name)
    {
        return { x->get(), askProperty(x->get(), window, x->atom(name)) };
    }
    [[nodiscard]] bool isViewable(xcb_window_t window)
    {
        const auto reply = xcbReply(
            xcb_get_window_attributes_reply, x->get(), xcb_get_window_attributes(x->get(), window));
        return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE;
    }
    [[nodiscard]] QPoint originOf(xcb_window_t window)
    {
        const auto reply = xcbReply(xcb_translate_coordinates_reply,
                                    x->get(),
                                    xcb_translate_coordinates(x->get(), window, x->root(), 0, 0));
        return { reply->dst_x, reply->dst_y };
    }
    void typeInto(Panel& panel)
    {
        panel.field.clear();
        keyboard.type({ Keyboard::a });
        keyboard.type({ Keyboard::n });
        QTRY_COMPARE(panel.field.text(), u"an"_s);
    }

    VirtualDesktop& desktop;
    Keyboard keyboard;
    std::unique_ptr<XcbConnection> x = XcbConnection::open();
    XcbPanelWindows windows { *x };
    FakeScreens screens;
    DesktopEntries entries;
    XcbWorkspace workspace { *x, screens, entries };
    std::unique_ptr<ClientWindow> editor;
};

void XcbPanelWindowsTest::init()
{
    editor = std::make_unique<ClientWindow>(
        ClientWindow::Options { .geometry = { 50, 300, 400, 300 } });
    editor->map();
    QTRY_VERIFY(editor->isViewable());
    editor->requestFromRoot("_NET_ACTIVE_WINDOW", { 2 });
    QTRY_COMPARE(activeWindow(*x), editor->id());
    QTRY_VERIFY(editor->hasFocus());
    QVERIFY(settleWindowManager());
}

void XcbPanelWindowsTest::takesTheKeyboardWhenShown_data()
{
    QTest::addColumn<PanelKind>("kind");
    QTest::newRow("capture panel") << PanelKind::capture;
    QTest::newRow("dialog") << PanelKind::dialog;
}

void XcbPanelWindowsTest::takesTheKeyboardWhenShown()
{
    QFETCH(const PanelKind, kind);
    Panel panel(windows, kind);
    show(panel);
    typeInto(panel);
    QCOMPARE(QGuiApplication::focusWindow(), &panel.window());
    QVERIFY(isAbove(*x, panel.id(), editor->id()));
}

void XcbPanelWindowsTest::takesTheKeyboardAgain()
{
    QFETCH(const PanelKind, kind);
    Panel panel(windows, kind);
    for (int i = 0; i < 5; ++i) {
        show(panel);
        typeInto(panel);
        hide(panel);
    }
}

void XcbPanelWindowsTest::takesTheKeyboardWhenItIsShownAlready()
{
    QFETCH(const PanelKind, kind);
    Panel panel(windows, kind);
    show(panel);
    keyboard.click(100, 500);
    QTRY_VERIFY(editor->hasFocus());
    QTRY_VERIFY(!panel.isActiveWindow());
    show(panel);
    typeInto(panel);
}

void XcbPanelWindowsTest::hides()
{
    QFETCH(const PanelKind, kind);
    Panel panel(windows, kind);
    show(panel);
    windows.orderOut(panel.window());
    QVERIFY(!panel.isVisible());
    QTRY_VERIFY(!isViewable(panel.id()));
    QTRY_VERIFY(focus() != panel.id());
}

void XcbPanelWindowsTest::givesTheKeyboardBack()
{
    QFETCH(const PanelKind, kind);
    Panel panel(windows, kind);
    const auto previous = workspace.frontmostApplication();
    QVERIFY(previous);
    QCOMPARE(previous->keyWindow, editor->id());
    show(panel);
    QCOMPARE(workspace.frontmostApplication()->keyWindow, panel.id());
    windows.orderOut(panel.window());
    workspace.activate(*previous);
    QTRY_VERIFY(editor->hasFocus());
    QCOMPARE(workspace.frontmostApplication()->keyWindow, editor->id());
    QVERIFY(settleWindowManager());
    keyboard.type({ Keyboard::a });
    QTRY_COMPARE(editor->pressedKeys(), std::vector<xcb_keycode_t> { Keyboard::a });
    QTRY_COMPARE(activeWindow(*x), editor->id());
    QVERIFY(editor->hasFocus());
}

void XcbPanelWindowsTest::givesTheKeyboardBackToTheVeryWindowThatHadIt()
{
    xcb_connection_t* c = editor->connection().get();
    const xcb_window_t inner = xcb_generate_id(c);
    xcb_create_window(
        c, 0, inner, editor->id(), 0, 0, 50, 50, 0, XCB_COPY_FROM_PARENT, 0, 0, nullptr);
    xcb_map_window(c, inner);
    xcb_set_input_focus(c, XCB_INPUT_FOCUS_PARENT, inner, XCB_CURRENT_TIME);
    xcb_flush(c);
    QTRY_COMPARE(focus(), inner);
    const auto previous = workspace.frontmostApplication();
    QVERIFY(previous);
    QCOMPARE(previous->keyWindow, editor->id());

    Panel panel(windows, PanelKind::capture);
    show(panel);
    QVERIFY(settleWindowManager());
    windows.orderOut(panel.window());
    workspace.activate(*previous);
    QTRY_COMPARE(focus(), inner);
    QVERIFY(settleWindowManager());
    QCOMPARE(focus(), inner);
    QCOMPARE(activeWindow(*x), editor->id());
}

void XcbPanelWindowsTest::takesTheKeyboardBackWhenItIsClicked()
{
    QFETCH(const PanelKind, kind);
    Panel panel(windows, kind);
    windows.place(panel.window(), { 600, 100 });
    show(panel);
    keyboard.click(100, 500);
    QTRY_VERIFY(editor->hasFocus());
    QTRY_VERIFY(!panel.isActiveWindow());
    QVERIFY(isViewable(panel.id()));
    const QPoint origin = originOf(panel.id());
    keyboard.click(origin.x() + 50, origin.y() + 25);
    QTRY_COMPARE(focus(), panel.id());
    QTRY_VERIFY(panel.isActiveWindow());
    typeInto(panel);
}

void XcbPanelWindowsTest::liesOverAFullScreenWindow()
{
    ClientWindow film({ .states = { "FULLSCREEN" } });
    film.map();
    QTRY_VERIFY(film.isViewable());
    film.requestFromRoot("_NET_ACTIVE_WINDOW", { 2 });
    QTRY_VERIFY(film.hasFocus());
    QVERIFY(settleWindowManager());
    Panel panel(windows, PanelKind::capture);
    show(panel);
    QVERIFY(isAbove(*x, panel.id(), film.id()));
    typeInto(panel);
    keyboard.click(1000, 700);
    QTRY_VERIFY(film.hasFocus());
    QVERIFY(settleWindowManager());
    QVERIFY(isAbove(*x, panel.id(), film.id()));
}

void XcbPanelWindowsTest::staysAboveOtherWindows()
{
    QFETCH(const PanelKind, kind);
    Panel panel(windows, kind);
    show(panel);
    QVERIFY(settleWindowManager());
    editor->requestFromRoot("_NET_ACTIVE_WINDOW", { 2 });
    QVERIFY(settleWindowManager());
    QVERIFY(isAbove(*x, panel.id(), editor->id()));
    ClientWindow newcomer({});
    newcomer.map();
    QTRY_VERIFY(newcomer.isViewable());
    newcomer.requestFromRoot("_NET_ACTIVE_WINDOW", { 2 });
    QTRY_VERIFY(isAbove(*x, newcomer.id(), editor->id()));
    QVERIFY(isAbove(*x, panel.id(), newcomer.id()));
}

void XcbPanelWindowsTest::isOnEveryDesktop()
{
    Panel panel(windows, PanelKind::capture);
    show(panel);
    QVERIFY(desktop.output(u"xdotool"_s, { u"set_desktop"_s, u"1"_s }));
    QTRY_VERIFY(!editor->isViewable());
    QVERIFY(isViewable(panel.id()));
    panel.hide();
    QTRY_COMPARE(QGuiApplication::focusWindow(), nullptr);
    show(panel);
    typeInto(panel);
    QVERIFY(isViewable(panel.id()));
    QVERIFY(desktop.output(u"xdotool"_s, { u"set_desktop"_s, u"0"_s }));
    QTRY_VERIFY(editor->isViewable());
}

void XcbPanelWindowsTest::liesWhereItIsPlaced()
{
    Panel panel(windows, PanelKind::capture);
    windows.place(panel.window(), { 123, 45 });
    show(panel);
    QTRY_COMPARE(originOf(panel.id()), QPoint(123, 45));
    windows.place(panel.window(), { 900, 700 });
    show(panel);
    QTRY_COMPARE(originOf(panel.id()), QPoint(900, 700));
    hide(panel);
    windows.place(panel.window(), { 5, 6 });
    show(panel);
    QTRY_COMPARE(originOf(panel.id()), QPoint(5, 6));
    QCOMPARE(panel.mapToGlobal(QPoint()), QPoint(5, 6));
}

void XcbPanelWindowsTest::dialogIsPlacedByTheAgent()
{
    Panel panel(windows, PanelKind::dialog);
    for (const QPoint origin : { QPoint(400, 300), QPoint(200, 100) }) {
        windows.place(panel.window(), origin);
        show(panel);
        QTRY_COMPARE(originOf(panel.id()), origin);
        QVERIFY(settleWindowManager());
        QCOMPARE(originOf(panel.id()), origin);
        hide(panel);
    }
}

void XcbPanelWindowsTest::noTaskBarOffersTheCapturePanel()
{
    Panel panel(windows, PanelKind::capture);
    show(panel);
    // Something that the window manager does after it has seen the panel.
    ClientWindow witness({});
    witness.map();
    QTRY_VERIFY(property(x->root(), "_NET_CLIENT_LIST").contains(witness.id()));
    QVERIFY(!property(x->root(), "_NET_CLIENT_LIST").contains(panel.id()));
}

void XcbPanelWindowsTest::noTaskBarOffersTheDialog()
{
    Panel panel(windows, PanelKind::dialog);
    for (int i = 0; i < 5; ++i) {
        show(panel);
        for (const auto* state :
             { "_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER", "_NET_WM_STATE_ABOVE" })
            QTRY_VERIFY2(property(panel.id(), "_NET_WM_STATE").contains(x->atom(state)), state);
        hide(panel);
    }
}

void XcbPanelWindowsTest::dialogCanBeClosedButNotMinimised()
{
    Panel panel(windows, PanelKind::dialog);
    show(panel);
    QCOMPARE(property(panel.id(), "_NET_WM_WINDOW_TYPE").firstValue(),
             std::optional(x->atom("_NET_WM_WINDOW_TYPE_DIALOG")));
    // Source: the hints of Motif: flags, functions, decorations.
    constexpr std::uint32_t minimise = 8;
    constexpr std::uint32_t close = 32;
    const auto hints = property(panel.id(), "_MOTIF_WM_HINTS").values();
    QVERIFY(hints.size() > 2);
    QCOMPARE(hints[1] & (minimise | close), close);
}

} // namespace quibel

int main(int argc, char* argv[])
{
    VirtualDesktop desktop(
        { .windowManager = qEnvironmentVariable("QUIBEL_TEST_WINDOW_MANAGER", u"openbox"_s) });
    if (!desktop.start())
        return 1;
    desktop.enter();
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    quibel::XcbPanelWindowsTest test(desktop);
    return QTest::qExec(&test, argc, argv);
}

#include "XcbPanelWindowsTest.moc"
