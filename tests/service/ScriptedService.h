#pragma once

#include "tests/service/Answer.h"

#include <QHash>
#include <QObject>
#include <QTcpServer>
#include <QUrl>

#include <functional>
#include <memory>
#include <vector>

class QSslConfiguration;

namespace quibel::testing {

class ServiceConnection;

/// A real HTTP service on a free port of 127.0.0.1 that records what it is asked and answers as
/// told: by the path's own answer, else by the script, else with 404.
///
/// Serves this process and others; it answers while the event loop of its thread runs.
///
/// Thread: the one that made it.
class ScriptedService : public QObject
{
    Q_OBJECT

public:
    using Script = std::function<Answer(const ReceivedRequest&)>;

    /// Speaks cleartext HTTP.
    ScriptedService();
    /// Speaks HTTPS with the certificate of `tls`.
    explicit ScriptedService(const QSslConfiguration& tls);
    ScriptedService(const ScriptedService&) = delete;
    ScriptedService& operator=(const ScriptedService&) = delete;
    ~ScriptedService() override;

    /// Where the service is: scheme, 127.0.0.1, port and `path`, which begins with a slash.
    [[nodiscard]] QUrl url(const QString& path = {}) const;
    [[nodiscard]] quint16 port() const { return server->serverPort(); }

    /// Answers every request of `path` so; the query does not count.
    void answer(const QByteArray& path, const Answer& answer);
    /// Answers every request whose path has no answer of its own.
    void answer(Script script);
    /// Takes the path's own answer away.
    void leaveToScript(const QByteArray& path);

    /// Every complete request so far, oldest first.
    [[nodiscard]] const std::vector<ReceivedRequest>& requests() const { return received; }
    /// How many connections have been opened so far (for HTTPS: after the handshake).
    [[nodiscard]] int connectionCount() const { return accepted; }
    /// How many connections are open.
    [[nodiscard]] qsizetype openConnectionCount() const;
    /// How many bytes clients have sent so far, of incomplete requests too.
    [[nodiscard]] qint64 bytesReceived() const { return taken; }
    /// How many bytes have been sent to clients so far.
    [[nodiscard]] qint64 bytesSent() const { return given; }

    /// Sends the answers that are held back.
    void release();
    /// Sends the answer to one of `requests`, if that is held back.
    void release(std::size_t request);
    /// Ends every open connection.
    void disconnectClients();
    /// Takes requests only so fast; slows a client's upload. No bytes: as fast as they come.
    void limitIntake(qint64 bytes, std::chrono::milliseconds every);

Q_SIGNALS:
    void requestReceived(const quibel::testing::ReceivedRequest& request);

private:
    friend class ServiceConnection;

    explicit ScriptedService(std::unique_ptr<QTcpServer> listener);
    [[nodiscard]] Answer answerTo(const ReceivedRequest& request);

    std::unique_ptr<QTcpServer> server;
    QHash<QByteArray, Answer> answers;
    Script script;
    std::vector<ReceivedRequest> received;
    int accepted = 0;
    qint64 taken = 0;
    qint64 given = 0;
    qint64 intakeBytes = 0;
    std::chrono::milliseconds intakeInterval { 0 };
};

} // namespace quibel::testing
