#include "tests/service/ScriptedService.h"

#include "tests/service/ServiceConnection.h"

#include <QHostAddress>
#include <QSslConfiguration>
#include <QSslServer>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

std::unique_ptr<QTcpServer> makeTlsServer(const QSslConfiguration& tls)
{
    auto server = std::make_unique<QSslServer>();
    server->setSslConfiguration(tls);
    return server;
}

} // namespace

ScriptedService::ScriptedService()
    : ScriptedService(std::make_unique<QTcpServer>())
{
}

ScriptedService::ScriptedService(const QSslConfiguration& tls)
    : ScriptedService(makeTlsServer(tls))
{
}

ScriptedService::ScriptedService(std::unique_ptr<QTcpServer> listener)
    : server(std::move(listener))
{
    connect(server.get(), &QTcpServer::pendingConnectionAvailable, this, [this] {
        while (QTcpSocket* socket = server->nextPendingConnection()) {
            ++accepted;
            new ServiceConnection(*this, socket);
        }
    });
    if (!server->listen(QHostAddress::LocalHost))
        qFatal("scripted service: no port to listen on: %s", qPrintable(server->errorString()));
}

ScriptedService::~ScriptedService() = default;

QUrl ScriptedService::url(const QString& path) const
{
    QUrl url;
    url.setScheme(qobject_cast<QSslServer*>(server.get()) != nullptr ? u"https"_s : u"http"_s);
    url.setHost(u"127.0.0.1"_s);
    url.setPort(server->serverPort());
    url.setPath(path);
    return url;
}

qsizetype ScriptedService::openConnectionCount() const
{
    return findChildren<ServiceConnection*>().size();
}

void ScriptedService::answer(const QByteArray& path, const Answer& answer)
{
    answers.insert(path, answer);
}

void ScriptedService::answer(Script newScript)
{
    script = std::move(newScript);
}

void ScriptedService::leaveToScript(const QByteArray& path)
{
    answers.remove(path);
}

void ScriptedService::release()
{
    for (auto* connection : findChildren<ServiceConnection*>())
        connection->release();
}

void ScriptedService::release(std::size_t request)
{
    for (auto* connection : findChildren<ServiceConnection*>())
        if (connection->lastRequest() == request)
            connection->release();
}

void ScriptedService::disconnectClients()
{
    for (auto* connection : findChildren<ServiceConnection*>())
        connection->disconnectClient();
}

void ScriptedService::limitIntake(qint64 bytes, std::chrono::milliseconds every)
{
    intakeBytes = bytes;
    intakeInterval = every;
}

Answer ScriptedService::answerTo(const ReceivedRequest& request)
{
    received.push_back(request);
    Q_EMIT requestReceived(request);

    const QByteArray path = request.target.first(
        request.target.contains('?') ? request.target.indexOf('?') : request.target.size());
    if (const auto known = answers.constFind(path); known != answers.cend())
        return *known;
    return script ? script(request) : Answer::reply(404);
}

} // namespace quibel::testing
