#include "inbox/http/ListenAddress.h"

#include <QRegularExpression>

#include <arpa/inet.h>
#include <netinet/in.h>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

std::optional<in_addr> toIPv4(const QString& host)
{
    in_addr address {};
    if (::inet_pton(AF_INET, host.toUtf8().constData(), &address) != 1)
        return {};
    return address;
}

std::optional<in6_addr> toIPv6(const QString& host)
{
    in6_addr address {};
    if (::inet_pton(AF_INET6, host.toUtf8().constData(), &address) != 1)
        return {};
    return address;
}

} // namespace

std::optional<ListenAddress> ListenAddress::parse(const QString& text)
{
    static const QRegularExpression form(
        uR"(\A(?:\[(?<v6>[0-9A-Fa-f:.]+)\]|(?<v4>[0-9.]+|localhost)):(?<port>[0-9]{1,5})\z)"_s);
    const auto match = form.match(text);
    if (!match.hasMatch())
        return {};

    bool portFits = false;
    const auto port = match.captured(u"port"_s).toUShort(&portFits);
    const auto v6 = match.captured(u"v6"_s);
    const auto v4 = match.captured(u"v4"_s);
    const bool hostFits = v6.isEmpty() ? v4 == u"localhost" || toIPv4(v4) : toIPv6(v6).has_value();
    if (!portFits || !hostFits)
        return {};
    return ListenAddress { .host = v6.isEmpty() ? v4 : v6, .port = port };
}

bool ListenAddress::isLoopback() const
{
    constexpr quint32 loopbackNetwork = 127;
    if (host == u"localhost")
        return true;
    if (const auto v4 = toIPv4(host))
        return ntohl(v4->s_addr) >> 24U == loopbackNetwork;
    const auto v6 = toIPv6(host);
    return v6 && IN6_IS_ADDR_LOOPBACK(&*v6);
}

QString ListenAddress::toString() const
{
    return (host.contains(u':') ? u"[%1]:%2"_s : u"%1:%2"_s).arg(host, QString::number(port));
}

} // namespace quibel::inbox
