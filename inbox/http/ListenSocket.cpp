#include "inbox/http/ListenSocket.h"

#include <QtEndian>

#include <cerrno>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

/// The port lies at the same place in both address families.
union SocketAddress {
    sockaddr any;
    sockaddr_in v4;
    sockaddr_in6 v6;
};

SocketAddress toSocketAddress(const ListenAddress& address)
{
    const auto host = address.host == u"localhost" ? "127.0.0.1"_ba : address.host.toLatin1();
    SocketAddress result {};
    if (::inet_pton(AF_INET6, host.constData(), &result.v6.sin6_addr) == 1) {
        result.v6.sin6_family = AF_INET6;
        result.v6.sin6_port = htons(address.port);
        return result;
    }
    result.v4.sin_family = AF_INET;
    result.v4.sin_port = htons(address.port);
    ::inet_pton(AF_INET, host.constData(), &result.v4.sin_addr);
    return result;
}

QString lastError()
{
    return QString::fromStdString(std::generic_category().message(errno));
}

} // namespace

std::variant<ListenSocket, QString> openListenSocket(const ListenAddress& address)
{
    auto name = toSocketAddress(address);
    socklen_t length = sizeof name;
    Descriptor descriptor(
        ::socket(name.any.sa_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    // Without it a restart has to wait until the connections of the last run are forgotten.
    const int reuse = 1;
    if (!descriptor.isOpen()
        || ::setsockopt(descriptor.number(), SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse) != 0
        || ::bind(descriptor.number(), &name.any, length) != 0
        || ::listen(descriptor.number(), SOMAXCONN) != 0
        || ::getsockname(descriptor.number(), &name.any, &length) != 0)
        return lastError();

    const auto port = ntohs(name.any.sa_family == AF_INET6 ? name.v6.sin6_port : name.v4.sin_port);
    return ListenSocket { .descriptor = std::move(descriptor),
                          .address = { .host = address.host, .port = port } };
}

} // namespace quibel::inbox
