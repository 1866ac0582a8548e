#pragma once

#include "platform/HttpSession.h"

#include <QString>
#include <QUrl>

namespace quibel {

/// `base` with `path` appended as a path component: exactly one slash between them, whether or not
/// `base` ends with one; characters that cannot stand in a path are percent-encoded.
[[nodiscard]] QUrl appendingPathComponent(const QUrl& base, const QString& path);

/// A GET of `path` with the key as bearer token and no other header.
[[nodiscard]] HttpRequest
makeGetRequest(const QUrl& base, const QString& path, const QString& apiKey);

/// A POST of a JSON document to `path` with the key as bearer token.
[[nodiscard]] HttpRequest makePostRequest(const QUrl& base,
                                          const QString& path,
                                          const QString& apiKey,
                                          const QByteArray& json);

} // namespace quibel
