#pragma once

#include <QByteArray>

namespace quibel::inbox {

/// A response that goes on: one client's stream of server-sent events.
///
/// Thread: any. A client that does not read is cut off instead of kept in memory.
/// Source: HTML Living Standard, 9.2 Server-sent events.
class EventStream
{
public:
    /// Sends an event: its type, and one line of data. Nothing happens once the stream has ended.
    void send(const QByteArray& type, const QByteArray& data);
    /// Ends the response after what was sent.
    void end();
    /// The client is gone or was cut off, or the stream was ended.
    [[nodiscard]] bool hasEnded() const;

    // … the owner of this folder completes this
};

} // namespace quibel::inbox
