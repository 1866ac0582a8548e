#pragma once

#include <QByteArray>
#include <QList>

#include <chrono>
#include <optional>
#include <utility>
#include <vector>

namespace quibel::testing {

using Headers = std::vector<std::pair<QByteArray, QByteArray>>;

/// One request as it came over the wire: headers in the order and the letter case in which they
/// were sent.
struct ReceivedRequest
{
    QByteArray method;
    QByteArray target;
    Headers headers;
    QByteArray body;

    /// The first header of this name, in whatever letter case.
    [[nodiscard]] std::optional<QByteArray> header(const QByteArray& name) const;
};

/// What a ScriptedService sends back for one request. Begin with one of the makers, then refine:
/// `Answer::json(200, list).cutInBody(7)`.
struct Answer
{
    QByteArray head;    ///< Status line and headers, with the empty line.
    QByteArray body;    ///< As it goes over the wire.
    qint64 filling = 0; ///< Bytes of body after `body`, made while the client takes them.
    std::chrono::milliseconds pause { 0 }; ///< If not zero: between any two bytes of the body.
    bool held = false;                     ///< Waits for ScriptedService::release.
    bool closes = false;                   ///< The connection ends behind the answer.

    /// A complete answer; it names its length.
    [[nodiscard]] static Answer
    reply(int status, const QByteArray& body = {}, const Headers& headers = {});
    [[nodiscard]] static Answer json(int status, const QByteArray& body);
    [[nodiscard]] static Answer redirect(int status, const QByteArray& location);
    /// A body of so many blanks.
    [[nodiscard]] static Answer blanks(int status, qint64 size);
    /// A body that comes in chunks of one byte.
    [[nodiscard]] static Answer chunked(int status, const QByteArray& body);
    /// Accepts the request and never answers.
    [[nodiscard]] static Answer never();
    /// Exactly these bytes, and the connection ends.
    [[nodiscard]] static Answer raw(const QByteArray& bytes);

    /// Ends the connection in the middle of the headers.
    [[nodiscard]] Answer cutInHeader() const;
    /// Ends the connection after so many bytes of the body.
    [[nodiscard]] Answer cutInBody(qsizetype size) const;
    [[nodiscard]] Answer slowly(std::chrono::milliseconds between) const;
    [[nodiscard]] Answer heldBack() const;

    [[nodiscard]] bool isNothing() const { return head.isEmpty() && !closes; }
};

} // namespace quibel::testing
