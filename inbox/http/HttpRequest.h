#pragma once

#include <QByteArray>
#include <QHash>

namespace quibel::inbox {

/// One request as it came in, complete.
struct HttpRequest
{
    QByteArray method; ///< HEAD arrives as GET: its answer is the same, without the body.
    QByteArray path;   ///< From the first slash, without the query, percent escapes as they stand.
    QHash<QByteArray, QByteArray> query;   ///< Names and values unescaped; the last one counts.
    QHash<QByteArray, QByteArray> headers; ///< Names in lower case.
    QByteArray body;
    bool bodyOverLimit = false; ///< The body was longer than is taken; `body` is empty.
    QByteArray client; ///< Address of the client, as text; behind a proxy the one it names.
    bool clientIsLocal = false; ///< The client is on this machine, and no proxy is in between.
    bool isSecure = false;      ///< It came over TLS, to here or to the proxy.

    /// The value of a cookie; none when it was not sent.
    [[nodiscard]] QByteArray cookie(const QByteArray& name) const;
};

} // namespace quibel::inbox
