#include "platform/x11/XcbDisplayFacts.h"

#include "platform/x11/XcbConnection.h"
#include "platform/x11/XcbProperty.h"

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

bool hasExtension(XcbConnection& x, const QByteArray& name)
{
    const auto question
        = xcb_query_extension(x.get(), static_cast<std::uint16_t>(name.size()), name.constData());
    const auto answer = xcbReply(xcb_query_extension_reply, x.get(), question);
    return answer && answer->present != 0;
}

bool hasOwner(XcbConnection& x, xcb_atom_t selection)
{
    const auto question = xcb_get_selection_owner(x.get(), selection);
    const auto answer = xcbReply(xcb_get_selection_owner_reply, x.get(), question);
    return answer && answer->owner != XCB_WINDOW_NONE;
}

XcbProperty property(XcbConnection& x, xcb_window_t window, const QByteArray& name)
{
    return { x.get(), askProperty(x.get(), window, x.atom(name)) };
}

std::optional<QString> nameOfWindowManager(XcbConnection& x)
{
    const QByteArray check = "_NET_SUPPORTING_WM_CHECK";
    const xcb_window_t window
        = property(x, x.root(), check).firstValue().value_or(xcb_window_t { XCB_WINDOW_NONE });
    // A window manager that has gone may leave its mark on the root window, but not on its own.
    if (window == XCB_WINDOW_NONE || property(x, window, check).firstValue() != window)
        return std::nullopt;
    return property(x, window, "_NET_WM_NAME").text().value_or(u"without a name"_s);
}

} // namespace

DisplayFacts describeDisplay(XcbConnection& connection)
{
    // Older Xwayland has no extension that tells.
    const bool isInsideWayland
        = hasExtension(connection, "XWAYLAND") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    return { .server = isInsideWayland ? u"Xwayland"_s : u"X11"_s,
             .isInsideWayland = isInsideWayland,
             .windowManager = nameOfWindowManager(connection),
             .hasCompositor = hasOwner(connection, connection.screenAtom("_NET_WM_CM_S")),
             .keepsCoveredWindows = hasExtension(connection, "Composite") };
}

} // namespace quibel
