#pragma once

#include "platform/x11/Xcb.h"

#include <QString>

#include <optional>
#include <vector>

namespace quibel {

/// Sends for a property of a window. The answer holds at most 16 KiB of it.
[[nodiscard]] xcb_get_property_cookie_t
askProperty(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t property);

/// A property as the server gave it; a window that is gone has none.
class XcbProperty
{
public:
    /// Waits for the answer to `askProperty`.
    XcbProperty(xcb_connection_t* connection, xcb_get_property_cookie_t cookie);

    [[nodiscard]] bool exists() const;

    /// The elements of a list of atoms, windows or numbers; empty for any other property.
    [[nodiscard]] std::vector<std::uint32_t> values() const;
    [[nodiscard]] std::optional<std::uint32_t> firstValue() const;
    [[nodiscard]] bool contains(std::uint32_t value) const;
    /// The elements of a list of lengths and coordinates, none larger than the 16 bits that X11 has
    /// for them, so that sums cannot overflow; empty for any other property.
    [[nodiscard]] std::vector<int> pixels() const;

    /// The bytes of a text; none for any other property.
    [[nodiscard]] std::optional<QByteArray> bytes() const;
    /// The text up to its first NUL: Latin-1 for the type STRING, else UTF-8 where it is that.
    ///
    /// Errors: none for any other property, and for text that switches character sets on the way.
    [[nodiscard]] std::optional<QString> text() const;

private:
    XcbOwned<xcb_get_property_reply_t> reply;
};

} // namespace quibel
