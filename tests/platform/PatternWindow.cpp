#include "tests/platform/PatternWindow.h"

#include <array>
#include <vector>

namespace quibel::testing {

namespace {

// Premultiplied; the last is for windows with alpha.
constexpr std::array<QRgb, 7> colours { 0xffff0000, 0xff00ff00, 0xff0000ff, 0xffffff00,
                                        0xff204060, 0xfff0e0d0, 0x80402010 };

std::size_t colourOf(int column, int row, bool hasAlpha)
{
    return static_cast<std::size_t>(3 * column + 5 * row + column * row)
        % (hasAlpha ? colours.size() : colours.size() - 1);
}

xcb_visualid_t visualOfDepth(const xcb_screen_t* screen, std::uint8_t wanted)
{
    for (auto depth = xcb_screen_allowed_depths_iterator(screen); depth.rem > 0;
         xcb_depth_next(&depth))
        if (depth.data->depth == wanted)
            for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem > 0;
                 xcb_visualtype_next(&visual))
                if (visual.data->_class == XCB_VISUAL_CLASS_TRUE_COLOR)
                    return visual.data->visual_id;
    return XCB_NONE;
}

} // namespace

PatternWindow::PatternWindow(const Options& options)
    : window(xcb_generate_id(x->get()))
    , hasAlpha(options.hasAlpha)
{
    constexpr std::uint8_t alphaDepth = 32;
    const auto visual
        = hasAlpha ? visualOfDepth(x->screen(), alphaDepth) : x->screen()->root_visual;
    const xcb_colormap_t map = xcb_generate_id(x->get());
    xcb_create_colormap(x->get(), XCB_COLORMAP_ALLOC_NONE, map, x->root(), visual);
    const std::array<std::uint32_t, 5> values { undrawn,
                                                0,
                                                options.managed ? 0U : 1U,
                                                XCB_EVENT_MASK_EXPOSURE
                                                    | XCB_EVENT_MASK_STRUCTURE_NOTIFY,
                                                map };
    const QRect& area = options.geometry;
    xcb_create_window(x->get(),
                      hasAlpha ? alphaDepth : x->screen()->root_depth,
                      window,
                      x->root(),
                      static_cast<std::int16_t>(area.x()),
                      static_cast<std::int16_t>(area.y()),
                      static_cast<std::uint16_t>(area.width()),
                      static_cast<std::uint16_t>(area.height()),
                      static_cast<std::uint16_t>(options.border),
                      XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT
                          | XCB_CW_EVENT_MASK | XCB_CW_COLORMAP,
                      values.data());
    std::array<std::uint32_t, 18> hints { 1 }; // Position as the user wishes, so it is kept.
    xcb_change_property(x->get(),
                        XCB_PROP_MODE_REPLACE,
                        window,
                        XCB_ATOM_WM_NORMAL_HINTS,
                        XCB_ATOM_WM_SIZE_HINTS,
                        32,
                        hints.size(),
                        hints.data());
    connect(x.get(), &XcbConnection::received, this, &PatternWindow::handle);
}

void PatternWindow::map()
{
    xcb_map_window(x->get(), window);
    sync();
}

void PatternWindow::unmap()
{
    xcb_unmap_window(x->get(), window);
    sync();
}

void PatternWindow::destroy()
{
    xcb_destroy_window(x->get(), window);
    sync();
}

void PatternWindow::resize(QSize size)
{
    const std::array<std::uint32_t, 2> values { static_cast<std::uint32_t>(size.width()),
                                                static_cast<std::uint32_t>(size.height()) };
    xcb_configure_window(
        x->get(), window, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, values.data());
    sync();
}

QImage PatternWindow::expected(QSize size, bool hasAlpha)
{
    QImage image(size, hasAlpha ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x)
            row[x] = colours.at(colourOf(x / cell, y / cell, hasAlpha));
    }
    return image;
}

void PatternWindow::handle(const xcb_generic_event_t* event)
{
    if ((event->response_type & 0x7f) != XCB_EXPOSE)
        return;
    const auto* expose = reinterpret_cast<const xcb_expose_event_t*>(event);
    draw({ expose->x, expose->y, expose->width, expose->height });
    drawn = expose->count == 0;
}

void PatternWindow::draw(QRect area)
{
    std::array<std::vector<xcb_rectangle_t>, colours.size()> cells;
    for (int row = area.top() / cell; row <= area.bottom() / cell; ++row)
        for (int column = area.left() / cell; column <= area.right() / cell; ++column)
            cells.at(colourOf(column, row, hasAlpha))
                .push_back({ .x = static_cast<std::int16_t>(column * cell),
                             .y = static_cast<std::int16_t>(row * cell),
                             .width = cell,
                             .height = cell });
    const xcb_gcontext_t context = xcb_generate_id(x->get());
    xcb_create_gc(x->get(), context, window, 0, nullptr);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        xcb_change_gc(x->get(), context, XCB_GC_FOREGROUND, &colours.at(i));
        xcb_poly_fill_rectangle(x->get(),
                                window,
                                context,
                                static_cast<std::uint32_t>(cells.at(i).size()),
                                cells.at(i).data());
    }
    xcb_free_gc(x->get(), context);
    x->flush();
}

void PatternWindow::sync()
{
    const auto reply = xcbReply(xcb_get_input_focus_reply, x->get(), xcb_get_input_focus(x->get()));
    // What came along with the reply is not announced by the socket any more.
    while (const XcbOwned<xcb_generic_event_t> event { xcb_poll_for_event(x->get()) })
        handle(event.get());
}

} // namespace quibel::testing
