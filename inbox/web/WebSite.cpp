#include "inbox/web/WebSite.h"

#include "inbox/api/Answers.h"
#include "inbox/api/ByMethod.h"
#include "inbox/web/LiveUpdates.h"

#include <QRegularExpression>
#include <QSet>

#include <algorithm>

#include <sodium.h>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

HttpResponse secured(HttpResponse response)
{
    response.headers.insert("Content-Security-Policy",
                            "default-src 'none'; script-src 'self'; style-src 'self'; "
                            "img-src 'self'; connect-src 'self'; form-action 'self'; "
                            "base-uri 'none'; frame-ancestors 'none'; "
                            "require-trusted-types-for 'script'");
    response.headers.insert("X-Content-Type-Options", "nosniff");
    response.headers.insert("Referrer-Policy", "no-referrer");
    response.headers.insert("Cross-Origin-Opener-Policy", "same-origin");
    response.headers.insert("Cross-Origin-Resource-Policy", "same-origin");
    return response;
}

/// The kind of path, without what is secret or private in it.
QByteArray routeOf(const QByteArray& path)
{
    static const QSet<QByteArray> plain { "/",
                                          "/settings",
                                          "/sign-in",
                                          "/sign-out",
                                          "/web/session",
                                          "/web/branches",
                                          "/web/projects",
                                          "/web/keys",
                                          "/web/events" };
    static const QHash<QByteArray, QByteArray> named {
        { "/sign-in/", "{token}" },   { "/assets/", "{file}" },     { "/pictures/", "{sha256}" },
        { "/web/branches/", "{id}" }, { "/web/projects/", "{id}" }, { "/web/keys/", "{id}" },
    };
    if (plain.contains(path))
        return path;
    const auto folder = path.left(path.lastIndexOf('/') + 1);
    return named.contains(folder) ? folder + named.value(folder) : "/{unknown}"_ba;
}

bool namesItsHost(const HttpRequest& request)
{
    static const QRegularExpression form(
        uR"(\A(\[[0-9A-Fa-f:.]+\]|[0-9A-Za-z._-]+)(:[0-9]{1,5})?\z)"_s);
    return form.match(QString::fromLatin1(request.headers.value("host"))).hasMatch();
}

/// Scheme, host and port, each in its one form.
QByteArray originOf(const QByteArray& scheme, const QByteArray& hostAndPort)
{
    const auto usualPort = scheme == "https" ? ":443"_ba : ":80"_ba;
    auto origin = scheme + "://" + hostAndPort.toLower();
    return origin.endsWith(usualPort) ? origin.chopped(usualPort.size()) : origin;
}

/// Whether another site made the browser send this. Programs that are no browsers say nothing
/// about it, and carry no cookie that they were not given.
bool comesFromElsewhere(const HttpRequest& request)
{
    const auto site = request.headers.value("sec-fetch-site", "none").toLower();
    if (site != "same-origin" && site != "none")
        return true;
    if (!request.headers.contains("origin"))
        return false;
    const auto own = originOf(request.isSecure ? "https" : "http", request.headers.value("host"));
    return request.headers.value("origin").toLower() != own;
}

bool isSame(const QByteArray& one, const QByteArray& other)
{
    return one.size() == other.size()
        && sodium_memcmp(one.constData(), other.constData(), static_cast<std::size_t>(one.size()))
        == 0;
}

/// Where the browser is to come back to once somebody has signed in.
QByteArray signInFor(const HttpRequest& request)
{
    auto names = request.query.keys();
    std::sort(names.begin(), names.end());
    auto target = request.path;
    for (const auto& name : std::as_const(names))
        target += (target == request.path ? '?' : '&') + name.toPercentEncoding() + '='
            + request.query.value(name).toPercentEncoding();
    return target == "/" ? "/sign-in"_ba : "/sign-in?next=" + target.toPercentEncoding();
}

} // namespace

WebSite::WebSite(Storage& storage,
                 LiveUpdates& liveUpdates,
                 const QString& programVersion,
                 SignInLimiter signInLimiter)
    : updates(liveUpdates)
    , api(storage, liveUpdates, programVersion)
    , signIn(storage, std::move(signInLimiter))
{
}

HttpResponse WebSite::answer(const HttpRequest& request)
{
    auto response = secured(checked(request));
    response.route = routeOf(request.path);
    return response;
}

HttpResponse WebSite::checked(const HttpRequest& request)
{
    if (!namesItsHost(request))
        return HttpResponse::error(
            400, u"invalid_host"_s, u"the header Host must name the host of this service"_s);
    if (request.method != "GET" && comesFromElsewhere(request))
        return HttpResponse::error(
            403, u"cross_site"_s, u"this request may only come from the page of this service"_s);
    return routed(request);
}

HttpResponse WebSite::routed(const HttpRequest& request)
{
    const auto& path = request.path;
    const auto name = path.mid(path.lastIndexOf('/') + 1);
    const auto folder = path.chopped(name.size());
    if (path == "/")
        return byMethod(request, { { "GET", [&] { return page(request, "index.html"); } } });
    if (path == "/settings")
        return byMethod(request, { { "GET", [&] { return page(request, "settings.html"); } } });
    if (path == "/sign-in")
        return byMethod(request,
                        { { "GET", [&] { return files.page("sign-in.html"); } },
                          { "POST", [&] { return signIn.withPassword(request); } } });
    if (path == "/sign-out")
        return byMethod(request, { { "POST", [&] { return forSession(request); } } });
    if (folder == "/sign-in/")
        return byMethod(request, { { "GET", [&] { return signIn.withLink(request, name); } } });
    if (folder == "/assets/")
        return byMethod(request, { { "GET", [&] { return files.asset(name, request); } } });
    if (path.startsWith("/web/") || path.startsWith("/pictures/"))
        return forSession(request);
    return HttpResponse::notFound();
}

HttpResponse WebSite::page(const HttpRequest& request, const QByteArray& file)
{
    const auto found = signIn.session(request);
    if (const auto* error = std::get_if<StorageError>(&found))
        return storageFailed(*error);
    if (!std::get<std::optional<WebSession>>(found))
        return HttpResponse { .status = 303 }
            .with("Location", signInFor(request))
            .with("Cache-Control", "no-store");
    return SignIn::renewed(files.page(file), request);
}

HttpResponse WebSite::forSession(const HttpRequest& request)
{
    const auto found = signIn.session(request);
    if (const auto* error = std::get_if<StorageError>(&found))
        return storageFailed(*error);
    const auto& session = std::get<std::optional<WebSession>>(found);
    if (!session)
        return HttpResponse::error(401, u"signed_out"_s, u"sign in to the page first"_s);
    if (request.method != "GET"
        && !isSame(request.headers.value("x-csrf-token"), session->csrfToken))
        return HttpResponse::error(403,
                                   u"wrong_csrf_token"_s,
                                   u"the header X-CSRF-Token must be the csrf_token of "
                                   u"/web/session"_s);
    if (request.path != "/sign-out")
        return api.answer(request, *session);
    updates.endSession(session->hash);
    return signIn.end(request, *session);
}

} // namespace quibel::inbox
