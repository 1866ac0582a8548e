#include "platform/x11/XcbFrameGrabber.h"

#include "platform/x11/XcbImage.h"

#include <QDeadlineTimer>

#include <algorithm>
#include <string>
#include <utility>

#include <poll.h>
#include <xcb/composite.h>
#include <xcb/damage.h>

using namespace std::chrono_literals;

namespace quibel {

namespace {

constexpr int attempts = 3;
// How long a program may take to begin drawing, to go on with it, and altogether.
constexpr auto longestPause = 60ms;
constexpr auto longestDelay = 200ms;
constexpr auto longestRepaint = 350ms;

bool hasExtension(xcb_connection_t* connection, xcb_extension_t& extension)
{
    const auto* data = xcb_get_extension_data(connection, &extension);
    return data != nullptr && data->present != 0;
}

bool succeeds(xcb_connection_t* connection, xcb_void_cookie_t cookie)
{
    return !XcbOwned<xcb_generic_error_t>(xcb_request_check(connection, cookie));
}

/// The area of a window on its parent, border included.
QRect outerArea(const xcb_get_geometry_reply_t& geometry)
{
    return { geometry.x,
             geometry.y,
             geometry.width + 2 * geometry.border_width,
             geometry.height + 2 * geometry.border_width };
}

QImage withoutAlpha(QImage image)
{
    static_cast<void>(image.reinterpretAsFormat(QImage::Format_RGB32));
    return image;
}

} // namespace

XcbFrameGrabber::XcbFrameGrabber()
{
    connection = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(connection) != 0)
        return;
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < screenNumber && screens.rem > 1; ++i)
        xcb_screen_next(&screens);
    screen = screens.data;
    // Both extensions refuse to serve a client that has not asked for the version.
    if (hasExtension(connection, xcb_composite_id)) {
        const auto version = xcbReply(xcb_composite_query_version_reply,
                                      connection,
                                      xcb_composite_query_version(connection, 0, 4));
        composes = version != nullptr;
    }
    if (hasExtension(connection, xcb_damage_id)) {
        const auto version = xcbReply(
            xcb_damage_query_version_reply, connection, xcb_damage_query_version(connection, 1, 1));
        tellsDamage = version != nullptr;
    }
}

XcbFrameGrabber::~XcbFrameGrabber()
{
    xcb_disconnect(connection);
}

QImage XcbFrameGrabber::grabWindow(xcb_window_t window)
{
    if (screen == nullptr)
        return {};
    QImage image;
    for (int i = 0; i < attempts && image.isNull(); ++i)
        image = attemptWindow(window);
    // Nobody sees through a window that the server itself puts on the screen, though it may keep
    // one with alpha in a pixmap of its own.
    return hasCompositor() ? image : withoutAlpha(std::move(image));
}

QImage XcbFrameGrabber::grabArea(const QRect& area)
{
    if (screen == nullptr)
        return {};
    const auto root
        = xcbReply(xcb_get_geometry_reply, connection, xcb_get_geometry(connection, screen->root));
    if (!root)
        return {};
    return readImage(connection,
                     { .drawable = screen->root,
                       .visual = screen->root_visual,
                       .area = area & QRect(0, 0, root->width, root->height) });
}

QImage XcbFrameGrabber::attemptWindow(xcb_window_t window)
{
    const auto line = lineage(window);
    if (line.empty())
        return {};
    // A compositor keeps each window on the root, with all that is in it, in a pixmap. That is
    // right whatever covers the window, and taking it disturbs nobody.
    const auto redirected = std::find_if(line.begin(),
                                         std::prev(line.end()),
                                         [this](xcb_window_t each) { return isRedirected(each); });
    if (redirected != std::prev(line.end()))
        return grabPixmap(window, *redirected);
    if (isWhollyVisible(line))
        return grabVisible(window, line);
    return grabCovered(window);
}

