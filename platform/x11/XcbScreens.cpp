#include "platform/x11/XcbScreens.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>

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

} // namespace

XcbScreens::XcbScreens(XcbConnection& connection)
    : x(connection)
    , workAreas(connection)
{
}

std::vector<Screen> XcbScreens::all()
{
    const auto known = QGuiApplication::screens();
    std::vector<QRect> frames;
    for (const QScreen* screen : known)
        frames.push_back(pixelFrameOf(*screen));
    const std::vector<QRect> free = workAreas.of(frames);
    std::vector<Screen> screens;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const QScreen& screen = *known[static_cast<qsizetype>(i)];
        screens.push_back({ .displayID = x.atom(screen.name().toUtf8()),
                            .frame = screen.geometry(),
                            .visibleFrame = pointsOf(free[i], screen),
                            .pixelFrame = frames[i] });
    }
    return screens;
}

std::optional<Screen> XcbScreens::main()
{
    // The toolkit's list begins with the primary screen.
    const std::vector<Screen> screens = all();
    return screens.empty() ? std::nullopt : std::optional(screens.front());
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

} // namespace quibel
