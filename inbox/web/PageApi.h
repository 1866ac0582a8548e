#pragma once

#include "inbox/http/HttpRequest.h"
#include "inbox/http/HttpResponse.h"
#include "inbox/web/BranchRequests.h"
#include "inbox/web/KeyRequests.h"
#include "inbox/web/ProjectRequests.h"
#include "inbox/web/WebSession.h"

#include <QString>

namespace quibel::inbox {

class LiveUpdates;
struct Storage;

/// What the page's own scripts ask for, below /web/ and /pictures/, by somebody who is signed in.
class PageApi
{
public:
    PageApi(Storage& storage, LiveUpdates& liveUpdates, QString programVersion);

    [[nodiscard]] HttpResponse answer(const HttpRequest& request, const WebSession& session);

private:
    [[nodiscard]] HttpResponse describeSession(const HttpRequest& request,
                                               const WebSession& session) const;
    [[nodiscard]] HttpResponse ofAll(const HttpRequest& request, const WebSession& session);
    [[nodiscard]] HttpResponse ofOne(const HttpRequest& request, const WebSession& session);

    LiveUpdates& updates;
    QString version;
    BranchRequests branches;
    ProjectRequests projects;
    KeyRequests keys;
};

} // namespace quibel::inbox
