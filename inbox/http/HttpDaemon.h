#pragma once

#include "inbox/http/ConnectionTable.h"
#include "inbox/http/HttpServerOptions.h"
#include "inbox/http/ListenSocket.h"

#include <functional>
#include <memory>
#include <optional>

struct MHD_Connection;
struct MHD_Daemon;

namespace quibel::inbox {

class Exchange;
class OpenStreams;

/// Talks to all connections, on a thread of its own: reads requests, keeps the limits, sends what
/// was answered.
class HttpDaemon
{
public:
    /// Takes a complete request: suspends its connection, and has it resumed once its response is
    /// set. Returns false, without either, when there will be no answer any more.
    ///
    /// Thread: the daemon's.
    using Receiver = std::function<bool(Exchange&)>;

    HttpDaemon(HttpServerOptions serverOptions, OpenStreams& openStreams, Receiver requestReceiver);
    Q_DISABLE_COPY_MOVE(HttpDaemon)
    /// No connection may be suspended any more.
    ~HttpDaemon();

    [[nodiscard]] bool start(ListenSocket socket);

    /// Only the receiver may call it.
    static void suspend(const Exchange& exchange);
    /// Lets a connection go on that was suspended.
    ///
    /// Thread: any.
    static void resume(const Exchange& exchange);

private:
    struct Callbacks;
    struct Stopper
    {
        void operator()(MHD_Daemon* running) const;
    };

    void opened(MHD_Connection* connection, void** state);
    void closed(void** state);
    void readHeader(Exchange& exchange, const char* method, const char* version) const;
    [[nodiscard]] bool collect(Exchange& exchange, const char* bytes, std::size_t size);
    [[nodiscard]] bool handOver(Exchange& exchange);
    [[nodiscard]] bool respond(const Exchange& exchange);
    void forgetBody(Exchange& exchange);
    void finish(Exchange& exchange);
    void countConnections() const;

    HttpServerOptions options;
    OpenStreams& streams;
    Receiver receiver;
    std::optional<ConnectionTable> connections;
    qsizetype bodyBytes = 0;
    std::unique_ptr<MHD_Daemon, Stopper> daemon;
};

} // namespace quibel::inbox
