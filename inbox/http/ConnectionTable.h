#pragma once

#include <QtGlobal>

#include <chrono>
#include <list>
#include <memory>

struct gnutls_certificate_credentials_st;

namespace quibel::inbox {

class Exchange;

/// The connections that are open, in the order in which they wait for the service's work: the one
/// that has gone longest without a complete request is the first to be cut when room is needed.
///
/// Thread: the server's.
class ConnectionTable
{
public:
    using Clock = std::chrono::steady_clock;

    struct Connection
    {
        int descriptor = -1;
        std::shared_ptr<gnutls_certificate_credentials_st> credentials {};
        const Exchange* exchange = nullptr; ///< The request that is coming in, if any.
        Clock::time_point idleSince {};
        bool idle = true;
        bool cut = false;
        std::list<Connection>::iterator place {};
    };

    /// `limit` connections are kept; above it the longest idle one is cut.
    explicit ConnectionTable(std::size_t connectionLimit);

    Connection& add(int descriptor);
    void remove(Connection& connection);
    [[nodiscard]] std::size_t open() const { return idle.size() + busy.size(); }
    [[nodiscard]] std::size_t cutSoFar() const { return everCut; }

    /// The request is complete, and the service has it: a connection is not cut meanwhile.
    void setBusy(Connection& connection);
    /// The answer goes out, and the next request may come.
    void setIdle(Connection& connection);

    /// Cuts the connection that has taken longest to send a body, if that is longer than `age`.
    void cutLongestBody(std::chrono::milliseconds age);

private:
    void cut(Connection& connection);

    std::size_t limit;
    std::size_t beingCut = 0;
    std::size_t everCut = 0;
    std::list<Connection> idle; ///< The longest first.
    std::list<Connection> busy; ///< Also those that were cut and are not gone yet.
};

} // namespace quibel::inbox
