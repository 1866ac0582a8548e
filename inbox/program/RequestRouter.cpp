#include "inbox/program/RequestRouter.h"

#include "inbox/api/Answers.h"
#include "inbox/storage/Database.h"
#include "inbox/storage/SecretToken.h"
#include "inbox/storage/Storage.h"
#include "inbox/storage/WriteGroup.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <utility>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

bool isLocalName(const QByteArray& host)
{
    const auto end = host.startsWith('[') ? host.indexOf(']') + 1 : host.indexOf(':');
    const auto name = (end > 0 ? host.first(end) : host).toLower();
    return name == "localhost" || name == "127.0.0.1" || name == "[::1]";
}

HttpResponse routed(HttpResponse response, const QByteArray& route)
{
    response.route = route;
    return response;
}

} // namespace

RequestRouter::RequestRouter(Database& openDatabase, Storage& allStorage, Options routerOptions)
    : database(openDatabase)
    , storage(allStorage)
    , options(std::move(routerOptions))
    , updates(storage.sessions)
    , agent(storage,
            [this](const QString& accountID, const QString& branchID) {
                updates.branchChanged(accountID, branchID);
            })
    , site(storage, updates, u"" QUIBEL_VERSION ""_s)
{
}

QList<HttpResponse> RequestRouter::answer(const QList<HttpRequest>& requests)
{
    auto responses = answerInGroup(requests);
    noteUses();
    return responses;
}

QList<HttpResponse> RequestRouter::answerInGroup(const QList<HttpRequest>& requests)
{
    WriteGroup group(database);
    QList<HttpResponse> responses;
    responses.reserve(requests.size());
    for (const auto& request : requests)
        responses.append(route(request));

    if (const auto error = group.commit()) {
        updates.drop();
        // Not only those that wrote: another may have been told of what was never kept.
        for (auto& response : responses)
            response = routed(storageFailed(*error), response.route);
    } else {
        updates.publish();
    }
    return responses;
}

/// What cannot be noted now is noted with a later use.
void RequestRouter::noteUses()
{
    if (!storage.keys.hasUses() && !storage.sessions.hasUses())
        return;
    WriteGroup group(database, WriteGroup::Waiting::none);
    if (!storage.keys.noteUses() && !storage.sessions.noteUses())
        (void)group.commit();
}

HttpResponse RequestRouter::route(const HttpRequest& request)
{
    if (request.path == "/healthz")
        return routed(health(request), "/healthz");
    if (auto refusal = refuseStrangeHost(request))
        return *std::move(refusal);
    if (request.path == "/metrics")
        return routed(metrics(request), "/metrics");
    return request.path.startsWith("/api/") ? agent.answer(request) : site.answer(request);
}

HttpResponse RequestRouter::health(const HttpRequest& request)
{
    if (request.method != "GET")
        return HttpResponse::wrongMethod("GET, HEAD");
    const auto read = storage.keys.any();
    if (const auto* error = std::get_if<StorageError>(&read))
        return storageFailed(*error);
    return HttpResponse::json(200, QJsonDocument(QJsonObject { { u"status"_s, u"ok"_s } }));
}

HttpResponse RequestRouter::metrics(const HttpRequest& request) const
{
    if (request.method != "GET")
        return HttpResponse::wrongMethod("GET, HEAD");
    if (!request.clientIsLocal)
        return HttpResponse::error(
            403, u"forbidden"_s, u"metrics are for programs of the service's own machine"_s);
    return { .status = 200,
             .headers = { { "Content-Type", "text/plain; version=0.0.4; charset=utf-8" },
                          { "Cache-Control", "no-store" } },
             .body = options.metrics() };
}

std::optional<HttpResponse> RequestRouter::refuseStrangeHost(const HttpRequest& request) const
{
    if (!options.localNamesOnly || isLocalName(request.headers.value("host")))
        return {};
    return routed(HttpResponse::error(421,
                                      u"misdirected_request"_s,
                                      u"this service listens on this machine only, as localhost, "
                                      u"127.0.0.1 or [::1]; use one of these names, or start it "
                                      u"with --behind-proxy"_s),
                  "misdirected");
}

} // namespace quibel::inbox
