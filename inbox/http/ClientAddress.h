#pragma once

#include <QByteArray>

struct sockaddr;

namespace quibel::inbox {

/// Who is at the other end of a connection.
struct ClientAddress
{
    QByteArray text; ///< Numeric, without the port.
    bool isThisMachine = false;

    /// Source: an IPv4 client of an IPv6 socket has its own form, RFC 4291, 2.5.5.2.
    [[nodiscard]] static ClientAddress of(const sockaddr& name);
    /// Reads a numeric address; nothing when it is none.
    [[nodiscard]] static ClientAddress parse(const QByteArray& text);
};

} // namespace quibel::inbox