QImage XcbFrameGrabber::grabPixmap(xcb_window_t window, xcb_window_t enclosing)
{
    const auto before = placement(window, enclosing);
    const xcb_pixmap_t pixmap = xcb_generate_id(connection);
    if (!before
        || !succeeds(connection,
                     xcb_composite_name_window_pixmap_checked(connection, enclosing, pixmap)))
        return {};
    const QImage image = readImage(
        connection, { .drawable = pixmap, .visual = before->visual, .area = before->inside });
    xcb_free_pixmap(connection, pixmap);
    return placement(window, enclosing) == before ? image : QImage();
}

QImage XcbFrameGrabber::grabVisible(xcb_window_t window, const std::vector<xcb_window_t>& line)
{
    const auto before = placement(window, window);
    if (!before)
        return {};
    const QImage image = readImage(
        connection,
        { .drawable = window, .visual = before->visual, .area = { {}, before->inside.size() } });
    return placement(window, window) == before && isWhollyVisible(line) ? image : QImage();
}

QImage XcbFrameGrabber::grabCovered(xcb_window_t window)
{
    // Without a compositor the server keeps no pixels of what is covered. Redirecting the window
    // into a pixmap makes it wholly visible to the server, which clears what was covered and asks
    // the program to draw it. On screen nothing changes. Redirecting the frame around it would do
    // as well but make the window manager draw too.
    if (!composes
        || !succeeds(connection,
                     xcb_composite_redirect_window_checked(
                         connection, window, XCB_COMPOSITE_REDIRECT_AUTOMATIC)))
        return {};
    waitUntilPainted(window);
    return grabPixmap(window, window);
}

bool XcbFrameGrabber::hasCompositor()
{
    const std::string name = "_NET_WM_CM_S" + std::to_string(screenNumber);
    const auto selection = xcbReply(
        xcb_intern_atom_reply,
        connection,
        xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.c_str()));
    if (!selection)
        return false;
    const auto owner = xcbReply(xcb_get_selection_owner_reply,
                                connection,
                                xcb_get_selection_owner(connection, selection->atom));
    return owner && owner->owner != XCB_WINDOW_NONE;
}

bool XcbFrameGrabber::isRedirected(xcb_window_t window)
{
    if (!composes)
        return false;
    const xcb_pixmap_t pixmap = xcb_generate_id(connection);
    if (!succeeds(connection, xcb_composite_name_window_pixmap_checked(connection, window, pixmap)))
        return false;
    xcb_free_pixmap(connection, pixmap);
    return true;
}

std::vector<xcb_window_t> XcbFrameGrabber::lineage(xcb_window_t window)
{
    std::vector<xcb_window_t> line { window };
    while (line.back() != screen->root) {
        const auto tree
            = xcbReply(xcb_query_tree_reply, connection, xcb_query_tree(connection, line.back()));
        if (!tree || tree->parent == XCB_WINDOW_NONE)
            return {};
        line.push_back(tree->parent);
    }
    return line;
}

std::optional<XcbFrameGrabber::Placement> XcbFrameGrabber::placement(xcb_window_t window,
                                                                     xcb_window_t enclosing)
{
    const auto ownCookie = xcb_get_geometry(connection, window);
    const auto outerCookie = xcb_get_geometry(connection, enclosing);
    const auto attributesCookie = xcb_get_window_attributes(connection, enclosing);
    const auto viewCookie = xcb_get_window_attributes(connection, window);
    const auto positionCookie = xcb_translate_coordinates(connection, window, enclosing, 0, 0);
    const auto own = xcbReply(xcb_get_geometry_reply, connection, ownCookie);
    const auto outer = xcbReply(xcb_get_geometry_reply, connection, outerCookie);
    const auto attributes = xcbReply(xcb_get_window_attributes_reply, connection, attributesCookie);
    const auto view = xcbReply(xcb_get_window_attributes_reply, connection, viewCookie);
    const auto position = xcbReply(xcb_translate_coordinates_reply, connection, positionCookie);
    if (!own || !outer || !attributes || !view || !position
        || view->map_state != XCB_MAP_STATE_VIEWABLE)
        return std::nullopt;
    return Placement { .inside = { position->dst_x + outer->border_width,
                                   position->dst_y + outer->border_width,
                                   own->width,
                                   own->height },
                       .enclosing = outerArea(*outer).size(),
                       .visual = attributes->visual };
}

