#pragma once

#include "platform/x11/Xcb.h"

#include <QImage>
#include <QRect>

namespace quibel {

/// Where pixels are read from.
struct XcbImageSource
{
    xcb_drawable_t drawable = XCB_NONE;
    xcb_visualid_t visual = XCB_NONE; ///< Of the window that the drawable is or belongs to.
    QRect area;                       ///< Pixels of the drawable.
};

/// Reads pixels into an image of 32 bits a pixel (RGB32, or ARGB32_Premultiplied where the visual
/// has alpha): through memory shared with the server where the server is on this machine, else over
/// the connection. The image owns what it was read into; nothing is copied.
///
/// Errors: a null image when the drawable is gone, the area is not inside it, or its visual is not
/// one of red, green and blue in this machine's byte order.
[[nodiscard]] QImage readImage(xcb_connection_t* connection, const XcbImageSource& source);

} // namespace quibel
