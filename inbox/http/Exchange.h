#pragma once

#include "inbox/http/HttpRequest.h"
#include "inbox/http/HttpResponse.h"

#include <optional>

struct MHD_Connection;

namespace quibel::inbox {

/// One request on its way to an answer. The server's thread has it until it is handed over, and
/// again from the moment the connection is resumed.
struct Exchange
{
    MHD_Connection* connection = nullptr;
    QByteArray target; ///< As it stood in the request line.
    HttpRequest request {};
    bool begun = false;     ///< The header is complete.
    qsizetype received = 0; ///< Bytes of the body.
    qsizetype kept = 0;     ///< Those of them that the limit of all bodies counts.
    std::optional<HttpResponse> response {};
};

} // namespace quibel::inbox
