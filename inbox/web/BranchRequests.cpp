#include "inbox/web/BranchRequests.h"

#include "inbox/api/Answers.h"
#include "inbox/storage/Storage.h"
#include "inbox/web/LiveUpdates.h"
#include "inbox/web/PageDocuments.h"
#include "inbox/web/PageFiles.h"
#include "inbox/web/SmallBody.h"

#include <QJsonDocument>
#include <QStringDecoder>

#include <algorithm>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

HttpResponse unknownBranch()
{
    return HttpResponse::error(404, u"unknown_branch"_s, u"there is no branch of this id"_s);
}

/// The text of a query value; none when a database could not compare it.
std::optional<QString> textOf(const QByteArray& value)
{
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder(value);
    if (decoder.hasError() || text.contains(QChar::Null))
        return {};
    return text;
}

/// What the query of a request asks for; none when it makes no sense.
std::optional<BranchQuery> readQuery(const HttpRequest& request, const QString& accountID)
{
    constexpr qsizetype longestSearch = 1000;
    static const QHash<QByteArray, BranchQuery::State> states {
        { "open", BranchQuery::State::open },
        { "done", BranchQuery::State::done },
        { "any", BranchQuery::State::any },
    };
    const auto search = textOf(request.query.value("search"));
    const auto project = textOf(request.query.value("project"));
    const auto state = states.constFind(request.query.value("state", "open"));
    bool isNumber = true;
    const auto before = request.query.contains("before")
        ? request.query.value("before").toLongLong(&isNumber)
        : 1;
    if (!search || search->size() > longestSearch || !project || state == states.cend() || !isNumber
        || before < 1)
        return {};

    BranchQuery query { .accountID = accountID, .search = *search, .state = *state };
    if (*project == u"none")
        query.project = BranchQuery::NoProject {};
    else if (!project->isEmpty())
        query.project = *project;
    if (request.query.contains("before"))
        query.before = before;
    return query;
}

bool isHash(const QByteArray& text)
{
    constexpr qsizetype digits = 64;
    return text.size() == digits && std::all_of(text.begin(), text.end(), [](char character) {
               return (character >= '0' && character <= '9')
                   || (character >= 'a' && character <= 'f');
           });
}

} // namespace

BranchRequests::BranchRequests(Storage& allStorage, LiveUpdates& liveUpdates)
    : storage(allStorage)
    , updates(liveUpdates)
{
}

HttpResponse BranchRequests::list(const HttpRequest& request, const WebSession& session)
{
    auto query = readQuery(request, session.account.id);
    if (!query)
        return HttpResponse::error(
            400,
            u"invalid_query"_s,
            u"search must be up to 1000 characters, project an id or \"none\", state \"open\", "
            u"\"done\" or \"any\", before the number of a branch"_s);
    query->limit = atATime + 1;
    auto found = storage.branches.find(*query);
    if (const auto* error = std::get_if<StorageError>(&found))
        return storageFailed(*error);

    auto& branches = std::get<QList<StoredBranch>>(found);
    QJsonValue next(QJsonValue::Null);
    if (branches.size() > atATime) {
        branches.resize(atATime);
        next = branches.last().number;
    }
    return HttpResponse::json(
        200,
        QJsonDocument(QJsonObject { { u"branches"_s, toJson(branches) }, { u"next"_s, next } }));
}

HttpResponse BranchRequests::one(const WebSession& session, const QString& branchID)
{
    const auto found = storage.branches.one(session.account.id, branchID);
    if (const auto* error = std::get_if<StorageError>(&found))
        return storageFailed(*error);
    const auto& branch = std::get<std::optional<StoredBranch>>(found);
    return branch ? HttpResponse::json(200, QJsonDocument(toJson(*branch))) : unknownBranch();
}

HttpResponse BranchRequests::change(const HttpRequest& request,
                                    const WebSession& session,
                                    const QString& branchID)
{
    const auto body = readSmallBody(request, readBranchChange);
    if (const auto* refusal = std::get_if<HttpResponse>(&body))
        return *refusal;
    const auto& change = std::get<BranchChange>(body);
    const auto& accountID = session.account.id;

    const auto known = storage.branches.has(accountID, branchID);
    if (const auto* error = std::get_if<StorageError>(&known))
        return storageFailed(*error);
    if (!std::get<bool>(known))
        return unknownBranch();
    if (change.projectID && *change.projectID) {
        const auto knownProject = storage.projects.has(accountID, **change.projectID);
        if (const auto* error = std::get_if<StorageError>(&knownProject))
            return storageFailed(*error);
        if (!std::get<bool>(knownProject))
            return HttpResponse::error(
                422, u"unknown_project"_s, u"project_id is not a project of this account"_s);
    }

    StorageResult<bool> changed = true;
    const auto failed = [&] { return std::get_if<StorageError>(&changed); };
    if (change.projectID)
        changed = storage.branches.setProject(accountID, branchID, *change.projectID);
    if (change.done && !failed())
        changed = storage.branches.setDone(accountID, branchID, *change.done);
    if (change.deleted && !failed())
        changed = storage.branches.setDeleted(accountID, branchID, *change.deleted);
    if (const auto* error = failed())
        return storageFailed(*error);
    updates.branchChanged(accountID, branchID);
    return one(session, branchID);
}

HttpResponse BranchRequests::picture(const HttpRequest& request,
                                     const WebSession& session,
                                     const QByteArray& sha256)
{
    if (!isHash(sha256))
        return HttpResponse::notFound();
    const auto found = storage.screenshots.picture(session.account.id, QString::fromLatin1(sha256));
    if (const auto* error = std::get_if<StorageError>(&found))
        return storageFailed(*error);
    const auto& picture = std::get<std::optional<QByteArray>>(found);
    if (!picture)
        return HttpResponse::notFound();

    const QByteArray tag = '"' + sha256 + '"';
    HttpResponse response {
        .status = 304,
        .headers = { { "ETag", tag }, { "Cache-Control", "private, max-age=31536000, immutable" } }
    };
    if (hasAlready(request, tag))
        return response;
    response.status = 200;
    response.body = *picture;
    return std::move(response).with("Content-Type", "image/png");
}

} // namespace quibel::inbox
