#pragma once

#include "inbox/storage/ScreenshotDocument.h"
#include "inbox/storage/StorageError.h"

#include <QByteArray>
#include <QSize>
#include <QString>

#include <optional>

namespace quibel::inbox {

class Database;

/// The pictures of branches, each content kept once.
class Screenshots
{
public:
    explicit Screenshots(Database& openDatabase);

    /// Returns the identifier of the new screenshot of the branch that the document names.
    ///
    /// Units: `size` is the picture's own, in pixels.
    [[nodiscard]] StorageResult<QString> add(const ScreenshotDocument& document, QSize size);

    /// The PNG with this hash, if a branch of the account shows it.
    [[nodiscard]] StorageResult<std::optional<QByteArray>> picture(const QString& accountID,
                                                                   const QString& sha256);

private:
    Database& database;
};

} // namespace quibel::inbox
