#include "inbox/web/ProjectRequests.h"

#include "inbox/api/Answers.h"
#include "inbox/storage/Storage.h"
#include "inbox/web/LiveUpdates.h"
#include "inbox/web/PageDocuments.h"
#include "inbox/web/SmallBody.h"

#include <QJsonDocument>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

ProjectRequests::ProjectRequests(Storage& allStorage, LiveUpdates& liveUpdates)
    : storage(allStorage)
    , updates(liveUpdates)
{
}

HttpResponse ProjectRequests::list(const WebSession& session)
{
    const auto found = storage.projects.ofAccount(session.account.id);
    if (const auto* error = std::get_if<StorageError>(&found))
        return storageFailed(*error);
    return HttpResponse::json(200, QJsonDocument(toJson(std::get<QList<StoredProject>>(found))));
}

HttpResponse ProjectRequests::add(const HttpRequest& request, const WebSession& session)
{
    const auto body = readSmallBody(request, readName);
    if (const auto* refusal = std::get_if<HttpResponse>(&body))
        return *refusal;
    const auto& name = std::get<QString>(body);
    const auto added = storage.projects.add(session.account.id, name);
    if (const auto* error = std::get_if<StorageError>(&added))
        return storageFailed(*error);
    updates.projectsChanged(session.account.id);
    const StoredProject project { .id = std::get<QString>(added), .name = name };
    return HttpResponse::json(201, QJsonDocument(toJson(project)));
}

HttpResponse ProjectRequests::change(const HttpRequest& request,
                                     const WebSession& session,
                                     const QString& projectID)
{
    const auto body = readSmallBody(request, readProjectChange);
    if (const auto* refusal = std::get_if<HttpResponse>(&body))
        return *refusal;
    const auto& change = std::get<ProjectChange>(body);
    const auto& accountID = session.account.id;

    auto changed = storage.projects.has(accountID, projectID);
    const auto goesOn
        = [&] { return std::holds_alternative<bool>(changed) && std::get<bool>(changed); };
    if (change.name && goesOn())
        changed = storage.projects.rename(accountID, projectID, *change.name);
    if (change.archived && goesOn())
        changed = storage.projects.setArchived(accountID, projectID, *change.archived);
    if (change.place && goesOn())
        changed = storage.projects.moveTo(accountID, projectID, *change.place);
    if (const auto* error = std::get_if<StorageError>(&changed))
        return storageFailed(*error);
    if (!goesOn())
        return HttpResponse::error(404, u"unknown_project"_s, u"there is no project of this id"_s);
    updates.projectsChanged(accountID);
    return list(session);
}

} // namespace quibel::inbox
