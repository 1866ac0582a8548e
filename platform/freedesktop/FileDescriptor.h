#pragma once

#include <QtGlobal>

#include <unistd.h>

namespace quibel {

/// An open file of the operating system, closed at the end.
class FileDescriptor
{
    Q_DISABLE_COPY_MOVE(FileDescriptor)

public:
    explicit FileDescriptor(int opened)
        : descriptor(opened)
    {
    }
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
