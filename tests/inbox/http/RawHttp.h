#pragma once

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <QTcpSocket>
#include <QTest>

namespace quibel::inbox::testing {

/// What came back over one connection; a status of 0 means that it closed without an answer.
struct RawAnswer
{
    int status = 0;
    QByteArray head; ///< In lower case.
    QByteArray body;

    [[nodiscard]] QString message() const
    {
        const auto error = QJsonDocument::fromJson(body)[QStringLiteral("error")];
        return error[QStringLiteral("message")].toString();
    }
    [[nodiscard]] QString code() const
    {
        const auto error = QJsonDocument::fromJson(body)[QStringLiteral("error")];
        return error[QStringLiteral("code")].toString();
    }
    /// The "id" inside the only object of the answer.
    [[nodiscard]] QString id(const QString& kind) const
    {
        return QJsonDocument::fromJson(body)[kind][QStringLiteral("id")].toString();
    }
};

/// One connection on which tests send what they like, byte by byte if need be.
class RawHttp
{
public:
    explicit RawHttp(quint16 port, const QString& host = QStringLiteral("127.0.0.1"))
    {
        socket.connectToHost(host, port);
        (void)QTest::qWaitFor([this] { return socket.state() == QAbstractSocket::ConnectedState; });
    }

    void send(const QByteArray& bytes) { socket.write(bytes); }

    /// Waits until everything has left this process.
    [[nodiscard]] bool flush()
    {
        return QTest::qWaitFor([this] { return socket.bytesToWrite() == 0; }, patience);
    }

    void abort() { socket.abort(); }

    [[nodiscard]] bool isClosedByPeer()
    {
        return QTest::qWaitFor(
            [this] { return socket.state() == QAbstractSocket::UnconnectedState; }, patience);
    }

    /// Waits until what came, behind the answers that were received, contains this.
    [[nodiscard]] bool waitFor(const QByteArray& part)
    {
        return QTest::qWaitFor(
            [&] {
                received += socket.readAll();
                return received.contains(part);
            },
            patience);
    }

    /// The next answer.
    [[nodiscard]] RawAnswer receive(bool headOnly = false)
    {
        RawAnswer answer;
        const auto complete = [&] {
            received += socket.readAll();
            const auto end = received.indexOf("\r\n\r\n");
            if (end < 0)
                return false;
            answer.head = received.left(end).toLower();
            const auto length = headOnly ? 0 : contentLength(answer.head);
            answer.body = received.mid(end + 4, length);
            return answer.body.size() >= length;
        };
        const bool came = QTest::qWaitFor(
            [&] { return complete() || socket.state() == QAbstractSocket::UnconnectedState; },
            patience);
        if (came && complete()) {
            answer.status = answer.head.split(' ').value(1).toInt();
            received.remove(0, answer.head.size() + 4 + answer.body.size());
        }
        return answer;
    }

    static QByteArray
    request(const QByteArray& line, const QList<QByteArray>& headers, const QByteArray& body = {})
    {
        auto bytes = line + " HTTP/1.1\r\nHost: localhost\r\n";
        for (const auto& header : headers)
            bytes += header + "\r\n";
        if (!body.isEmpty())
            bytes += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
        return bytes + "\r\n" + body;
    }

private:
    static constexpr int patience = 20'000;

    static qsizetype contentLength(const QByteArray& head)
    {
        constexpr QByteArrayView name("content-length: ");
        const auto at = head.indexOf(name);
        return at < 0 ? 0 : head.mid(at + name.size()).split('\r').first().toLongLong();
    }

    QTcpSocket socket;
    QByteArray received; ///< What came and no answer has taken.
};

} // namespace quibel::inbox::testing
