#include "platform/x11/XcbWindowList.h"

#include <algorithm>

namespace quibel {

namespace {

constexpr int ordinaryLayer = 0;
constexpr int floatingLayer = 3;
constexpr int backLayer = -1;

bool contains(const std::vector<xcb_atom_t>& atoms, xcb_atom_t atom)
{
    return std::ranges::find(atoms, atom) != atoms.end();
}

} // namespace

XcbWindowList::XcbWindowList(XcbConnection& connection)
    : x(connection)
    , owners(connection)
{
    const auto type
        = [&](const char* name) { return x.atom(QByteArray("_NET_WM_WINDOW_TYPE_") + name); };
    atoms = { .clientListStacking = x.atom("_NET_CLIENT_LIST_STACKING"),
              .clientList = x.atom("_NET_CLIENT_LIST"),
              .supportingWmCheck = x.atom("_NET_SUPPORTING_WM_CHECK"),
              .currentDesktop = x.atom("_NET_CURRENT_DESKTOP"),
              .desktop = x.atom("_NET_WM_DESKTOP"),
              .name = x.atom("_NET_WM_NAME"),
              .state = x.atom("_NET_WM_STATE"),
              .hidden = x.atom("_NET_WM_STATE_HIDDEN"),
              .above = x.atom("_NET_WM_STATE_ABOVE"),
              .below = x.atom("_NET_WM_STATE_BELOW"),
              .type = x.atom("_NET_WM_WINDOW_TYPE"),
              .ordinaryTypes = { type("NORMAL"), type("DIALOG"), type("UTILITY") },
              .desktopTypes = { type("DESKTOP"), type("DOCK") },
              .floatingTypes
              = { type("TOOLBAR"), type("MENU"), type("SPLASH"), type("NOTIFICATION") } };
}

std::optional<std::vector<XcbListedWindow>> XcbWindowList::onScreen()
{
    const auto found = candidates();
    if (!found)
        return std::nullopt;
    std::vector<Question> questions;
    for (const xcb_window_t window : found->frontToBack)
        questions.push_back(ask(window));
    const auto processes = owners.answer(owners.ask(found->frontToBack));

    std::vector<XcbListedWindow> listed;
    for (std::size_t i = 0; i < questions.size(); ++i)
        if (auto window = answer(questions[i], found->currentDesktop)) {
            window->ownerProcess = processes[i];
            listed.push_back(*std::move(window));
        }
    return listed;
}

std::optional<XcbWindowList::Candidates> XcbWindowList::candidates()
{
    const auto stackCookie = askProperty(x.get(), x.root(), atoms.clientListStacking);
    const auto listCookie = askProperty(x.get(), x.root(), atoms.clientList);
    const auto managerCookie = askProperty(x.get(), x.root(), atoms.supportingWmCheck);
    const auto desktopCookie = askProperty(x.get(), x.root(), atoms.currentDesktop);
    const auto treeCookie = xcb_query_tree(x.get(), x.root());
    const XcbProperty stack(x.get(), stackCookie);
    const XcbProperty list(x.get(), listCookie);
    const XcbProperty manager(x.get(), managerCookie);
    const XcbProperty desktop(x.get(), desktopCookie);
    const auto tree = xcbReply(xcb_query_tree_reply, x.get(), treeCookie);
    if (!tree)
        return std::nullopt;

    // Some window managers list their windows only in the order in which they came.
    Candidates found { .frontToBack = stack.exists() ? stack.values() : list.values(),
                       .currentDesktop = desktop.firstValue() };
    if (!manager.exists()) {
        const auto* children = xcb_query_tree_children(tree.get());
        found.frontToBack.assign(children, children + xcb_query_tree_children_length(tree.get()));
    }
    std::ranges::reverse(found.frontToBack);
    return found;
}

XcbWindowList::Question XcbWindowList::ask(xcb_window_t window)
{
    xcb_connection_t* c = x.get();
    return { .window = window,
             .attributes = xcb_get_window_attributes(c, window),
             .geometry = xcb_get_geometry(c, window),
             .position = xcb_translate_coordinates(c, window, x.root(), 0, 0),
             .type = askProperty(c, window, atoms.type),
             .state = askProperty(c, window, atoms.state),
             .desktop = askProperty(c, window, atoms.desktop),
             .netName = askProperty(c, window, atoms.name),
             .name = askProperty(c, window, XCB_ATOM_WM_NAME) };
}

std::optional<XcbListedWindow> XcbWindowList::answer(const Question& question,
                                                     std::optional<std::uint32_t> currentDesktop)
{
    xcb_connection_t* c = x.get();
    const auto attributes = xcbReply(xcb_get_window_attributes_reply, c, question.attributes);
    const auto geometry = xcbReply(xcb_get_geometry_reply, c, question.geometry);
    const auto position = xcbReply(xcb_translate_coordinates_reply, c, question.position);
    const XcbProperty type(c, question.type);
    const XcbProperty state(c, question.state);
    const auto desktop = XcbProperty(c, question.desktop).firstValue();
    const auto netName = XcbProperty(c, question.netName).text();
    const auto name = XcbProperty(c, question.name).text();

    if (!attributes || !geometry || !position || attributes->map_state != XCB_MAP_STATE_VIEWABLE
        || attributes->override_redirect != 0 || attributes->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT
        || state.contains(atoms.hidden))
        return std::nullopt;
    if (desktop && currentDesktop && *desktop != *currentDesktop && *desktop != everyDesktop)
        return std::nullopt;
    const auto layer = layerOf(type, state);
    if (!layer)
        return std::nullopt;
    return XcbListedWindow {
        .window = question.window,
        .ownerProcess = std::nullopt,
        .name = netName && !netName->isEmpty() ? netName : name,
        .layer = *layer,
        .bounds = QRect(position->dst_x, position->dst_y, geometry->width, geometry->height)
    };
}

std::optional<int> XcbWindowList::layerOf(const XcbProperty& type, const XcbProperty& state) const
{
    const auto known = [&](xcb_atom_t atom) {
        return contains(atoms.ordinaryTypes, atom) || contains(atoms.desktopTypes, atom)
            || contains(atoms.floatingTypes, atom);
    };
    const auto types = type.values();
    const auto first = std::ranges::find_if(types, known);
    if (first != types.end() && contains(atoms.desktopTypes, *first))
        return std::nullopt;
    if (state.contains(atoms.below))
        return backLayer;
    const bool floats = first != types.end() && contains(atoms.floatingTypes, *first);
    return floats || state.contains(atoms.above) ? floatingLayer : ordinaryLayer;
}

} // namespace quibel
