#pragma once

#include "platform/freedesktop/FileDescriptor.h"

#include <QString>

#include <optional>

namespace quibel {

/// A file that one process at a time holds. However that process ends, the file is free again.
class ProcessLock
{
public:
    /// Errors: false when another process holds it. A file that cannot be made is nobody's, and
    /// standard error says why.
    [[nodiscard]] bool tryLock(const QString& path);

private:
    std::optional<FileDescriptor> file;
};

} // namespace quibel
