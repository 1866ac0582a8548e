#pragma once

#include "inbox/http/HttpRequest.h"
#include "inbox/http/HttpResponse.h"
#include "inbox/web/WebSession.h"

#include <QString>

namespace quibel::inbox {

class LiveUpdates;
struct Storage;

/// What the page asks about projects.
class ProjectRequests
{
public:
    ProjectRequests(Storage& allStorage, LiveUpdates& liveUpdates);

    [[nodiscard]] HttpResponse list(const WebSession& session);
    [[nodiscard]] HttpResponse add(const HttpRequest& request, const WebSession& session);
    /// Answers with the whole list, because one project that moves changes the place of others.
    [[nodiscard]] HttpResponse
    change(const HttpRequest& request, const WebSession& session, const QString& projectID);

private:
    Storage& storage;
    LiveUpdates& updates;
};

} // namespace quibel::inbox
