#pragma once

#include "inbox/agent/AgentApi.h"
#include "inbox/http/HttpRequest.h"
#include "inbox/http/HttpResponse.h"
#include "inbox/web/LiveUpdates.h"
#include "inbox/web/WebSite.h"

#include <QByteArray>
#include <QList>

#include <functional>
#include <optional>

namespace quibel::inbox {

class Database;
struct Storage;

/// Gives each request to the part that answers it, and has requests that came together share one
/// change of the database.
///
/// Thread: main.
class RequestRouter
{
public:
    struct Options
    {
        /// Only names of this machine may stand in the header Host: the name of some other site
        /// there means that a browser was tricked into taking this service for it.
        bool localNamesOnly = true;
        std::function<QByteArray()> metrics; ///< What `/metrics` answers.
    };

    RequestRouter(Database& openDatabase, Storage& allStorage, Options routerOptions);

    /// One response for each request, in the same order. When their writes could not be kept, all
    /// of them say so.
    [[nodiscard]] QList<HttpResponse> answer(const QList<HttpRequest>& requests);

private:
    [[nodiscard]] QList<HttpResponse> answerInGroup(const QList<HttpRequest>& requests);
    [[nodiscard]] HttpResponse route(const HttpRequest& request);
    void noteUses();
    [[nodiscard]] HttpResponse health(const HttpRequest& request);
    [[nodiscard]] HttpResponse metrics(const HttpRequest& request) const;
    [[nodiscard]] std::optional<HttpResponse> refuseStrangeHost(const HttpRequest& request) const;

    Database& database;
    Storage& storage;
    Options options;
    LiveUpdates updates;
    AgentApi agent;
    WebSite site;
};

} // namespace quibel::inbox
