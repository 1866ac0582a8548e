#pragma once

#include "inbox/http/HttpRequest.h"
#include "inbox/http/HttpResponse.h"
#include "inbox/web/WebSession.h"

#include <QString>

namespace quibel::inbox {

struct Storage;

/// What the page asks about the keys of agents.
class KeyRequests
{
public:
    explicit KeyRequests(Storage& allStorage);

    [[nodiscard]] HttpResponse list(const WebSession& session);
    /// The answer is the only place where the key itself is ever shown.
    [[nodiscard]] HttpResponse add(const HttpRequest& request, const WebSession& session);
    [[nodiscard]] HttpResponse revoke(const WebSession& session, const QString& keyID);

private:
    Storage& storage;
};

} // namespace quibel::inbox
