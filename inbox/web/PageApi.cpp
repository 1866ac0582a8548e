#include "inbox/web/PageApi.h"

#include "inbox/api/ByMethod.h"
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
        return byMethod(request, { { "GET", [&] {
                                        return branches.picture(request, session, parts.at(2));
                                    } } });
    return parts.size() == 4 ? ofOne(request, session) : ofAll(request, session);
}

HttpResponse PageApi::ofAll(const HttpRequest& request, const WebSession& session)
{
    const auto& path = request.path;
    if (path == "/web/session")
        return byMethod(request, { { "GET", [&] { return describeSession(request, session); } } });
    if (path == "/web/branches")
        return byMethod(request, { { "GET", [&] { return branches.list(request, session); } } });
    if (path == "/web/events")
        return byMethod(request,
                        { { "GET", [&] {
                               return HttpResponse { .status = 200,
                                                     .events = updates.subscribe(session) };
                           } } });
    if (path == "/web/projects")
        return byMethod(request,
                        { { "GET", [&] { return projects.list(session); } },
                          { "POST", [&] { return projects.add(request, session); } } });
    if (path == "/web/keys")
        return byMethod(request,
                        { { "GET", [&] { return keys.list(session); } },
                          { "POST", [&] { return keys.add(request, session); } } });
    return HttpResponse::notFound();
}

HttpResponse PageApi::ofOne(const HttpRequest& request, const WebSession& session)
{
    const auto parts = request.path.split('/');
    const auto folder = parts.at(1) + '/' + parts.at(2);
    const auto id = QString::fromUtf8(parts.at(3));
    if (folder == "web/branches")
        return byMethod(request,
                        { { "GET", [&] { return branches.one(session, id); } },
                          { "PATCH", [&] { return branches.change(request, session, id); } } });
    if (folder == "web/projects")
        return byMethod(request,
                        { { "PATCH", [&] { return projects.change(request, session, id); } } });
    if (folder == "web/keys")
        return byMethod(request, { { "DELETE", [&] { return keys.revoke(session, id); } } });
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
