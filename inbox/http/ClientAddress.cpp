#include "inbox/http/ClientAddress.h"

#include <array>
#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>

namespace quibel::inbox {

namespace {

constexpr quint32 loopbackNetwork = 127;

ClientAddress ofV4(const in_addr& address)
{
    std::array<char, INET_ADDRSTRLEN> text {};
    ::inet_ntop(AF_INET, &address, text.data(), text.size());
    return { .text = text.data(),
             .isThisMachine = ntohl(address.s_addr) >> 24U == loopbackNetwork };
}

ClientAddress ofV6(const in6_addr& address)
{
    if (IN6_IS_ADDR_V4MAPPED(&address)) {
        in_addr v4 {};
        std::memcpy(&v4, &address.s6_addr[12], sizeof v4);
        return ofV4(v4);
    }
    std::array<char, INET6_ADDRSTRLEN> text {};
    ::inet_ntop(AF_INET6, &address, text.data(), text.size());
    return { .text = text.data(), .isThisMachine = IN6_IS_ADDR_LOOPBACK(&address) != 0 };
}

} // namespace

ClientAddress ClientAddress::of(const sockaddr& name)
{
    if (name.sa_family == AF_INET) {
        sockaddr_in v4 {};
        std::memcpy(&v4, &name, sizeof v4);
        return ofV4(v4.sin_addr);
    }
    if (name.sa_family == AF_INET6) {
        sockaddr_in6 v6 {};
        std::memcpy(&v6, &name, sizeof v6);
        return ofV6(v6.sin6_addr);
    }
    return {};
}

ClientAddress ClientAddress::parse(const QByteArray& text)
{
    in_addr v4 {};
    if (::inet_pton(AF_INET, text.constData(), &v4) == 1)
        return ofV4(v4);
    in6_addr v6 {};
    if (::inet_pton(AF_INET6, text.constData(), &v6) == 1)
        return ofV6(v6);
    return {};
}

} // namespace quibel::inbox
