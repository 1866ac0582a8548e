#pragma once

#include <QByteArray>

#include <functional>
#include <mutex>
#include <optional>

namespace quibel::inbox {

/// A response that goes on: one client's stream of server-sent events.
///
/// Thread: any. A client that does not read is cut off instead of kept in memory.
/// Source: HTML Living Standard, 9.2 Server-sent events.
class EventStream
{
public:
    /// What the stream asks of the connection that it goes out on. It is called with the stream
    /// locked, and must not call back.
    struct Connection
    {
        std::function<void()> suspend;
        std::function<void()> resume;
        std::function<void()> cut;
    };

    /// Sends an event: its type, and one line of data. Nothing happens once the stream has ended.
    void send(const QByteArray& type, const QByteArray& data);
    /// Sends a line that clients ignore: it keeps proxies from ending the connection, and finds
    /// out whether the client is still there.
    void keepAlive();
    /// Ends the response after what was sent.
    void end();
    /// The client is gone or was cut off, or the stream was ended.
    [[nodiscard]] bool hasEnded() const;

    /// The side of the server: a stream has at most one connection in its life.
    void connect(Connection streamConnection);
    void disconnect();
    /// Takes at most `room` bytes; none when the stream is over. When there is nothing yet, this
    /// suspends the connection and returns no bytes.
    [[nodiscard]] std::optional<QByteArray> take(qsizetype room);
    [[nodiscard]] qsizetype bytesTaken() const;

private:
    void append(QByteArrayView bytes);
    void resume();

    mutable std::mutex mutex; ///< Guards all below.
    QByteArray backlog;
    qsizetype taken = 0;
    Connection connection;
    bool suspended = false;
    bool ended = false;
};

} // namespace quibel::inbox
