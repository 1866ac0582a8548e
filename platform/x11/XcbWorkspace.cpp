#include "platform/x11/XcbWorkspace.h"

#include "platform/x11/XcbActivation.h"

#include <QGuiApplication>
#include <QWindow>

#include <algorithm>
#include <array>

namespace quibel {

namespace {

/// Asked of the window system's focus, since the toolkit holds on to the window that lost it for
/// some tenths of a second.
bool isOwnWindow(xcb_window_t window)
{
    const auto own = QGuiApplication::topLevelWindows();
    return std::ranges::any_of(own, [window](const QWindow* each) {
        return each->handle() != nullptr && each->winId() == window;
    });
}

RunningApplication ownApplication(xcb_window_t keyWindow)
{
    return { .localizedName = QGuiApplication::applicationDisplayName(),
             .bundleIdentifier = QGuiApplication::desktopFileName(),
             .processIdentifier
             = static_cast<ProcessIdentifier>(QCoreApplication::applicationPid()),
             .keyWindow = keyWindow };
}

} // namespace

QRectF pointsFromPixels(const QRectF& pixels, const std::vector<Screen>& screens)
{
    if (screens.empty())
        return pixels;
    const auto holdsCentre = [centre = pixels.center()](const Screen& screen) {
        return QRectF(screen.pixelFrame).contains(centre);
    };
    const auto found = std::ranges::find_if(screens, holdsCentre);
    const Screen& screen = found == screens.end() ? screens.front() : *found;
    const double scale
        = static_cast<double>(screen.frame.width()) / std::max(1, screen.pixelFrame.width());
    const QPointF offset = pixels.topLeft() - screen.pixelFrame.topLeft();
    return { screen.frame.topLeft() + (offset * scale), pixels.size() * scale };
}

XcbWorkspace::XcbWorkspace(XcbConnection& connection,
                           Screens& desktopScreens,
                           const DesktopEntries& desktopEntries)
    : x(connection)
    , screens(desktopScreens)
    , entries(desktopEntries)
    , owners(connection)
    , windows(connection)
{
    connect(&x, &XcbConnection::event, this, &XcbWorkspace::handleEvent);
    connect(qGuiApp, &QGuiApplication::focusWindowChanged, this, [this](const QWindow* own) {
        if (own != nullptr)
            activating = {};
    });
}

void XcbWorkspace::setActivationPolicy(ActivationPolicy policy)
{
    // An accessory has no window that its life depends on. That no task bar offers its panels is
    // said of each window on X11, where it is prepared.
    QGuiApplication::setQuitOnLastWindowClosed(policy == ActivationPolicy::regular);
}

std::optional<RunningApplication> XcbWorkspace::frontmostApplication()
{
    // The toolkit learns late that its window has lost the keyboard to an activated one.
    if (const QWindow* own = QGuiApplication::focusWindow();
        own != nullptr && activating.window == XCB_WINDOW_NONE)
        return RunningApplication { .localizedName = QGuiApplication::applicationDisplayName(),
                                    .bundleIdentifier = QGuiApplication::desktopFileName(),
                                    .processIdentifier = static_cast<ProcessIdentifier>(
                                        QCoreApplication::applicationPid()),
                                    .keyWindow = static_cast<WindowNumber>(own->winId()) };

    const xcb_window_t frontmost = frontmostWindow();
    if (frontmost == XCB_WINDOW_NONE)
        return std::nullopt;
    lastFrontmost = { .window = frontmost, .focus = focusWithin(frontmost) };
    return ownerOf(frontmost);
}

void XcbWorkspace::activate(const RunningApplication& application)
{
    const xcb_window_t window = application.keyWindow;
    if (window == XCB_WINDOW_NONE)
        return;
    selectRootEvents(XCB_EVENT_MASK_PROPERTY_CHANGE);
    // The keyboard first, at once and to the very window that had it; then the window manager,
    // which raises the window and goes to its desktop if need be.
    const xcb_window_t focus = window == lastFrontmost.window ? lastFrontmost.focus : window;
    const auto request
        = xcb_set_input_focus(x.get(), XCB_INPUT_FOCUS_PARENT, focus, XCB_CURRENT_TIME);
    askForActivation(x.get(), x, window);
    x.flush();
    activating = { .window = window, .request = request.sequence };
}

std::optional<std::vector<WindowInfo>> XcbWorkspace::onScreenWindows()
{
    const auto listed = windows.onScreen();
    if (!listed)
        return std::nullopt;
    const std::vector<Screen> known = screens.all();
    std::vector<WindowInfo> infos;
    infos.reserve(listed->size());
    for (const XcbListedWindow& window : *listed)
        infos.push_back({ .number = window.window,
                          .ownerProcess = window.ownerProcess,
                          .name = window.name,
                          .layer = window.layer,
                          .bounds = pointsFromPixels(window.bounds, known) });
    return infos;
}

RunningApplication XcbWorkspace::ownerOf(xcb_window_t window)
{
    const std::array<xcb_window_t, 1> asked { window };
    const auto process = owners.ask(asked);
    const auto windowClass = askProperty(x.get(), window, XCB_ATOM_WM_CLASS);
    const auto gtkId = askProperty(x.get(), window, x.atom("_GTK_APPLICATION_ID"));
    const auto kdeId = askProperty(x.get(), window, x.atom("_KDE_NET_WM_DESKTOP_FILE"));

    // WM_CLASS is two texts, each ended by a NUL: the instance and the class.
    const QByteArray classBytes = XcbProperty(x.get(), windowClass).bytes().value_or(QByteArray());
    const QList<QByteArray> classParts = classBytes.split('\0');
    const std::optional<QString> gtk = XcbProperty(x.get(), gtkId).text();
    const std::optional<QString> kde = XcbProperty(x.get(), kdeId).text();
    const WindowOwner owner {
        .applicationId = gtk.value_or(kde.value_or(QString())),
        .classInstance = QString::fromLatin1(classParts.value(0)),
        .className = QString::fromLatin1(classParts.value(1)),
        .processIdentifier = owners.answer(process).front(),
    };
    const auto entry = entries.find(owner);
    return { .localizedName = entry ? entry->localizedName : owner.className,
             .bundleIdentifier = entry ? entry->id : owner.className,
             .processIdentifier = owner.processIdentifier,
             .keyWindow = window };
}

xcb_window_t XcbWorkspace::frontmostWindow()
{
    const XcbProperty active = activeWindow();
    if (!active.exists())
        return focusedWindow();
    if (activating.window != XCB_WINDOW_NONE && !ancestry(activating.window).empty())
        return activating.window;
    return active.firstValue().value_or(XCB_WINDOW_NONE);
}

/// For a desktop whose window manager names no active window, or that has none: the window with a
/// class that has the input focus or contains what has it.
xcb_window_t XcbWorkspace::focusedWindow()
{
    const auto focusQuestion = xcb_get_input_focus(x.get());
    const auto pointerQuestion = xcb_query_pointer(x.get(), x.root());
    const XcbOwned<xcb_get_input_focus_reply_t> focus(
        xcb_get_input_focus_reply(x.get(), focusQuestion, nullptr));
    const XcbOwned<xcb_query_pointer_reply_t> pointer(
        xcb_query_pointer_reply(x.get(), pointerQuestion, nullptr));
    if (!focus || !pointer)
        return XCB_WINDOW_NONE;
    const bool followsPointer
        = focus->focus == XCB_INPUT_FOCUS_POINTER_ROOT || focus->focus == x.root();
    for (const xcb_window_t window : ancestry(followsPointer ? pointer->child : focus->focus))
        if (XcbProperty(x.get(), askProperty(x.get(), window, XCB_ATOM_WM_CLASS)).exists())
            return window;
    return XCB_WINDOW_NONE;
}

xcb_window_t XcbWorkspace::focusWithin(xcb_window_t window)
{
    const XcbOwned<xcb_get_input_focus_reply_t> focus(
        xcb_get_input_focus_reply(x.get(), xcb_get_input_focus(x.get()), nullptr));
    if (!focus || focus->focus == window)
        return window;
    const std::vector<xcb_window_t> outwards = ancestry(focus->focus);
    return std::ranges::find(outwards, window) != outwards.end() ? focus->focus : window;
}

std::vector<xcb_window_t> XcbWorkspace::ancestry(xcb_window_t window)
{
    std::vector<xcb_window_t> outwards;
    while (window > XCB_INPUT_FOCUS_POINTER_ROOT && window != x.root()) {
        const XcbOwned<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(x.get(), xcb_query_tree(x.get(), window), nullptr));
        if (!tree)
            return {};
        outwards.push_back(window);
        window = tree->parent;
    }
    return outwards;
}

