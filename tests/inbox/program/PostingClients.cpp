#include "tests/inbox/program/PostingClients.h"

#include "inbox/http/Descriptor.h"
#include "tests/inbox/agent/SampleDocuments.h"

#include <QJsonDocument>

#include <chrono>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace quibel::inbox::testing {

namespace {

Descriptor connectTo(const QByteArray& host, quint16 port)
{
    Descriptor descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    ::inet_pton(AF_INET, host.constData(), &address.sin_addr);
    const timeval patience { .tv_sec = 20, .tv_usec = 0 };
    ::setsockopt(descriptor.number(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    if (::connect(descriptor.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address)
        != 0)
        return Descriptor(-1);
    return descriptor;
}

bool sendAll(int socket, const QByteArray& bytes)
{
    return ::send(socket, bytes.constData(), static_cast<std::size_t>(bytes.size()), MSG_NOSIGNAL)
        == bytes.size();
}

/// Status and body of one answer; a status of 0 when it did not come whole.
std::pair<int, QByteArray> receive(int socket)
{
    QByteArray bytes;
    qsizetype missing = 1;
    qsizetype body = -1;
    while (missing > 0) {
        QByteArray part(4096, Qt::Uninitialized);
        const auto size = ::recv(socket, part.data(), static_cast<std::size_t>(part.size()), 0);
        if (size <= 0)
            return {};
        bytes += part.first(size);
        if (body < 0 && (body = bytes.indexOf("\r\n\r\n")) < 0)
            continue;
        const auto head = bytes.first(body).toLower();
        const auto at = head.indexOf("content-length: ");
        missing = body + 4 + head.mid(at + 16).split('\r').first().toLongLong() - bytes.size();
    }
    return { bytes.split(' ').value(1).toInt(), bytes.mid(body + 4) };
}

QByteArray request(const QByteArray& key, const QString& text)
{
    auto document = sampleBranch();
    document[QStringLiteral("title")] = text;
    const auto body = QJsonDocument(document).toJson(QJsonDocument::Compact);
    return "POST /api/branches/from-agent HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer "
        + key + "\r\nContent-Type: application/json\r\nContent-Length: "
        + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

} // namespace

PostingClients::PostingClients(const QUrl& service, QByteArray key, int connections)
    : host(service.host().toLatin1())
    , port(static_cast<quint16>(service.port()))
    , apiKey(std::move(key))
{
    for (int i = 0; i < connections; ++i)
        clients.emplace_back([this](const std::stop_token& stopped) { post(stopped); });
}

PostingClients::~PostingClients()
{
    stop();
}

void PostingClients::stop()
{
    for (auto& client : clients)
        client.request_stop();
    clients.clear();
}

QHash<QString, QString> PostingClients::created() const
{
    const std::lock_guard lock(mutex);
    return branches;
}

qsizetype PostingClients::createdCount() const
{
    const std::lock_guard lock(mutex);
    return branches.size();
}

int PostingClients::count(int status) const
{
    const std::lock_guard lock(mutex);
    return statuses.value(status);
}

void PostingClients::post(const std::stop_token& stopped)
{
    while (!stopped.stop_requested()) {
        const auto connection = connectTo(host, port);
        bool open = connection.isOpen();
        if (!open)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        while (open && !stopped.stop_requested()) {
            const auto text = QStringLiteral("branch %1").arg(next++);
            open = sendAll(connection.number(), request(apiKey, text));
            const auto [status, body]
                = open ? receive(connection.number()) : std::pair<int, QByteArray>();
            note(status, body, text);
            open = status != 0;
        }
    }
}

void PostingClients::note(int status, const QByteArray& body, const QString& text)
{
    const auto id
        = QJsonDocument::fromJson(body)[QStringLiteral("branch")][QStringLiteral("id")].toString();
    const std::lock_guard lock(mutex);
    ++statuses[status];
    if (status == 201)
        branches.insert(id, text);
}

} // namespace quibel::inbox::testing
