#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

class QJsonDocument;

namespace quibel::inbox {

/// One answer, complete.
struct HttpResponse
{
    int status = 0;
    QHash<QByteArray, QByteArray> headers {};
    QByteArray body {};

    [[nodiscard]] static HttpResponse json(int status, const QJsonDocument& document);

    /// An answer that says what to mend: `code` for programs, `message` for people.
    [[nodiscard]] static HttpResponse
    error(int status, const QString& code, const QString& message);

    [[nodiscard]] HttpResponse with(const QByteArray& header, const QByteArray& value) &&;
};

} // namespace quibel::inbox
