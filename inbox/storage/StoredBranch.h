#pragma once

#include "inbox/storage/BranchDocument.h"

#include <QList>
#include <QString>

#include <optional>

namespace quibel::inbox {

struct StoredScreenshot
{
    QString id;
    QString sha256; ///< Of the picture, in hexadecimal digits; equal pictures are kept once.
    int width = 0;  ///< In pixels.
    int height = 0; ///< In pixels.
    qint64 byteSize = 0;
    QString captureType;
    QString capturedAt;

    bool operator==(const StoredScreenshot&) const = default;
};

/// A branch as it was sent, and what the service knows of it besides.
struct StoredBranch
{
    QString id;
    qint64 number = 0;       ///< Grows with every branch that arrives.
    BranchDocument document; ///< Its project is the one that the branch is in now.
    std::optional<QString> projectName;
    QString receivedAt; ///< UTC with milliseconds, as in 2026-11-15T22:24:38.120Z.
    bool done = false;
    bool deleted = false;                ///< Until it is purged this can be undone.
    bool likelyDouble = false;           ///< Another branch has the same content and capture time.
    QList<StoredScreenshot> screenshots; ///< In the order of their arrival.
};

} // namespace quibel::inbox
