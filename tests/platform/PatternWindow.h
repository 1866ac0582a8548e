#pragma once

#include "platform/x11/XcbConnection.h"

#include <QColor>
#include <QImage>
#include <QObject>
#include <QRect>

namespace quibel::testing {

/// A window of another program that draws a pattern, anew whenever it is asked to, and otherwise
/// shows the colour that nobody drew on.
///
/// Thread: the one that made it, whose event loop draws.
class PatternWindow : public QObject
{
public:
    struct Options
    {
        QRect geometry { 100, 100, 300, 200 };
        bool managed = false; ///< By the window manager, which then draws a frame.
        bool hasAlpha = false;
        int border = 0;
    };

    static constexpr QRgb undrawn = 0xff123456;
    static constexpr int cell = 32; ///< Pixels of the pattern that have one colour.

    explicit PatternWindow(const Options& options);

    void map();
    void unmap();
    void destroy();
    void resize(QSize size);
    /// Whether it is on screen and has sent the drawing of all that it was asked for.
    [[nodiscard]] bool isDrawn() const { return drawn; }
    /// Waits until the server has done all that it was sent.
    void sync();

    [[nodiscard]] xcb_window_t id() const { return window; }
    [[nodiscard]] xcb_connection_t* connection() const { return x->get(); }

    /// What a picture of a window of that size must be.
    [[nodiscard]] static QImage expected(QSize size, bool hasAlpha = false);

private:
    void handle(const xcb_generic_event_t* event);
    void draw(QRect area);

    std::unique_ptr<XcbConnection> x = XcbConnection::open();
    xcb_window_t window = XCB_WINDOW_NONE;
    bool hasAlpha = false;
    bool drawn = false;
};

} // namespace quibel::testing
