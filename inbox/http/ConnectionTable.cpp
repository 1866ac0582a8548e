#include "inbox/http/ConnectionTable.h"

#include "inbox/http/Exchange.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <sys/socket.h>

namespace quibel::inbox {

ConnectionTable::ConnectionTable(std::size_t connectionLimit)
    : limit(connectionLimit)
{
}

ConnectionTable::Connection& ConnectionTable::add(int descriptor)
{
    if (open() - beingCut >= limit && !idle.empty())
        cut(idle.front());
    auto& connection
        = idle.emplace_back(Connection { .descriptor = descriptor, .idleSince = Clock::now() });
    connection.place = std::prev(idle.end());
    return connection;
}

void ConnectionTable::remove(Connection& connection)
{
    if (connection.cut)
        --beingCut;
    (connection.idle ? idle : busy).erase(connection.place);
}

void ConnectionTable::setBusy(Connection& connection)
{
    if (std::exchange(connection.idle, false))
        busy.splice(busy.end(), idle, connection.place);
}

void ConnectionTable::setIdle(Connection& connection)
{
    if (connection.cut)
        return;
    idle.splice(idle.end(), connection.idle ? idle : busy, connection.place);
    connection.idle = true;
    connection.idleSince = Clock::now();
}

void ConnectionTable::cutLongestBody(std::chrono::milliseconds age)
{
    const auto longest = std::ranges::find_if(idle, [](const Connection& connection) {
        return connection.exchange != nullptr && connection.exchange->kept > 0;
    });
    if (longest != idle.end() && Clock::now() - longest->idleSince > age)
        cut(*longest);
}

void ConnectionTable::cut(Connection& connection)
{
    // libmicrohttpd closes it as soon as it has noticed. Then nothing shall remain of it in the
    // system, which else remembers each connection for a minute.
    const linger forgetAtOnce { .l_onoff = 1, .l_linger = 0 };
    ::setsockopt(connection.descriptor, SOL_SOCKET, SO_LINGER, &forgetAtOnce, sizeof forgetAtOnce);
    ::shutdown(connection.descriptor, SHUT_RDWR);
    connection.cut = true;
    ++beingCut;
    ++everCut;
    setBusy(connection);
}

} // namespace quibel::inbox
