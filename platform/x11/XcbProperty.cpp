#include "platform/x11/XcbProperty.h"

#include <QStringDecoder>

#include <algorithm>

namespace quibel {

namespace {

constexpr std::uint32_t limitInWords = 4096;
constexpr char escape = '\x1b';

} // namespace

xcb_get_property_cookie_t
askProperty(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t property)
{
    return xcb_get_property(
        connection, 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, limitInWords);
}

XcbProperty::XcbProperty(xcb_connection_t* connection, xcb_get_property_cookie_t cookie)
    : reply(xcbReply(xcb_get_property_reply, connection, cookie))
{
}

bool XcbProperty::exists() const
{
    return reply && reply->type != XCB_ATOM_NONE;
}

std::vector<std::uint32_t> XcbProperty::values() const
{
    if (!exists() || reply->format != 32)
        return {};
    const auto* first = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    return { first, first + reply->value_len };
}

std::optional<std::uint32_t> XcbProperty::firstValue() const
{
    const auto all = values();
    return all.empty() ? std::nullopt : std::optional(all.front());
}

bool XcbProperty::contains(std::uint32_t value) const
{
    const auto all = values();
    return std::ranges::find(all, value) != all.end();
}

std::vector<int> XcbProperty::pixels() const
{
    std::vector<int> pixels;
    for (const std::uint32_t value : values())
        pixels.push_back(static_cast<int>(std::min<std::uint32_t>(value, 0xFFFF)));
    return pixels;
}

std::optional<QByteArray> XcbProperty::bytes() const
{
    if (!exists() || reply->format != 8)
        return std::nullopt;
    return QByteArray(static_cast<const char*>(xcb_get_property_value(reply.get())),
                      xcb_get_property_value_length(reply.get()));
}

std::optional<QString> XcbProperty::text() const
{
    const auto all = bytes();
    if (!all || all->contains(escape))
        return std::nullopt;
    const auto nul = all->indexOf('\0');
    const QByteArray text = nul < 0 ? *all : all->first(nul);
    if (reply->type == XCB_ATOM_STRING)
        return QString::fromLatin1(text);
    // Compound text that never switches its character set is Latin-1 as well.
    QStringDecoder fromUtf8(QStringDecoder::Utf8);
    QString decoded = fromUtf8(text);
    return fromUtf8.hasError() ? QString::fromLatin1(text) : decoded;
}

} // namespace quibel
