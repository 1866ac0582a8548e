#include "inbox/web/PageApi.h"

#include "inbox/web/LiveUpdates.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

PageApi::PageApi(Storage& storage, LiveUpdates& liveUpdates, QString programVersion)
    : updates(liveUpdates)
    , version(std::move(programVersion))
    , branches(storage, liveUpdates)
    , projects(storage, liveUpdates)
    , keys(storage)
{
}

HttpResponse PageApi::answer(const HttpRequest& request, const WebSession& session)
{
    const auto parts = request.path.split('/');
    if (parts.size() == 3 && parts.at(1) == "pictures")
        return request.method == "GET" ? branches.picture(request, session, parts.at(2))
                                       : HttpResponse::wrongMethod("GET, HEAD");
    return parts.size() == 4 ? ofOne(request, session) : ofAll(request, session);
}

HttpResponse PageApi::ofAll(const HttpRequest& request, const WebSession& session)
{
    const auto& path = request.path;
    const bool isGet = request.method == "GET";
    const bool isPost = request.method == "POST";
    if (path == "/web/session")
        return isGet ? describeSession(request, session) : HttpResponse::wrongMethod("GET, HEAD");
    if (path == "/web/branches")
        return isGet ? branches.list(request, session) : HttpResponse::wrongMethod("GET, HEAD");
    if (path == "/web/events")
        return isGet ? HttpResponse { .status = 200, .events = updates.subscribe(session) }
                     : HttpResponse::wrongMethod("GET");
    if (path == "/web/projects")
        return isGet ? projects.list(session)
            : isPost ? projects.add(request, session)
                     : HttpResponse::wrongMethod("GET, HEAD, POST");
    if (path == "/web/keys")
        return isGet ? keys.list(session)
            : isPost ? keys.add(request, session)
                     : HttpResponse::wrongMethod("GET, HEAD, POST");
    return HttpResponse::notFound();
}

HttpResponse PageApi::ofOne(const HttpRequest& request, const WebSession& session)
{
    const auto parts = request.path.split('/');
    const auto folder = parts.at(1) + '/' + parts.at(2);
    const auto id = QString::fromUtf8(parts.at(3));
    const auto& method = request.method;
    if (folder == "web/branches")
        return method == "GET"  ? branches.one(session, id)
            : method == "PATCH" ? branches.change(request, session, id)
                                : HttpResponse::wrongMethod("GET, HEAD, PATCH");
    if (folder == "web/projects")
        return method == "PATCH" ? projects.change(request, session, id)
                                 : HttpResponse::wrongMethod("PATCH");
    if (folder == "web/keys")
        return method == "DELETE" ? keys.revoke(session, id) : HttpResponse::wrongMethod("DELETE");
    return HttpResponse::notFound();
}

HttpResponse PageApi::describeSession(const HttpRequest& request, const WebSession& session) const
{
    const auto scheme = request.isSecure ? u"https://"_s : u"http://"_s;
    const QJsonObject description {
        { u"account"_s, QJsonObject { { u"name"_s, session.account.name } } },
        { u"csrf_token"_s, QString::fromLatin1(session.csrfToken) },
        { u"base_url"_s, QString(scheme + QString::fromLatin1(request.headers.value("host"))) },
        { u"version"_s, version },
    };
    return HttpResponse::json(200, QJsonDocument(description));
}

} // namespace quibel::inbox
