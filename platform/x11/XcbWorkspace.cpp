#include "platform/x11/XcbWorkspace.h"

#include "platform/x11/XcbActivation.h"

#include <QGuiApplication>
#include <QWindow>

#include <algorithm>
#include <array>

namespace quibel {

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
}

void XcbWorkspace::setActivationPolicy(ActivationPolicy policy)
{
    // An accessory has no window that its life depends on. That no task bar offers its panels is
    // said of each window on X11, where it is prepared.
    QGuiApplication::setQuitOnLastWindowClosed(policy == ActivationPolicy::regular);
}

std::optional<RunningApplication> XcbWorkspace::frontmostApplication()
{
    if (const QWindow* own = QGuiApplication::focusWindow(); own != nullptr)
        return RunningApplication { .localizedName = QGuiApplication::applicationDisplayName(),
                                    .bundleIdentifier = QGuiApplication::desktopFileName(),
                                    .processIdentifier = static_cast<ProcessIdentifier>(
                                        QCoreApplication::applicationPid()),
                                    .keyWindow = static_cast<WindowNumber>(own->winId()) };

    const auto question = askProperty(x.get(), x.root(), x.atom("_NET_ACTIVE_WINDOW"));
    const xcb_window_t active
        = XcbProperty(x.get(), question).firstValue().value_or(XCB_WINDOW_NONE);
    if (active != XCB_WINDOW_NONE)
        activating = XCB_WINDOW_NONE;
    const xcb_window_t frontmost = active != XCB_WINDOW_NONE ? active : activating;
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
    activating = window;
    // The keyboard first, at once and to the very window that had it; then the window manager,
    // which raises the window and goes to its desktop if need be.
    const xcb_window_t focus = window == lastFrontmost.window ? lastFrontmost.focus : window;
    xcb_set_input_focus(x.get(), XCB_INPUT_FOCUS_PARENT, focus, XCB_CURRENT_TIME);
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

bool XcbWorkspace::contains(xcb_window_t window, xcb_window_t descendant)
{
    while (descendant != window) {
        const XcbOwned<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(x.get(), xcb_query_tree(x.get(), descendant), nullptr));
        if (!tree || tree->parent == XCB_WINDOW_NONE)
            return false;
        descendant = tree->parent;
    }
    return true;
}

xcb_window_t XcbWorkspace::focusWithin(xcb_window_t window)
{
    const XcbOwned<xcb_get_input_focus_reply_t> focus(
        xcb_get_input_focus_reply(x.get(), xcb_get_input_focus(x.get()), nullptr));
    const bool isWindow = focus && focus->focus != XCB_INPUT_FOCUS_POINTER_ROOT
        && focus->focus != XCB_INPUT_FOCUS_NONE;
    return isWindow && contains(window, focus->focus) ? focus->focus : window;
}

} // namespace quibel
