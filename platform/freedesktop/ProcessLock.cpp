#include "platform/freedesktop/ProcessLock.h"

#include <QFile>

#include <cerrno>
#include <cstdio>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace quibel {

bool ProcessLock::tryLock(const QString& path)
{
    const QByteArray name = QFile::encodeName(path);
    file.emplace(
        ::open(name.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (file->isOpen() && ::flock(file->get(), LOCK_EX | LOCK_NB) == 0)
        return true;
    if (errno == EWOULDBLOCK)
        return false;
    std::fprintf(stderr,
                 "quibel-capture-agent: cannot lock %s, so another agent may start: %s\n",
                 name.constData(),
                 std::generic_category().message(errno).c_str());
    return true;
}

} // namespace quibel
