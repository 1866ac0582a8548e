#include "inbox/agent/AgentApi.h"

#include "inbox/agent/AgentDocuments.h"
#include "inbox/agent/PngPicture.h"
#include "inbox/api/Answers.h"
#include "inbox/api/ByMethod.h"
#include "inbox/storage/SecretToken.h"
#include "inbox/storage/Storage.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype largestBranch = 1024LL * 1024;
constexpr qsizetype largestPicture = 8LL * 1024 * 1024;
/// A small file may unpack to a picture that no browser can show.
constexpr qint64 mostPixels = 100'000'000;
const auto pictureLimit = u"image_base64 may stand for 8 MiB; send a smaller picture"_s;

const auto screenshotsRoute = "/api/branches/{id}/screenshots"_ba;

/// The kind of path, without anything of the caller's own.
QByteArray routeOf(const QByteArray& path)
{
    if (path == "/api/projects" || path == "/api/branches/from-agent")
        return path;
    const auto parts = path.split('/');
    const bool isScreenshots
        = parts.size() == 5 && path.startsWith("/api/branches/") && parts.at(4) == "screenshots";
    return isScreenshots ? screenshotsRoute : "/{unknown}"_ba;
}

/// The key that a request brings along; empty when there is none.
QByteArray keyOf(const HttpRequest& request)
{
    const auto authorization = request.headers.value("authorization");
    const auto blank = authorization.indexOf(' ');
    const bool isBearer = blank > 0 && authorization.left(blank).toLower() == "bearer";
    return isBearer ? authorization.mid(blank + 1).trimmed() : QByteArray();
}

/// What of the metadata the picture itself contradicts.
std::optional<QString> contradiction(const ScreenshotDocument& document, QSize size)
{
    const auto differs = [](const std::optional<qint64>& stated, qint64 found) {
        return stated && *stated != found;
    };
    const auto text = u"metadata.image.%1 is %2, but the picture has %3; send what belongs to it"_s;
    if (differs(document.width, size.width()))
        return text.arg(u"width"_s).arg(*document.width).arg(size.width());
    if (differs(document.height, size.height()))
        return text.arg(u"height"_s).arg(*document.height).arg(size.height());
    if (differs(document.byteSize, document.picture.size()))
        return text.arg(u"byte_size"_s).arg(*document.byteSize).arg(document.picture.size());
    return {};
}

std::optional<HttpResponse> refusePicture(const ScreenshotDocument& document,
                                          const std::optional<QSize>& size)
{
    if (!size)
        return HttpResponse::error(
            422, u"not_a_png"_s, u"image_base64 must stand for a PNG that arrived whole"_s);
    if (qint64(size->width()) * size->height() > mostPixels)
        return HttpResponse::error(422,
                                   u"too_many_pixels"_s,
                                   u"the picture of image_base64 may have 100 megapixels; send a "
                                   u"smaller one"_s);
    if (const auto problem = contradiction(document, *size))
        return HttpResponse::error(422, u"picture_contradicts_metadata"_s, *problem);
    return {};
}

HttpResponse created(const QString& kind, const StorageResult<QString>& stored)
{
    if (const auto* error = std::get_if<StorageError>(&stored))
        return storageFailed(*error);
    const QJsonObject thing { { u"id"_s, std::get<QString>(stored) } };
    return HttpResponse::json(201, QJsonDocument(QJsonObject { { kind, thing } }));
}

} // namespace

AgentApi::AgentApi(Storage& allStorage, BranchChanged changeCallback)
    : storage(allStorage)
    , branchChanged(std::move(changeCallback))
{
}

HttpResponse AgentApi::answer(const HttpRequest& request)
{
    auto response = checked(request);
    response.route = routeOf(request.path);
    return response;
}

