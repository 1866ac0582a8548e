#include "platform/x11/XcbScreens.h"

#include "platform/x11/XcbProperty.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>
#include <QWindow>

#include <algorithm>

namespace quibel {

namespace {

QRect pixelFrameOf(const QScreen& screen)
{
    // The toolkit leaves the origin of a screen where the window system has it and scales its size.
    const QRect frame = screen.geometry();
    return { frame.topLeft(), (QSizeF(frame.size()) * screen.devicePixelRatio()).toSize() };
}

QRect pointsOf(const QRect& pixels, const QScreen& screen)
{
    const QPoint origin = screen.geometry().topLeft();
    const double scale = screen.devicePixelRatio();
    const QRectF points((QPointF(pixels.topLeft() - origin) / scale) + origin,
                        QSizeF(pixels.size()) / scale);
    return points.toRect();
}

/// The point that holds this pixel.
QPoint pointOf(QPoint pixel, const QScreen& screen)
{
    const QPoint origin = screen.geometry().topLeft();
    const QPointF points = QPointF(pixel - origin) / screen.devicePixelRatio();
    return origin + QPoint(static_cast<int>(points.x()), static_cast<int>(points.y()));
}

/// The rectangle that a strut reserves along an edge of the root window.
///
/// Source: EWMH, _NET_WM_STRUT_PARTIAL: left, right, top, bottom, then the two ends of each.
std::vector<QRect> reservedBy(const std::vector<std::uint32_t>& strut, QSize root)
{
    if (strut.size() != 12)
        return {};
    const auto at = [&](std::size_t index) { return static_cast<int>(strut[index]); };
    const int right = root.width() - 1;
    const int bottom = root.height() - 1;
    return { QRect(QPoint(0, at(4)), QPoint(at(0) - 1, at(5))),
             QRect(QPoint(right - at(1) + 1, at(6)), QPoint(right, at(7))),
             QRect(QPoint(at(8), 0), QPoint(at(9), at(2) - 1)),
             QRect(QPoint(at(10), bottom - at(3) + 1), QPoint(at(11), bottom)) };
}

/// `area` without the edge along which `reserved` lies.
QRect without(QRect area, const QRect& reserved)
{
    const QRect common = area & reserved;
    if (common.isEmpty())
        return area;
    if (common.width() > common.height()) {
        if (common.top() == area.top())
            area.setTop(common.bottom() + 1);
        else if (common.bottom() == area.bottom())
            area.setBottom(common.top() - 1);
    } else if (common.left() == area.left()) {
        area.setLeft(common.right() + 1);
    } else if (common.right() == area.right()) {
        area.setRight(common.left() - 1);
    }
    return area;
}

} // namespace

XcbScreens::XcbScreens(XcbConnection& connection)
    : x(connection)
{
}

std::vector<Screen> XcbScreens::all()
{
    std::vector<Screen> screens;
    const auto known = QGuiApplication::screens();
    for (const QScreen* screen : known)
        screens.push_back(describe(*screen));
    return screens;
}

std::optional<Screen> XcbScreens::main()
{
    const QScreen* primary = QGuiApplication::primaryScreen();
    return primary != nullptr ? std::optional(describe(*primary)) : std::nullopt;
}

std::optional<Screen> XcbScreens::ofKeyWindow()
{
    const QWindow* window = QGuiApplication::focusWindow();
    return window != nullptr && window->screen() != nullptr
        ? std::optional(describe(*window->screen()))
        : std::nullopt;
}

QPoint XcbScreens::pointerLocation()
{
    const auto pointer
        = xcbReply(xcb_query_pointer_reply, x.get(), xcb_query_pointer(x.get(), x.root()));
    if (!pointer)
        return QCursor::pos();
    // The toolkit rounds: at two pixels to the point, its pointer at an edge is beside the screen.
    const QPoint pixels(pointer->root_x, pointer->root_y);
    const auto known = QGuiApplication::screens();
    const auto holder = std::ranges::find_if(
        known, [&](const QScreen* screen) { return pixelFrameOf(*screen).contains(pixels); });
    return holder == known.end() ? QCursor::pos() : pointOf(pixels, **holder);
}

Screen XcbScreens::describe(const QScreen& screen)
{
    const QRect pixels = pixelFrameOf(screen);
    return { .displayID = x.atom(screen.name().toUtf8()),
             .frame = screen.geometry(),
             .visibleFrame = pointsOf(unreserved(pixels), screen),
             .pixelFrame = pixels };
}

QRect XcbScreens::unreserved(const QRect& area)
{
    // The work area is one rectangle for all screens together, which says nothing about each of
    // them as soon as there are several.
    if (QGuiApplication::screens().size() == 1) {
        const QRect common = area & workArea().value_or(area);
        return common.isEmpty() ? area : common;
    }
    QRect left = area;
    for (const QRect& reserved : struts())
        left = without(left, reserved);
    return left.isEmpty() ? area : left;
}

std::optional<QRect> XcbScreens::workArea()
{
    const auto areas = askProperty(x.get(), x.root(), x.atom("_NET_WORKAREA"));
    const auto desktop = askProperty(x.get(), x.root(), x.atom("_NET_CURRENT_DESKTOP"));
    const std::vector<std::uint32_t> values = XcbProperty(x.get(), areas).values();
    if (values.size() < 4)
        return std::nullopt;
    // Some window managers tell one area for all desktops.
    const std::size_t wanted
        = std::size_t { 4 } * XcbProperty(x.get(), desktop).firstValue().value_or(0);
    const std::size_t first = values.size() < wanted + 4 ? 0 : wanted;
    const auto at = [&](std::size_t index) { return static_cast<int>(values[first + index]); };
    return QRect(at(0), at(1), at(2), at(3));
}

std::vector<QRect> XcbScreens::struts()
{
    const auto list = askProperty(x.get(), x.root(), x.atom("_NET_CLIENT_LIST"));
    const xcb_atom_t strut = x.atom("_NET_WM_STRUT_PARTIAL");
    std::vector<xcb_get_property_cookie_t> questions;
    for (const xcb_window_t window : XcbProperty(x.get(), list).values())
        questions.push_back(askProperty(x.get(), window, strut));

    // Not the size that the connection began with: monitors come and go.
    QRect desktop;
    const auto screens = QGuiApplication::screens();
    for (const QScreen* screen : screens)
        desktop |= pixelFrameOf(*screen);
    std::vector<QRect> reserved;
    for (const auto question : questions)
        std::ranges::copy(reservedBy(XcbProperty(x.get(), question).values(), desktop.size()),
                          std::back_inserter(reserved));
    return reserved;
}

} // namespace quibel
