#pragma once

#include <QByteArray>
#include <QHash>

namespace quibel::inbox {

/// One request as it came in, complete.
struct HttpRequest
{
    QByteArray method; ///< HEAD arrives as GET: its answer is the same, without the body.
    QByteArray path;   ///< From the first slash, without the query, percent escapes as they stand.
    QHash<QByteArray, QByteArray> headers; ///< Names in lower case.
    QByteArray body;
    bool bodyOverLimit = false; ///< The body was longer than is taken; `body` is empty.
};

} // namespace quibel::inbox
