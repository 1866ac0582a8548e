#pragma once

#include "inbox/api/JsonFields.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <optional>
#include <variant>

namespace quibel::inbox {

/// Why a document cannot be taken: names the field and says what it must be.
struct DocumentError
{
    QString message;
};

template <typename Document>
using Decoded = std::variant<Document, DocumentError>;

/// The one JSON object that a body must be.
[[nodiscard]] Decoded<QJsonObject> parseJsonObject(const QByteArray& body);

/// Reads a body field by field, and nothing of it when anything is wrong.
template <typename Document>
[[nodiscard]] Decoded<Document> decodeJson(const QByteArray& body, Document (*read)(JsonFields&))
{
    const auto parsed = parseJsonObject(body);
    if (const auto* error = std::get_if<DocumentError>(&parsed))
        return *error;
    std::optional<QString> problem;
    JsonFields fields(std::get<QJsonObject>(parsed), {}, problem);
    auto document = read(fields);
    if (problem)
        return DocumentError { *problem };
    return document;
}

} // namespace quibel::inbox
