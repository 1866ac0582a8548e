#include "inbox/storage/BackupFile.h"

#include <QFileInfo>

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

bool flushDirectory(const QString& path)
{
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY);
    if (descriptor < 0)
        return false;
    const bool flushed = ::fsync(descriptor) == 0;
    ::close(descriptor);
    return flushed;
}

} // namespace

StorageResult<std::unique_ptr<BackupFile>> BackupFile::create(const QString& path,
                                                              Database::ExistingFile existing)
{
    std::unique_ptr<BackupFile> backup(new BackupFile(path, existing));
    if (existing == Database::ExistingFile::refuse && QFileInfo::exists(path))
        return backup->failure(u"is there already"_s);
    if (!backup->file.open())
        return backup->failure(backup->file.errorString());
    return backup;
}

BackupFile::BackupFile(const QString& path, Database::ExistingFile existing)
    : target(path)
    , existingFile(existing)
    , file(path + u".XXXXXX"_s)
{
}

std::optional<StorageError> BackupFile::keep()
{
    if (::fsync(file.handle()) != 0)
        return failure(qt_error_string(errno));
    if (existingFile == Database::ExistingFile::refuse) {
        if (!file.rename(target))
            return failure(file.errorString());
    } else if (std::rename(QFile::encodeName(file.fileName()).constData(),
                           QFile::encodeName(target).constData())
               != 0) {
        return failure(qt_error_string(errno));
    }
    file.setAutoRemove(false);
    if (!flushDirectory(QFileInfo(target).absolutePath()))
        return failure(qt_error_string(errno));
    return {};
}

StorageError BackupFile::failure(const QString& what) const
{
    return { .reason = u"%1: %2"_s.arg(target, what) };
}

} // namespace quibel::inbox
