#include "inbox/agent/AgentApi.h"

#include "inbox/agent/AgentDocuments.h"
#include "inbox/agent/PngPicture.h"
#include "inbox/api/Answers.h"
#include "inbox/storage/ApiKey.h"
#include "inbox/storage/BranchStorage.h"

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

HttpResponse notFound()
{
    return HttpResponse::error(
        404, u"not_found"_s, u"there is nothing at this path; check the base URL"_s);
}

HttpResponse wrongMethod(const QByteArray& allowed)
{
    return HttpResponse::error(405,
                               u"method_not_allowed"_s,
                               u"this path takes %1"_s.arg(QString::fromLatin1(allowed)))
        .with("Allow", allowed);
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

HttpResponse created(const QString& kind, const StorageResult<QString>& stored)
{
    if (const auto* error = std::get_if<StorageError>(&stored))
        return storageFailed(*error);
    const QJsonObject thing { { u"id"_s, std::get<QString>(stored) } };
    return HttpResponse::json(201, QJsonDocument(QJsonObject { { kind, thing } }));
}

} // namespace

AgentApi::AgentApi(BranchStorage& branchStorage)
    : storage(branchStorage)
{
}

HttpResponse AgentApi::answer(const HttpRequest& request)
{
    const auto parts = request.path.split('/');
    if (parts.size() < 3 || !parts.at(0).isEmpty() || parts.at(1) != "api")
        return notFound();
    if (auto refusal = refuseUnknownKey(request))
        return *refusal;

    if (request.path == "/api/projects")
        return request.method == "GET" ? listProjects() : wrongMethod("GET, HEAD");
    if (request.path == "/api/branches/from-agent")
        return request.method == "POST" ? addBranch(request) : wrongMethod("POST");
    if (parts.size() == 5 && parts.at(2) == "branches" && parts.at(4) == "screenshots")
        return request.method == "POST" ? addScreenshot(QString::fromUtf8(parts.at(3)), request)
                                        : wrongMethod("POST");
    return notFound();
}

std::optional<HttpResponse> AgentApi::refuseUnknownKey(const HttpRequest& request)
{
    const auto authorization = request.headers.value("authorization");
    const auto blank = authorization.indexOf(' ');
    const bool bearer = blank > 0 && authorization.left(blank).toLower() == "bearer";
    const auto known = bearer ? storage.hasKey(hashApiKey(authorization.mid(blank + 1).trimmed()))
                              : StorageResult<bool>(false);
    if (const auto* error = std::get_if<StorageError>(&known))
        return storageFailed(*error);
    if (std::get<bool>(known))
        return {};
    return HttpResponse::error(401,
                               u"unauthorized"_s,
                               u"the header Authorization must be \"Bearer \" and a key of this "
                               u"service; quibel-inbox keys create makes one"_s)
        .with("WWW-Authenticate", "Bearer");
}

HttpResponse AgentApi::listProjects()
{
    const auto found = storage.projects();
    if (const auto* error = std::get_if<StorageError>(&found))
        return storageFailed(*error);
    QJsonArray list;
    for (const auto& project : std::get<QList<StoredProject>>(found))
        list.append(QJsonObject { { u"id"_s, project.id }, { u"name"_s, project.name } });
    return HttpResponse::json(200, QJsonDocument(list));
}

HttpResponse AgentApi::addBranch(const HttpRequest& request)
{
    if (auto refusal = refuseOtherThanJson(request))
        return *refusal;
    if (request.bodyOverLimit || request.body.size() > largestBranch)
        return tooLarge(u"a branch document may have 1 MiB; shorten "
                        u"context_snapshot.captured_text"_s);
    const auto decoded = decodeBranch(request.body);
    if (const auto* error = std::get_if<DocumentError>(&decoded))
        return invalidBody(*error);

    const auto& document = std::get<BranchDocument>(decoded);
    if (document.projectID) {
        const auto known = storage.hasProject(*document.projectID);
        if (const auto* error = std::get_if<StorageError>(&known))
            return storageFailed(*error);
        if (!std::get<bool>(known))
            return HttpResponse::error(422,
                                       u"unknown_project"_s,
                                       u"project_id is not a project of this service; take one "
                                       u"from api/projects or null"_s);
    }
    return created(u"branch"_s, storage.addBranch(document));
}

HttpResponse AgentApi::addScreenshot(const QString& branchID, const HttpRequest& request)
{
    const auto known = storage.hasBranch(branchID);
    if (const auto* error = std::get_if<StorageError>(&known))
        return storageFailed(*error);
    if (!std::get<bool>(known))
        return HttpResponse::error(404, u"unknown_branch"_s, u"there is no branch of this id"_s);
    if (auto refusal = refuseOtherThanJson(request))
        return *refusal;

    const auto overLimit = u"image_base64 may stand for 8 MiB; send a smaller picture"_s;
    if (request.bodyOverLimit)
        return tooLarge(overLimit);
    const auto decoded = decodeScreenshot(request.body);
    if (const auto* error = std::get_if<DocumentError>(&decoded))
        return invalidBody(*error);

    const auto& document = std::get<ScreenshotDocument>(decoded);
    if (document.picture.size() > largestPicture)
        return tooLarge(overLimit);
    if (document.branchID != branchID)
        return invalidBody({ u"metadata.branch.branch_id must be the id in the path"_s });
    const auto size = checkPng(document.picture);
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
    return created(u"screenshot"_s, storage.addScreenshot(document, *size));
}

} // namespace quibel::inbox
