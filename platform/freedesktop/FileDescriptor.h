#pragma once

#include <unistd.h>

namespace quibel {

/// An open file of the operating system, closed at the end.
class FileDescriptor
{
public:
    explicit FileDescriptor(int opened)
        : descriptor(opened)
    {
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor()
    {
        if (isOpen())
            ::close(descriptor);
    }

    [[nodiscard]] bool isOpen() const { return descriptor >= 0; }
    [[nodiscard]] int get() const { return descriptor; }

private:
    int descriptor;
};

} // namespace quibel
