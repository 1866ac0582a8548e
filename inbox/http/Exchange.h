#pragma once

#include "inbox/http/HttpRequest.h"
#include "inbox/http/HttpResponse.h"
#include "inbox/http/RequestRecord.h"

#include <chrono>
#include <optional>

struct MHD_Connection;

namespace quibel::inbox {

/// One request on its way to an answer. The server's thread has it until it is handed over, and
/// again from the moment the connection is resumed.
class Exchange
{
public:
    struct Transport
    {
        bool tls = false;
        bool behindProxy = false; ///< What a proxy says of the client is true.
    };

    /// `requestTarget` is what stands in the request line between the method and the version.
    Exchange(MHD_Connection* mhdConnection, const char* requestTarget);

    /// Takes the header over, once, as soon as it is complete; a malformed one has its response
    /// then.
    void readHeader(const char* method, const char* version, const Transport& transport);
    [[nodiscard]] bool hasHeader() const { return headerRead; }

    /// None while nothing was answered.
    [[nodiscard]] std::optional<RequestRecord> record() const;

    MHD_Connection* connection;
    HttpRequest request {};
    qsizetype received = 0; ///< Bytes of the body.
    qsizetype kept = 0;     ///< Those of them that are in memory.
    std::optional<HttpResponse> response {};

private:
    [[nodiscard]] QString malformation(const char* version) const;
    void readClient(const Transport& transport);

    using Clock = std::chrono::steady_clock;

    Clock::time_point begin = Clock::now();
    QByteArray target;
    const char* targetEnd; ///< Behind the text, where it lies.
    QByteArray method;     ///< As it was sent.
    QByteArray client;
    bool headerRead = false;
};

} // namespace quibel::inbox
