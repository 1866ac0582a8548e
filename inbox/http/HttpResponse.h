#pragma once

#include "inbox/http/EventStream.h"

#include <QByteArray>
#include <QHash>
#include <QString>

#include <memory>

class QJsonDocument;

namespace quibel::inbox {

/// One answer.
struct HttpResponse
{
    int status = 0;
    QHash<QByteArray, QByteArray> headers {};
    QByteArray body {};
    std::shared_ptr<EventStream> events {}; ///< Instead of the body, for as long as it goes on.
    QByteArray route {}; ///< The kind of path, without anything of its own, for logs and metrics.

    [[nodiscard]] static HttpResponse json(int status, const QJsonDocument& document);

    /// An answer that says what to mend: `code` for programs, `message` for people.
    [[nodiscard]] static HttpResponse
    error(int status, const QString& code, const QString& message);

    /// The answer to a path where nothing is.
    [[nodiscard]] static HttpResponse notFound();
    /// The answer to a method that a path does not take; `allowed` as in the header Allow.
    [[nodiscard]] static HttpResponse wrongMethod(const QByteArray& allowed);

    [[nodiscard]] HttpResponse with(const QByteArray& header, const QByteArray& value) &&;
};

} // namespace quibel::inbox
