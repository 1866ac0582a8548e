#include "platform/freedesktop/DurableFile.h"

#include "platform/freedesktop/FileDescriptor.h"

#include <cerrno>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>

namespace quibel {

namespace fs = std::filesystem;

namespace {

std::error_code lastError()
{
    return { errno, std::generic_category() };
}

FileState stateFrom(const struct stat& status)
{
    return { .device = status.st_dev,
             .inode = status.st_ino,
             .size = status.st_size,
             .modifiedSeconds = status.st_mtim.tv_sec,
             .modifiedNanoseconds = status.st_mtim.tv_nsec };
}

std::error_code synchronize(const FileDescriptor& file)
{
    // Some file systems have no such operation, for folders in particular.
    if (::fsync(file.get()) == 0 || errno == EINVAL || errno == ENOTSUP)
        return {};
    return lastError();
}

std::error_code synchronizeFolder(const fs::path& folder)
{
    const FileDescriptor directory(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return directory.isOpen() ? synchronize(directory) : lastError();
}

std::error_code makeFolder(const fs::path& folder)
{
    std::error_code error;
    if (fs::is_directory(folder, error))
        return {};
    const fs::path parent = folder.parent_path();
    if (parent != folder)
        if ((error = makeFolder(parent)))
            return error;
    if (::mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST)
        return lastError();
    return synchronizeFolder(parent);
}

std::error_code writeAll(const FileDescriptor& file, const QByteArray& content)
{
    qsizetype written = 0;
    while (written < content.size()) {
        const ssize_t count = ::write(file.get(),
                                      content.constData() + written,
                                      static_cast<size_t>(content.size() - written));
        if (count >= 0)
            written += count;
        else if (errno != EINTR)
            return lastError();
    }
    return synchronize(file);
}

} // namespace

FileState FileState::of(const fs::path& path)
{
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 ? stateFrom(status) : FileState();
}

FileState FileState::of(int descriptor)
{
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0 ? stateFrom(status) : FileState();
}

fs::path behindLinks(fs::path path)
{
    constexpr int mostLinks = 40; // as many as the kernel follows
    std::error_code error;
    for (int links = 0; links < mostLinks && fs::is_symlink(path, error); ++links)
        path = path.parent_path() / fs::read_symlink(path, error);
    return path;
}

std::variant<FileState, std::error_code> replaceDurably(const fs::path& path,
                                                        const QByteArray& content)
{
    const fs::path target = behindLinks(path);
    if (const std::error_code error = makeFolder(target.parent_path()))
        return error;
    std::string temporary = target.string() + ".XXXXXX";
    const FileDescriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!file.isOpen())
        return lastError();
    std::error_code error = writeAll(file, content);
    // Taken from the open file: what somebody else puts there from now on is another state.
    const FileState state = FileState::of(file.get());
    if (!error && ::rename(temporary.c_str(), target.c_str()) != 0)
        error = lastError();
    if (error) {
        ::unlink(temporary.c_str());
        return error;
    }
    if ((error = synchronizeFolder(target.parent_path())))
        return error;
    return state;
}

} // namespace quibel