HttpResponse AgentApi::checked(const HttpRequest& request)
{
    if (!request.path.startsWith("/api/"))
        return HttpResponse::notFound();
    const auto key = keyOf(request);
    const auto owner = key.isEmpty() ? std::optional<QString>() : storage.keys.use(hashSecret(key));
    if (const auto* error = std::get_if<StorageError>(&owner))
        return storageFailed(*error);
    if (const auto& accountID = std::get<std::optional<QString>>(owner))
        return routed(request, *accountID);
    return HttpResponse::error(
               401,
               u"unauthorized"_s,
               u"the header Authorization must be \"Bearer \" and a key of this "
               u"service; its settings page and quibel-inbox keys create make one"_s)
        .with("WWW-Authenticate", "Bearer");
}

HttpResponse AgentApi::routed(const HttpRequest& request, const QString& accountID)
{
    const auto& path = request.path;
    if (path == "/api/projects")
        return byMethod(request, { { "GET", [&] { return listProjects(accountID); } } });
    if (path == "/api/branches/from-agent")
        return byMethod(request, { { "POST", [&] { return addBranch(request, accountID); } } });
    if (routeOf(path) == screenshotsRoute)
        return byMethod(request,
                        { { "POST", [&] {
                               return addScreenshot(
                                   request, accountID, QString::fromUtf8(path.split('/').at(3)));
                           } } });
    return HttpResponse::notFound();
}

HttpResponse AgentApi::listProjects(const QString& accountID)
{
    const auto found = storage.projects.ofAccount(accountID);
    if (const auto* error = std::get_if<StorageError>(&found))
        return storageFailed(*error);
    QJsonArray list;
    for (const auto& project : std::get<QList<StoredProject>>(found))
        if (!project.archived)
            list.append(QJsonObject { { u"id"_s, project.id }, { u"name"_s, project.name } });
    return HttpResponse::json(200, QJsonDocument(list));
}

HttpResponse AgentApi::addBranch(const HttpRequest& request, const QString& accountID)
{
    if (auto refusal = refuseOtherThanJson(request))
        return *std::move(refusal);
    if (request.bodyOverLimit || request.body.size() > largestBranch)
        return tooLarge(u"a branch document may have 1 MiB; shorten "
                        u"context_snapshot.captured_text"_s);
    const auto decoded = decodeBranch(request.body);
    if (const auto* error = std::get_if<DocumentError>(&decoded))
        return invalidBody(*error);

    const auto& document = std::get<BranchDocument>(decoded);
    if (document.projectID) {
        const auto known = storage.projects.has(accountID, *document.projectID);
        if (const auto* error = std::get_if<StorageError>(&known))
            return storageFailed(*error);
        if (!std::get<bool>(known))
            return HttpResponse::error(422,
                                       u"unknown_project"_s,
                                       u"project_id is not a project of this account; take one "
                                       u"from api/projects or null"_s);
    }
    const auto stored = storage.branches.add(accountID, document);
    if (const auto* branchID = std::get_if<QString>(&stored))
        branchChanged(accountID, *branchID);
    return created(u"branch"_s, stored);
}

HttpResponse AgentApi::addScreenshot(const HttpRequest& request,
                                     const QString& accountID,
                                     const QString& branchID)
{
    const auto known = storage.branches.has(accountID, branchID);
    if (const auto* error = std::get_if<StorageError>(&known))
        return storageFailed(*error);
    if (!std::get<bool>(known))
        return HttpResponse::error(404, u"unknown_branch"_s, u"there is no branch of this id"_s);
    if (auto refusal = refuseOtherThanJson(request))
        return *std::move(refusal);
    if (request.bodyOverLimit)
        return tooLarge(pictureLimit);
    const auto decoded = decodeScreenshot(request.body);
    if (const auto* error = std::get_if<DocumentError>(&decoded))
        return invalidBody(*error);

    const auto& document = std::get<ScreenshotDocument>(decoded);
    if (document.picture.size() > largestPicture)
        return tooLarge(pictureLimit);
    if (document.branchID != branchID)
        return invalidBody({ u"metadata.branch.branch_id must be the id in the path"_s });
    const auto size = checkPng(document.picture);
    if (auto refusal = refusePicture(document, size))
        return *std::move(refusal);
    const auto stored = storage.screenshots.add(document, *size);
    if (std::holds_alternative<QString>(stored))
        branchChanged(accountID, branchID);
    return created(u"screenshot"_s, stored);
}

} // namespace quibel::inbox
