#pragma once

#include "inbox/api/JsonBody.h"
#include "inbox/storage/BranchDocument.h"
#include "inbox/storage/ScreenshotDocument.h"

namespace quibel::inbox {

/// Reads the body of `POST api/branches/from-agent`.
///
/// A field that is missing, of another type or unknown is an error: what was answered with 201 is
/// then known to have been kept whole.
[[nodiscard]] Decoded<BranchDocument> decodeBranch(const QByteArray& body);

/// Reads the body of `POST api/branches/<id>/screenshots`, with its picture decoded.
[[nodiscard]] Decoded<ScreenshotDocument> decodeScreenshot(const QByteArray& body);

} // namespace quibel::inbox
