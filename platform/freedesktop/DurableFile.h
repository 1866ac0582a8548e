#pragma once

#include <QByteArray>

#include <cstdint>
#include <filesystem>
#include <system_error>
#include <variant>

namespace quibel {

/// Tells one state of a file from another; all zero while there is no file.
struct FileState
{
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t size = 0;
    std::int64_t modifiedSeconds = 0;
    std::int64_t modifiedNanoseconds = 0;

    bool operator==(const FileState&) const = default;

    [[nodiscard]] static FileState of(const std::filesystem::path& path);
    [[nodiscard]] static FileState of(int descriptor);
};

/// The file behind `path`, which may be a symbolic link, or several in a row, to one that does not
/// exist yet.
[[nodiscard]] std::filesystem::path behindLinks(std::filesystem::path path);

/// Replaces the content of a file, in one step and for good: after a crash or a power failure at
/// any moment it holds the old content or the new, and the new one once this has returned.
///
/// The file is the user's alone, as are folders that have to be made; a symbolic link stays one.
/// Errors: the system's; the file keeps its old content.
[[nodiscard]] std::variant<FileState, std::error_code>
replaceDurably(const std::filesystem::path& path, const QByteArray& content);

} // namespace quibel
