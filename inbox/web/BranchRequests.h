#pragma once

#include "inbox/http/HttpRequest.h"
#include "inbox/http/HttpResponse.h"
#include "inbox/web/WebSession.h"

#include <QString>

namespace quibel::inbox {

class LiveUpdates;
struct Storage;

/// What the page asks about branches.
class BranchRequests
{
public:
    static constexpr int atATime = 50;

    BranchRequests(Storage& allStorage, LiveUpdates& liveUpdates);

    [[nodiscard]] HttpResponse list(const HttpRequest& request, const WebSession& session);
    [[nodiscard]] HttpResponse one(const WebSession& session, const QString& branchID);
    [[nodiscard]] HttpResponse
    change(const HttpRequest& request, const WebSession& session, const QString& branchID);
    [[nodiscard]] HttpResponse
    picture(const HttpRequest& request, const WebSession& session, const QByteArray& sha256);

private:
    Storage& storage;
    LiveUpdates& updates;
};

} // namespace quibel::inbox