XcbProperty XcbWorkspace::activeWindow()
{
    return { x.get(), askProperty(x.get(), x.root(), x.atom("_NET_ACTIVE_WINDOW")) };
}

void XcbWorkspace::selectRootEvents(xcb_event_mask_t events)
{
    const std::array<std::uint32_t, 1> mask { events };
    xcb_change_window_attributes(x.get(), x.root(), XCB_CW_EVENT_MASK, mask.data());
    x.flush();
}

void XcbWorkspace::handleEvent(const xcb_generic_event_t* event)
{
    if ((event->response_type & 0x7FU) != XCB_PROPERTY_NOTIFY
        || activating.window == XCB_WINDOW_NONE)
        return;
    const auto& changed = *reinterpret_cast<const xcb_property_notify_event_t*>(event);
    const bool isEarlier = static_cast<std::int32_t>(event->full_sequence - activating.request) < 0;
    if (isEarlier || changed.window != x.root() || changed.atom != x.atom("_NET_ACTIVE_WINDOW"))
        return;
    // Window managers may name none on the way from one window to the next.
    if (activeWindow().firstValue().value_or(XCB_WINDOW_NONE) == XCB_WINDOW_NONE)
        return;
    activating = {};
    selectRootEvents(XCB_EVENT_MASK_NO_EVENT);
}

} // namespace quibel
