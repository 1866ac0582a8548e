#include "inbox/api/JsonBody.h"

#include <QJsonDocument>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

Decoded<QJsonObject> parseJsonObject(const QByteArray& body)
{
    QJsonParseError error;
    const auto document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError)
        return DocumentError {
            u"the body is not JSON: %1 at byte %2"_s.arg(error.errorString()).arg(error.offset)
        };
    if (!document.isObject())
        return DocumentError { u"the body must be a JSON object"_s };
    return document.object();
}

} // namespace quibel::inbox
