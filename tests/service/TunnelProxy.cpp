#include "tests/service/TunnelProxy.h"

#include <QTcpSocket>

using namespace Qt::StringLiterals;

namespace quibel::testing {

TunnelProxy::TunnelProxy(quint16 target, QByteArray wantedCredentials)
    : targetPort(target)
    , credentials(std::move(wantedCredentials))
{
    connect(&server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket* client = server.nextPendingConnection()) {
            connect(client, &QTcpSocket::readyRead, this, [this, client] { takeRequest(client); });
            connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
        }
    });
    if (!server.listen(QHostAddress::LocalHost))
        qFatal("no port for the proxy");
}

QUrl TunnelProxy::url() const
{
    QUrl url(u"http://127.0.0.1"_s);
    url.setPort(server.serverPort());
    return url;
}

void TunnelProxy::takeRequest(QTcpSocket* client)
{
    // Clients wait for the answer before they say more.
    const QByteArray head = client->peek(client->bytesAvailable());
    if (!head.endsWith("\r\n\r\n"))
        return;
    client->readAll();
    QList<QByteArray> lines = head.trimmed().split('\n');
    const QList<QByteArray> first = lines.takeFirst().split(' ');
    ReceivedRequest request {
        .method = first.value(0), .target = first.value(1), .headers = {}, .body = {}
    };
    for (const QByteArray& line : lines) {
        const qsizetype colon = line.indexOf(':');
        request.headers.emplace_back(line.first(colon), line.sliced(colon + 1).trimmed());
    }
    received.push_back(request);
    if (admits(request))
        openTunnel(client);
    else
        client->write("HTTP/1.1 407 Who are you\r\nProxy-Authenticate: Basic realm=\"company\"\r\n"
                      "Content-Length: 0\r\n\r\n");
}

bool TunnelProxy::admits(const ReceivedRequest& request) const
{
    return request.method == "CONNECT"
        && (credentials.isEmpty()
            || request.header("Proxy-Authorization") == "Basic " + credentials.toBase64());
}

void TunnelProxy::openTunnel(QTcpSocket* client)
{
    client->disconnect(this);
    auto* const far = new QTcpSocket(client);
    connect(far, &QTcpSocket::connected, client, [client] {
        client->write("HTTP/1.1 200 Go ahead\r\n\r\n");
    });
    connect(far, &QTcpSocket::readyRead, client, [client, far] { client->write(far->readAll()); });
    connect(far, &QTcpSocket::disconnected, client, &QTcpSocket::disconnectFromHost);
    connect(client, &QTcpSocket::readyRead, far, [client, far] { far->write(client->readAll()); });
    connect(client, &QTcpSocket::disconnected, this, [this, client] {
        ++closedTunnels;
        client->deleteLater();
    });
    far->connectToHost(QHostAddress::LocalHost, targetPort);
}

} // namespace quibel::testing
