#pragma once

#include "inbox/storage/Database.h"
#include "inbox/storage/StorageError.h"

#include <QString>
#include <QTemporaryFile>

#include <memory>
#include <optional>

namespace quibel::inbox {

/// A file that another program fills beside its place, and that is then put there whole.
class BackupFile
{
public:
    /// Makes an empty file, for its owner only, in the directory of `path`.
    [[nodiscard]] static StorageResult<std::unique_ptr<BackupFile>>
    create(const QString& path, Database::ExistingFile existing);

    [[nodiscard]] QString temporaryPath() const { return file.fileName(); }

    /// Brings the file to the disk and then to its place; without this it is removed.
    [[nodiscard]] std::optional<StorageError> keep();

private:
    BackupFile(const QString& path, Database::ExistingFile existing);

    [[nodiscard]] StorageError failure(const QString& what) const;

    QString target;
    Database::ExistingFile existingFile;
    QTemporaryFile file;
};

} // namespace quibel::inbox