bool XcbFrameGrabber::isWhollyVisible(const std::vector<xcb_window_t>& line)
{
    for (std::size_t i = 0; i + 1 < line.size(); ++i)
        if (!isWhollyVisibleIn(line.front(), line[i], line[i + 1]))
            return false;
    return true;
}

bool XcbFrameGrabber::isWhollyVisibleIn(xcb_window_t window,
                                        xcb_window_t child,
                                        xcb_window_t parent)
{
    const auto treeCookie = xcb_query_tree(connection, parent);
    const auto parentCookie = xcb_get_geometry(connection, parent);
    const auto ownCookie = xcb_get_geometry(connection, window);
    const auto positionCookie = xcb_translate_coordinates(connection, window, parent, 0, 0);
    const auto tree = xcbReply(xcb_query_tree_reply, connection, treeCookie);
    const auto outer = xcbReply(xcb_get_geometry_reply, connection, parentCookie);
    const auto own = xcbReply(xcb_get_geometry_reply, connection, ownCookie);
    const auto position = xcbReply(xcb_translate_coordinates_reply, connection, positionCookie);
    if (!tree || !outer || !own || !position)
        return false;
    const QRect area(position->dst_x, position->dst_y, own->width, own->height);
    if (!QRect(0, 0, outer->width, outer->height).contains(area))
        return false;

    // Siblings are listed from the bottom of the stack to its top.
    const xcb_window_t* siblings = xcb_query_tree_children(tree.get());
    const xcb_window_t* end = siblings + xcb_query_tree_children_length(tree.get());
    struct Question
    {
        xcb_get_window_attributes_cookie_t attributes;
        xcb_get_geometry_cookie_t geometry;
    };
    std::vector<Question> questions;
    for (const auto* above = std::find(siblings, end, child); above != end; ++above)
        if (*above != child)
            questions.push_back({ .attributes = xcb_get_window_attributes(connection, *above),
                                  .geometry = xcb_get_geometry(connection, *above) });
    bool covered = false;
    for (const Question& question : questions) {
        const auto attributes
            = xcbReply(xcb_get_window_attributes_reply, connection, question.attributes);
        const auto geometry = xcbReply(xcb_get_geometry_reply, connection, question.geometry);
        covered = covered
            || (attributes && geometry && attributes->map_state == XCB_MAP_STATE_VIEWABLE
                && attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT
                && outerArea(*geometry).intersects(area));
    }
    return !covered;
}

void XcbFrameGrabber::waitUntilPainted(xcb_window_t window)
{
    // No event tells that a program has finished drawing; what tells is that it draws no more.
    const QDeadlineTimer deadline(longestRepaint);
    const xcb_damage_damage_t damage = xcb_generate_id(connection);
    if (tellsDamage)
        xcb_damage_create(connection, damage, window, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
    auto patience = longestDelay;
    bool draws = true;
    while (draws && !deadline.hasExpired()) {
        if (tellsDamage)
            xcb_damage_subtract(connection, damage, XCB_NONE, XCB_NONE);
        const auto rest = deadline.remainingTimeAsDuration();
        draws
            = waitForEvents(std::min(patience, std::chrono::ceil<std::chrono::milliseconds>(rest)));
        patience = longestPause;
    }
}

bool XcbFrameGrabber::waitForEvents(std::chrono::milliseconds time)
{
    xcb_flush(connection);
    const auto takeAll = [this] {
        bool any = false;
        while (XcbOwned<xcb_generic_event_t>(xcb_poll_for_event(connection)))
            any = true;
        return any;
    };
    if (takeAll())
        return true;
    pollfd socket { .fd = xcb_get_file_descriptor(connection), .events = POLLIN, .revents = 0 };
    poll(&socket, 1, static_cast<int>(time.count()));
    return takeAll();
}

} // namespace quibel
