#include "inbox/http/EventStream.h"

#include <utility>

namespace quibel::inbox {

namespace {

/// A client that is this far behind reads no more.
constexpr qsizetype largestBacklog = 64LL * 1024;

} // namespace

void EventStream::send(const QByteArray& type, const QByteArray& data)
{
    const QByteArray event = "event: " + type + "\ndata: " + data + "\n\n";
    append(event);
}

void EventStream::keepAlive()
{
    append(":\n\n");
}

void EventStream::append(QByteArrayView bytes)
{
    const std::lock_guard lock(mutex);
    if (ended)
        return;
    backlog += bytes;
    if (backlog.size() > largestBacklog) {
        backlog.clear();
        ended = true;
        if (connection.cut)
            connection.cut();
    }
    resume();
}

void EventStream::end()
{
    const std::lock_guard lock(mutex);
    ended = true;
    resume();
}

bool EventStream::hasEnded() const
{
    const std::lock_guard lock(mutex);
    return ended;
}

void EventStream::connect(Connection streamConnection)
{
    const std::lock_guard lock(mutex);
    connection = std::move(streamConnection);
}

void EventStream::disconnect()
{
    const std::lock_guard lock(mutex);
    connection = {};
    suspended = false;
    ended = true;
    backlog.clear();
}

std::optional<QByteArray> EventStream::take(qsizetype room)
{
    const std::lock_guard lock(mutex);
    if (backlog.isEmpty() && ended)
        return {};
    if (backlog.isEmpty()) {
        suspended = true;
        connection.suspend();
        return QByteArray();
    }
    const auto bytes = backlog.left(room);
    backlog.remove(0, bytes.size());
    taken += bytes.size();
    return bytes;
}

qsizetype EventStream::bytesTaken() const
{
    const std::lock_guard lock(mutex);
    return taken;
}

void EventStream::resume()
{
    if (std::exchange(suspended, false))
        connection.resume();
}

} // namespace quibel::inbox
