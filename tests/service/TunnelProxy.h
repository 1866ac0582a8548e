#pragma once

#include "tests/service/Answer.h"

#include <QObject>
#include <QTcpServer>
#include <QUrl>

#include <vector>

namespace quibel::testing {

/// A company's proxy on a free port of 127.0.0.1: opens tunnels, all of them to one port of this
/// machine, whatever host is asked for.
///
/// Thread: the one that made it; it serves while the event loop runs.
class TunnelProxy : public QObject
{
    Q_OBJECT

public:
    /// `credentials` is "user:password"; without it, the proxy serves everyone.
    explicit TunnelProxy(quint16 target, QByteArray credentials = {});

    /// Its address as an environment variable gives it.
    [[nodiscard]] QUrl url() const;

    /// Every request for a tunnel so far, refused ones too.
    [[nodiscard]] const std::vector<ReceivedRequest>& requests() const { return received; }
    [[nodiscard]] int closedTunnelCount() const { return closedTunnels; }

private:
    void takeRequest(QTcpSocket* client);
    [[nodiscard]] bool admits(const ReceivedRequest& request) const;
    void openTunnel(QTcpSocket* client);

    QTcpServer server;
    quint16 targetPort;
    QByteArray credentials;
    std::vector<ReceivedRequest> received;
    int closedTunnels = 0;
};

} // namespace quibel::testing
