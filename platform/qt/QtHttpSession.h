#pragma once

#include "platform/HttpSession.h"
#include "platform/qt/HttpTimeouts.h"

#include <QObject>

namespace quibel {

/// HTTP over the toolkit's network access.
///
/// Nothing is shared between requests or kept after them: no connection, cookie, cache or
/// credential. So a change of network or a sleep of the machine leaves no dead connection behind.
/// The proxy of the system or of the environment serves other machines, never this one.
class QtHttpSession final : public HttpSession
{
public:
    explicit QtHttpSession(const HttpTimeouts& requestTimeouts = {});

    void send(const HttpRequest& request, Completion completion) override;

private:
    HttpTimeouts timeouts;
    QObject exchanges; ///< Owns the requests under way; their completions end with it.
};

} // namespace quibel
