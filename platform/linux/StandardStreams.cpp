#include "platform/StandardStreams.h"

#include <cerrno>
#include <cstdio>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
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

namespace {

/// Writes to what may be a socket, and does not wait there. Errors: as `write`.
ssize_t writeUnlessFull(int stream, const char* bytes, std::size_t count)
{
    ssize_t written = 0;
    do {
        written = ::send(stream, bytes, count, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (written < 0 && errno == ENOTSOCK)
            written = ::write(stream, bytes, count);
    } while (written < 0 && errno == EINTR);
    return written;
}

ssize_t writeErrors(void* /*cookie*/, const char* bytes, std::size_t count)
{
    writeUnlessFull(STDERR_FILENO, bytes, count);
    return static_cast<ssize_t>(count); // What is dropped is done with.
}

bool isSocket(int stream)
{
    struct stat status = {};
    return ::fstat(stream, &status) == 0 && S_ISSOCK(status.st_mode);
}

/// Not to wait cannot be a property of a socket, since a socket cannot be opened again; so each
/// piece of what this program writes by the C library is sent without waiting.
void dropErrorsThatASocketDoesNotTake()
{
    const cookie_io_functions_t sending {
        .read = nullptr, .write = writeErrors, .seek = nullptr, .close = nullptr
    };
    FILE* const errors = fopencookie(nullptr, "w", sending);
    if (errors == nullptr)
        return;
    std::setvbuf(errors, nullptr, _IOLBF, BUFSIZ);
    stderr = errors;
}

} // namespace

void dropWhatNobodyReads()
{
    if (isSocket(STDERR_FILENO))
        dropErrorsThatASocketDoesNotTake();
    for (const int stream : { STDOUT_FILENO, STDERR_FILENO }) {
        struct stat status = {};
        if (::fstat(stream, &status) != 0 || !(S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode)))
            continue;
        // Not to wait is a property of what was opened, which other processes share: the shell, for
        // one. Opening it again makes another one. What belongs to another user cannot be opened
        // again, and stays as it is.
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
    writeUnlessFull(STDOUT_FILENO, text.constData(), static_cast<std::size_t>(text.size()));
}

} // namespace quibel
