#include "platform/StandardStreams.h"

#include <cerrno>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quibel {

void openMissingStandardStreams()
{
    // The lowest number that is free is taken.
    int opened = STDIN_FILENO;
    while (opened >= 0 && opened <= STDERR_FILENO)
        opened = ::open("/dev/null", O_RDWR); // NOLINT(android-cloexec-open): children get it too
    if (opened > STDERR_FILENO)
        ::close(opened);
}

void dropWhatNobodyReads()
{
    for (const int stream : { STDOUT_FILENO, STDERR_FILENO }) {
        struct stat status = {};
        if (::fstat(stream, &status) != 0 || !(S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode)))
            continue;
        // Not to wait is a property of what was opened, which other processes share: the shell, for
        // one. Opening it again makes another one. That a socket cannot be opened again, nor what
        // belongs to another user, leaves those as they are.
        const std::string path = "/proc/self/fd/" + std::to_string(stream);
        const int own = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        if (own < 0)
            continue;
        ::dup2(own, stream);
        ::close(own);
    }
}

void writeToStandardOutput(const QByteArray& text)
{
    ssize_t written = 0;
    do
        written = ::write(STDOUT_FILENO, text.constData(), static_cast<std::size_t>(text.size()));
    while (written < 0 && errno == EINTR);
}

} // namespace quibel
