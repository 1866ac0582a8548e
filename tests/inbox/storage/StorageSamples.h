#pragma once

#include "inbox/storage/BranchDocument.h"
#include "inbox/storage/Database.h"
#include "inbox/storage/ScreenshotDocument.h"
#include "inbox/storage/Storage.h"

#include <QTest>

#include <memory>

namespace quibel::inbox::testing {

using namespace Qt::StringLiterals;

/// The value of a result that must be there; an empty one, and a failed test, otherwise.
template <typename Value>
Value value(const StorageResult<Value>& result)
{
    if (const auto* error = std::get_if<StorageError>(&result)) {
        QTest::qFail(qPrintable(error->reason), __FILE__, __LINE__);
        return {};
    }
    return std::get<Value>(result);
}

/// The error of a result that must be one.
template <typename Value>
StorageError failure(const StorageResult<Value>& result)
{
    if (const auto* error = std::get_if<StorageError>(&result))
        return *error;
    QTest::qFail("there is no error", __FILE__, __LINE__);
    return {};
}

inline std::unique_ptr<Database> openDatabase(const DatabaseLocation& location)
{
    auto result = Database::open(location);
    if (const auto* error = std::get_if<StorageError>(&result)) {
        QTest::qFail(qPrintable(error->reason), __FILE__, __LINE__);
        return {};
    }
    return std::move(std::get<std::unique_ptr<Database>>(result));
}

inline BranchDocument sampleDocument(const QString& text)
{
    return { .title = text,
             .summary = u"s"_s,
             .whyForked = u"w"_s,
             .capturedText = text,
             .appName = u""_s,
             .bundleID = {},
             .capturedAt = u"2026-11-15T22:24:38Z"_s };
}

inline ScreenshotDocument sampleShot(const QString& branchID, const QByteArray& picture)
{
    return { .picture = picture,
             .captureType = u"active_window"_s,
             .capturedAt = u"2026-11-15T22:24:39Z"_s,
             .branchID = branchID };
}

} // namespace quibel::inbox::testing
