#include "platform/x11/XcbDocks.h"

#include "platform/x11/XcbWindowList.h"

#include <algorithm>

namespace quibel {

namespace {

/// `strut` is left, right, top, bottom, then the two ends of each along its edge.
std::vector<XcbStrut> sidesOf(const std::vector<int>& strut, QSize desktop)
{
    // Some docks give the pixel after their last one as their end.
    const auto last = [&](std::size_t end) { return std::max(strut[end], strut[end + 1] - 1); };
    const auto column = [&](int x, std::size_t end) {
        return QRect(QPoint(x, strut[end]), QPoint(x, last(end)));
    };
    const auto row = [&](int y, std::size_t end) {
        return QRect(QPoint(strut[end], y), QPoint(last(end), y));
    };
    std::vector<XcbStrut> sides;
    if (strut[0] > 0)
        sides.push_back({ Qt::LeftEdge, column(strut[0] - 1, 4) });
    if (strut[1] > 0)
        sides.push_back({ Qt::RightEdge, column(desktop.width() - strut[1], 6) });
    if (strut[2] > 0)
        sides.push_back({ Qt::TopEdge, row(strut[2] - 1, 8) });
    if (strut[3] > 0)
        sides.push_back({ Qt::BottomEdge, row(desktop.height() - strut[3], 10) });
    return sides;
}

} // namespace

XcbDocks::XcbDocks(XcbConnection& connection)
    : x(connection)
{
}

std::vector<XcbStrut> XcbDocks::struts(std::uint32_t desktop)
{
    struct Question
    {
        xcb_window_t window;
        xcb_get_property_cookie_t partial;
        xcb_get_property_cookie_t simple;
        xcb_get_property_cookie_t desktop;
    };
    const auto listQuestion = askProperty(x.get(), x.root(), x.atom("_NET_CLIENT_LIST"));
    // Not the size that the connection began with: monitors come and go.
    const auto sizeQuestion = xcb_get_geometry(x.get(), x.root());
    std::vector<Question> questions;
    for (const xcb_window_t window : XcbProperty(x.get(), listQuestion).values())
        questions.push_back(
            { .window = window,
              .partial = askProperty(x.get(), window, x.atom("_NET_WM_STRUT_PARTIAL")),
              .simple = askProperty(x.get(), window, x.atom("_NET_WM_STRUT")),
              .desktop = askProperty(x.get(), window, x.atom("_NET_WM_DESKTOP")) });
    const auto size = xcbReply(xcb_get_geometry_reply, x.get(), sizeQuestion);

    std::vector<XcbStrut> found;
    for (const Question& question : questions) {
        auto strut = XcbProperty(x.get(), question.partial).pixels();
        const auto simple = XcbProperty(x.get(), question.simple).pixels();
        const auto home = XcbProperty(x.get(), question.desktop).firstValue();
        if (strut.size() != 12 && simple.size() == 4)
            strut = partialStrut(question.window, simple);
        const bool isHere = !home || *home == desktop || *home == everyDesktop;
        if (isHere && size && strut.size() == 12)
            std::ranges::copy(sidesOf(strut, { size->width, size->height }),
                              std::back_inserter(found));
    }
    return found;
}

std::vector<int> XcbDocks::partialStrut(xcb_window_t window, std::vector<int> depths)
{
    const auto sizeQuestion = xcb_get_geometry(x.get(), window);
    const auto placeQuestion = xcb_translate_coordinates(x.get(), window, x.root(), 0, 0);
    const auto size = xcbReply(xcb_get_geometry_reply, x.get(), sizeQuestion);
    const auto place = xcbReply(xcb_translate_coordinates_reply, x.get(), placeQuestion);
    if (!size || !place)
        return {};
    const QRect dock(place->dst_x, place->dst_y, size->width, size->height);
    const std::initializer_list<int> vertical { dock.top(), dock.bottom() };
    const std::initializer_list<int> horizontal { dock.left(), dock.right() };
    for (const auto& ends : { vertical, vertical, horizontal, horizontal })
        depths.insert(depths.end(), ends);
    return depths;
}

QRect without(const std::vector<XcbStrut>& struts, const QRect& screen)
{
    QRect free = screen;
    for (const XcbStrut& strut : struts) {
        // Measured from the edge of the desktop, a strut runs across all screens on the way to its
        // dock, which is at the inner end.
        const QRect& dock = strut.innermost;
        if (!dock.intersects(screen))
            continue;
        if (strut.edge == Qt::LeftEdge)
            free.setLeft(std::max(free.left(), dock.right() + 1));
        else if (strut.edge == Qt::RightEdge)
            free.setRight(std::min(free.right(), dock.left() - 1));
        else if (strut.edge == Qt::TopEdge)
            free.setTop(std::max(free.top(), dock.bottom() + 1));
        else
            free.setBottom(std::min(free.bottom(), dock.top() - 1));
    }
    return free.isEmpty() ? screen : free;
}

} // namespace quibel
