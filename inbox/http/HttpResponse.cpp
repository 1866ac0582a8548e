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

HttpResponse HttpResponse::notFound()
{
    return error(404, u"not_found"_s, u"there is nothing at this path; check the base URL"_s);
}

HttpResponse HttpResponse::wrongMethod(const QByteArray& allowed)
{
    return error(405,
                 u"method_not_allowed"_s,
                 u"this path takes %1"_s.arg(QString::fromLatin1(allowed)))
        .with("Allow", allowed);
}

HttpResponse HttpResponse::with(const QByteArray& header, const QByteArray& value) &&
{
    headers.insert(header, value);
    return std::move(*this);
}

} // namespace quibel::inbox
