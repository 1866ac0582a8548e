#include "platform/x11/XcbWorkspace.h"

#include "platform/x11/XcbActivation.h"
#include "platform/x11/XcbOwnWindows.h"

#include <QGuiApplication>
#include <QWindow>

#include <algorithm>
#include <array>
#include <utility>

namespace quibel {

namespace {

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
    , netActiveWindow(connection.atom("_NET_ACTIVE_WINDOW"))
    , netCurrentDesktop(connection.atom("_NET_CURRENT_DESKTOP"))
    , netWmDesktop(connection.atom("_NET_WM_DESKTOP"))
    , netSupportingWmCheck(connection.atom("_NET_SUPPORTING_WM_CHECK"))
{
    connect(&x, &XcbConnection::received, this, &XcbWorkspace::handleEvent);
}

void XcbWorkspace::setActivationPolicy(ActivationPolicy policy)
{
    // An accessory has no window that its life depends on. That no task bar offers its panels is
    // said of each window on X11, where it is prepared.
    QGuiApplication::setQuitOnLastWindowClosed(policy == ActivationPolicy::regular);
}

std::optional<RunningApplication> XcbWorkspace::frontmostApplication()
{
    // Not the toolkit's, which holds on to the window that lost it for some tenths of a second.
    const xcb_window_t focus = inputFocus();
    if (ownWindow(focus) != nullptr)
        return ownApplication(focus);
    const std::vector<xcb_window_t> outwards = ancestry(focus);
    const xcb_window_t frontmost = frontmostWindow(outwards);
    if (frontmost == XCB_WINDOW_NONE)
        return std::nullopt;
    const bool focusIsWithin = std::ranges::find(outwards, frontmost) != outwards.end();
    lastFrontmost = { .window = frontmost, .focus = focusIsWithin ? focus : frontmost };
    return ownerOf(frontmost);
}

void XcbWorkspace::activate(const RunningApplication& application)
{
    const xcb_window_t window = application.keyWindow;
    if (window == XCB_WINDOW_NONE)
        return;
    // The toolkit hides windows on its own connection, so the server may not know yet.
    if (const QWindow* own = ownWindow(window); own != nullptr && !own->isVisible())
        return;
    const auto activeQuestion = askProperty(x.get(), x.root(), netActiveWindow);
    const auto currentQuestion = askProperty(x.get(), x.root(), netCurrentDesktop);
    const auto desktopQuestion = askProperty(x.get(), window, netWmDesktop);
    const auto managedQuestion = askProperty(x.get(), window, x.atom("WM_STATE"));
    const auto attributesQuestion = xcb_get_window_attributes(x.get(), window);
    const auto active = XcbProperty(x.get(), activeQuestion).firstValue().value_or(XCB_WINDOW_NONE);
    const auto current = XcbProperty(x.get(), currentQuestion).firstValue();
    const auto desktop = XcbProperty(x.get(), desktopQuestion).firstValue();
    const auto managed = XcbProperty(x.get(), managedQuestion).firstValue();
    const auto attributes = xcbReply(xcb_get_window_attributes_reply, x.get(), attributesQuestion);
    const bool isElsewhere = desktop && *desktop != everyDesktop && desktop != current;
    const bool isInSight = attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
    constexpr std::uint32_t withdrawn = 0;
    const bool isManaged = managed.value_or(withdrawn) != withdrawn;
    // Nobody gives the keyboard to a window that its program has hidden.
    if (!isInSight && !isManaged)
        return;

    // The keyboard at once, and to the very window that had it.
    const xcb_window_t focus = window == lastFrontmost.window ? lastFrontmost.focus : window;
    const auto request
        = xcb_set_input_focus(x.get(), XCB_INPUT_FOCUS_PARENT, focus, XCB_CURRENT_TIME);
    if (active != window) {
        selectRootEvents(XCB_EVENT_MASK_PROPERTY_CHANGE);
        activating = { .window = window, .request = request.sequence };
    }
    // Some window managers go to the window's desktop of themselves, some fetch the window, some
    // only mark it as urgent.
    if (isElsewhere)
        askForDesktop(x, *desktop);
    // Window managers follow the focus by themselves, unless there is something to raise. Asked to
    // activate, they would move the keyboard from the very window to the whole.
    const bool isCovered = active != XCB_WINDOW_NONE && active != window;
    if (isElsewhere || !isInSight || isCovered)
        askForActivation(x.get(), x, window);
    x.flush();
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

xcb_window_t XcbWorkspace::inputFocus()
{
    const auto focusQuestion = xcb_get_input_focus(x.get());
    const auto pointerQuestion = xcb_query_pointer(x.get(), x.root());
    const auto focus = xcbReply(xcb_get_input_focus_reply, x.get(), focusQuestion);
    const auto pointer = xcbReply(xcb_query_pointer_reply, x.get(), pointerQuestion);
    if (!focus || !pointer)
        return XCB_WINDOW_NONE;
    const bool followsPointer
        = focus->focus == XCB_INPUT_FOCUS_POINTER_ROOT || focus->focus == x.root();
    return followsPointer ? pointer->child : focus->focus;
}

xcb_window_t XcbWorkspace::frontmostWindow(const std::vector<xcb_window_t>& outwards)
{
    const auto activeQuestion = askProperty(x.get(), x.root(), netActiveWindow);
    const auto managerQuestion = askProperty(x.get(), x.root(), netSupportingWmCheck);
    const XcbProperty active(x.get(), activeQuestion);
    const XcbProperty manager(x.get(), managerQuestion);
    if (!manager.exists())
        return firstThatHas(XCB_ATOM_WM_CLASS, outwards);
    // Window managers name the active window a little after the keyboard has gone to it. Some go on
    // naming a window that is gone, as long as there is no other.
    for (const xcb_window_t window : { activating.window,
                                       firstThatHas(x.atom("WM_STATE"), outwards),
                                       active.firstValue().value_or(0) })
        if (!ancestry(window).empty())
            return window;
    return XCB_WINDOW_NONE;
}

xcb_window_t XcbWorkspace::firstThatHas(xcb_atom_t property,
                                        const std::vector<xcb_window_t>& candidates)
{
    for (const xcb_window_t window : candidates)
        if (XcbProperty(x.get(), askProperty(x.get(), window, property)).exists())
            return window;
    return XCB_WINDOW_NONE;
}

std::vector<xcb_window_t> XcbWorkspace::ancestry(xcb_window_t window)
{
    std::vector<xcb_window_t> outwards;
    while (window > XCB_INPUT_FOCUS_POINTER_ROOT && window != x.root()) {
        const auto tree = xcbReply(xcb_query_tree_reply, x.get(), xcb_query_tree(x.get(), window));
        if (!tree)
            return {};
        outwards.push_back(window);
        window = tree->parent;
    }
    return outwards;
}

void XcbWorkspace::selectRootEvents(xcb_event_mask_t events)
{
    const std::array<std::uint32_t, 1> mask { events };
    xcb_change_window_attributes(x.get(), x.root(), XCB_CW_EVENT_MASK, mask.data());
}

void XcbWorkspace::endActivation()
{
    if (std::exchange(activating, {}).window != XCB_WINDOW_NONE)
        selectRootEvents(XCB_EVENT_MASK_NO_EVENT);
    x.flush();
}

void XcbWorkspace::handleEvent(const xcb_generic_event_t* event)
{
    if ((event->response_type & 0x7FU) != XCB_PROPERTY_NOTIFY
        || activating.window == XCB_WINDOW_NONE)
        return;
    const auto& changed = eventAs<xcb_property_notify_event_t>(event);
    const bool isEarlier = static_cast<std::int32_t>(event->full_sequence - activating.request) < 0;
    if (isEarlier || changed.window != x.root() || changed.atom != netActiveWindow)
        return;
    // Window managers may name none on the way from one window to the next.
    const XcbProperty active(x.get(), askProperty(x.get(), x.root(), netActiveWindow));
    if (active.firstValue().value_or(XCB_WINDOW_NONE) == XCB_WINDOW_NONE)
        return;
    endActivation();
}

} // namespace quibel
