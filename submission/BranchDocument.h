#pragma once

#include "capture/CaptureContext.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <optional>

namespace quibel {

/// The JSON document of one branch, compact.
///
/// `text` goes out as it is; the title is made of its first words. A placeholder project (`isMock`)
/// has no id for the service.
///
/// Errors: none when a text is not valid Unicode.
[[nodiscard]] std::optional<QByteArray> buildBranchDocument(const QString& text,
                                                            const CaptureContext& context,
                                                            const QString& projectID,
                                                            bool isMock,
                                                            const QDateTime& capturedAt);

} // namespace quibel
