#include "bench/agent/WatchedWindows.h"

#include <algorithm>
#include <array>

namespace quibel::bench {

namespace {

constexpr int columns = 64;

/// Whether the rectangles cover all of a window, on a raster of so many columns and rows.
bool cover(const std::vector<WatchedWindows::Paint>& paints,
           std::size_t count,
           xcb_rectangle_t window)
{
    for (int row = 0; row < columns; ++row)
        for (int column = 0; column < columns; ++column) {
            const int x = (2 * column + 1) * window.width / (2 * columns);
            const int y = (2 * row + 1) * window.height / (2 * columns);
            const bool painted = std::any_of(paints.begin(),
                                             paints.begin() + static_cast<std::ptrdiff_t>(count),
                                             [&](const WatchedWindows::Paint& paint) {
                                                 const xcb_rectangle_t& area = paint.area;
                                                 return x >= area.x && x < area.x + area.width
                                                     && y >= area.y && y < area.y + area.height;
                                             });
            if (!painted)
                return false;
        }
    return true;
}

xcb_visualid_t visualOf(xcb_connection_t* connection, xcb_window_t window)
{
    const auto attributes = xcbReply(
        xcb_get_window_attributes_reply, connection, xcb_get_window_attributes(connection, window));
    return attributes ? attributes->visual : xcb_visualid_t {};
}

} // namespace

std::optional<Clock::time_point> WatchedWindows::Window::covered() const
{
    const auto first = paints.begin() + (filledWhenMapped && !paints.empty() ? 1 : 0);
    const std::vector<Paint> own(first, paints.end());
    for (std::size_t count = 1; count <= own.size(); ++count)
        if (cover(own, count, geometry))
            return own[count - 1].time;
    return std::nullopt;
}

WatchedWindows::WatchedWindows(xcb_connection_t* connection, xcb_window_t root, xcb_window_t own)
    : x(connection)
    , rootWindow(root)
    , rootVisual(visualOf(connection, root))
    , ownWindow(own)
    , damageEvent(xcb_get_extension_data(connection, &xcb_damage_id)->first_event)
{
    const auto version
        = xcbReply(xcb_damage_query_version_reply,
                   x,
                   xcb_damage_query_version(x, XCB_DAMAGE_MAJOR_VERSION, XCB_DAMAGE_MINOR_VERSION));
    const std::array<std::uint32_t, 1> mask { XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY
                                              | XCB_EVENT_MASK_FOCUS_CHANGE };
    xcb_change_window_attributes(x, root, XCB_CW_EVENT_MASK, mask.data());
    const auto tree = xcbReply(xcb_query_tree_reply, x, xcb_query_tree(x, root));
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i)
        watch(children[i]);
    xcb_flush(x);
}

void WatchedWindows::handle(const xcb_generic_event_t& event)
{
    const auto now = Clock::now();
    const int type = event.response_type & 0x7F;
    if (type == XCB_CREATE_NOTIFY)
        watch(eventAs<xcb_create_notify_event_t>(&event).window);
    else if (type == XCB_DESTROY_NOTIFY) {
        if (Window* window = find(eventAs<xcb_destroy_notify_event_t>(&event).window))
            window->unmapped = now;
    } else if (type == XCB_MAP_NOTIFY) {
        if (Window* window = find(eventAs<xcb_map_notify_event_t>(&event).window);
            window != nullptr && !window->mapped)
            window->mapped = now;
    } else if (type == XCB_UNMAP_NOTIFY) {
        if (Window* window = find(eventAs<xcb_unmap_notify_event_t>(&event).window))
            window->unmapped = now;
    } else if (type == XCB_FOCUS_IN) {
        handleFocus(eventAs<xcb_focus_in_event_t>(&event), now);
    } else if (type == damageEvent + XCB_DAMAGE_NOTIFY) {
        const auto& damage = eventAs<xcb_damage_notify_event_t>(&event);
        if (Window* window = find(damage.drawable)) {
            window->geometry = damage.geometry;
            window->paints.push_back({ .time = now, .area = damage.area });
        }
    }
}

void WatchedWindows::handleFocus(const xcb_focus_in_event_t& focus, Clock::time_point now)
{
    if (focus.event == rootWindow && focus.mode == XCB_NOTIFY_MODE_GRAB)
        grabs.push_back(now);
    Window* window = find(focus.event);
    if (window != nullptr && !window->keyboard && focus.detail != XCB_NOTIFY_DETAIL_POINTER)
        window->keyboard = now;
}

void WatchedWindows::forget()
{
    grabs.clear();
    for (auto& [id, window] : windows)
        window = { .damage = window.damage,
                   .filledWhenMapped = window.filledWhenMapped,
                   .geometry = window.geometry };
}

const WatchedWindows::Window* WatchedWindows::withKeyboard()
{
    Window* painted = nullptr;
    for (auto& [id, window] : windows)
        if (window.mapped && !window.paints.empty()) {
            if (window.keyboard)
                return &window;
            painted = &window;
        }
    // The first grab is that of the hot key itself.
    if (painted == nullptr || grabs.size() < 2)
        return nullptr;
    painted->keyboard = grabs.back();
    return painted;
}

void WatchedWindows::watch(xcb_window_t id)
{
    if (id == ownWindow)
        return;
    const std::array<std::uint32_t, 1> mask { XCB_EVENT_MASK_FOCUS_CHANGE
                                              | XCB_EVENT_MASK_STRUCTURE_NOTIFY };
    xcb_change_window_attributes(x, id, XCB_CW_EVENT_MASK, mask.data());
    Window window { .damage = xcb_generate_id(x),
                    .filledWhenMapped = visualOf(x, id) != rootVisual };
    xcb_damage_create(x, window.damage, id, XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
    xcb_flush(x);
    // A program that comes after another is given the same numbers for its windows.
    windows.insert_or_assign(id, std::move(window));
}

WatchedWindows::Window* WatchedWindows::find(xcb_window_t id)
{
    const auto found = windows.find(id);
    return found == windows.end() ? nullptr : &found->second;
}

} // namespace quibel::bench
