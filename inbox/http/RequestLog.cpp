#include "inbox/http/RequestLog.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>

#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

constexpr auto pathOfDescriptors = "/proc/self/fd/";

/// O_NONBLOCK set on the descriptor itself would hold for every process that shares it.
Descriptor openPipeAnew(int number)
{
    struct stat status
    {
    };
    if (::fstat(number, &status) != 0 || !S_ISFIFO(status.st_mode))
        return Descriptor(-1);
    const auto path = pathOfDescriptors + QByteArray::number(number);
    return Descriptor(::open(path.constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
}

QByteArray toLine(const RequestRecord& record, quint64 dropped)
{
    const auto milliseconds = static_cast<double>(record.duration.count()) / 1000;
    QJsonObject line {
        { u"time"_s, QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs) },
        { u"method"_s, QString::fromLatin1(record.method) },
        { u"route"_s, QString::fromLatin1(record.route) },
        { u"status"_s, record.status },
        { u"duration_ms"_s, milliseconds },
        { u"bytes_in"_s, record.bytesIn },
        { u"bytes_out"_s, record.bytesOut },
        { u"client"_s, QString::fromLatin1(record.client) },
    };
    if (dropped > 0)
        line.insert(u"lines_dropped"_s, static_cast<qint64>(dropped));
    return QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace

RequestLog::RequestLog(int outputDescriptor)
    : own(openPipeAnew(outputDescriptor))
    , output(own.isOpen() ? own.number() : outputDescriptor)
{
    (void)std::signal(SIGPIPE, SIG_IGN);
}

void RequestLog::write(const RequestRecord& record)
{
    const auto whole = unfinished.size();
    const auto bytes = unfinished + toLine(record, droppedLines);
    const auto written = writeNow(bytes);
    if (written > whole) {
        unfinished = bytes.sliced(written);
        return;
    }
    unfinished = unfinished.sliced(written);
    ++droppedLines;
}

qsizetype RequestLog::writeNow(const QByteArray& bytes) const
{
    const auto size = static_cast<std::size_t>(bytes.size());
    auto written = ::send(output, bytes.constData(), size, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (written < 0 && errno == ENOTSOCK) {
        pollfd ready { .fd = output, .events = POLLOUT, .revents = 0 };
        if (::poll(&ready, 1, 0) == 1)
            written = ::write(output, bytes.constData(), size);
    }
    return qMax<qsizetype>(written, 0);
}

} // namespace quibel::inbox
