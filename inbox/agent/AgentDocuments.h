#pragma once

#include "inbox/storage/BranchDocument.h"
#include "inbox/storage/ScreenshotDocument.h"

#include <QByteArray>
#include <QString>

#include <variant>

namespace quibel::inbox {

/// Why a document of the agent cannot be taken: names the field and says what it must be.
struct DocumentError
{
    QString message;
};

template <typename Document>
using Decoded = std::variant<Document, DocumentError>;

/// Reads the body of `POST api/branches/from-agent`.
///
/// A field that is missing, of another type or unknown is an error: what was answered with 201 is
/// then known to have been kept whole.
[[nodiscard]] Decoded<BranchDocument> decodeBranch(const QByteArray& body);

/// Reads the body of `POST api/branches/<id>/screenshots`, with its picture decoded.
[[nodiscard]] Decoded<ScreenshotDocument> decodeScreenshot(const QByteArray& body);

} // namespace quibel::inbox
