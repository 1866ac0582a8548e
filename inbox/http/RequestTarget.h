#pragma once

#include <QByteArray>
#include <QHash>

#include <optional>

namespace quibel::inbox {

/// What a request line asks for.
struct RequestTarget
{
    QByteArray path;                     ///< Percent escapes as they stand.
    QHash<QByteArray, QByteArray> query; ///< Names and values unescaped; the last one counts.

    bool operator==(const RequestTarget&) const = default;

    /// Reads "/path?name=value", and the same behind "http://host" as proxies send it.
    ///
    /// Errors: none for what is neither, and for an escape in the query that is not one.
    /// Source: RFC 9112, 3.2; in the query "+" is a blank, as forms send it.
    [[nodiscard]] static std::optional<RequestTarget> parse(const QByteArray& text);
};

} // namespace quibel::inbox
