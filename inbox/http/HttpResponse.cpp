#include "inbox/http/HttpResponse.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

HttpResponse HttpResponse::json(int status, const QJsonDocument& document)
{
    return { .status = status,
             .headers = { { "Content-Type", "application/json" },
                          { "Cache-Control", "no-store" },
                          { "X-Content-Type-Options", "nosniff" } },
             .body = document.toJson(QJsonDocument::Compact) };
}

HttpResponse HttpResponse::error(int status, const QString& code, const QString& message)
{
    const QJsonObject error { { u"code"_s, code }, { u"message"_s, message } };
    return json(status, QJsonDocument(QJsonObject { { u"error"_s, error } }));
}

HttpResponse HttpResponse::with(const QByteArray& header, const QByteArray& value) &&
{
    headers.insert(header, value);
    return std::move(*this);
}

} // namespace quibel::inbox
