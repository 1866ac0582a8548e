#pragma once

#include "inbox/storage/Database.h"
#include "inbox/storage/SecretToken.h"
#include "inbox/storage/Storage.h"
#include "inbox/web/LiveUpdates.h"
#include "inbox/web/PasswordHash.h"
#include "inbox/web/WebSite.h"
#include "tests/inbox/storage/StorageSamples.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

namespace quibel::inbox::testing {

using namespace Qt::StringLiterals;

/// Somebody who has signed in, with one browser.
struct Browser
{
    QString accountID;
    QByteArray cookie;    ///< As in the header Cookie.
    QByteArray csrfToken; ///< Sent with every request unless it is empty.
};

/// The site over a real database in a directory of its own. Time stands still until it is moved.
class WebSiteFixture
{
public:
    explicit WebSiteFixture(std::chrono::milliseconds patience = std::chrono::seconds(10))
        : database(openDatabase({ .directory = directory.path(), .patience = patience }))
        , storage(*database)
        , updates(storage.sessions)
        , site(storage, updates, u"1.2.3"_s, SignInLimiter([this] { return time; }))
    {
    }

    [[nodiscard]] QString addAccount(const QString& name)
    {
        return *inbox::testing::value(storage.accounts.add(name));
    }

    [[nodiscard]] QString ownerID()
    {
        return inbox::testing::value(storage.accounts.named(u"owner"_s))->id;
    }

    /// A session that began without the work of a password.
    [[nodiscard]] Browser signedIn(const QString& accountID)
    {
        const auto secret = generateSecretToken();
        if (storage.sessions.begin(accountID, hashSecret(secret)))
            return {};
        Browser browser { accountID, "quibel_inbox_session=" + secret, {} };
        const auto session = bodyOf(get(browser, "/web/session")).object();
        browser.csrfToken = session[u"csrf_token"_s].toString().toLatin1();
        return browser;
    }

    [[nodiscard]] static HttpRequest
    request(const Browser& browser, const QByteArray& method, const QByteArray& target)
    {
        HttpRequest request;
        request.method = method;
        request.path = target.split('?').first();
        request.headers.insert("host", "localhost:8787");
        if (!browser.cookie.isEmpty())
            request.headers.insert("cookie", browser.cookie);
        if (!browser.csrfToken.isEmpty())
            request.headers.insert("x-csrf-token", browser.csrfToken);
        request.client = "127.0.0.1";
        request.clientIsLocal = true;
        for (const auto& pair : target.mid(request.path.size() + 1).split('&'))
            if (const auto equals = pair.indexOf('='); equals > 0)
                request.query.insert(QByteArray::fromPercentEncoding(pair.left(equals)),
                                     QByteArray::fromPercentEncoding(pair.mid(equals + 1)));
        return request;
    }

    [[nodiscard]] static HttpRequest withJson(HttpRequest request, const QJsonObject& body)
    {
        request.headers.insert("content-type", "application/json");
        request.body = QJsonDocument(body).toJson(QJsonDocument::Compact);
        return request;
    }

    [[nodiscard]] HttpResponse get(const Browser& browser, const QByteArray& target)
    {
        return site.answer(request(browser, "GET", target));
    }

    [[nodiscard]] HttpResponse send(const Browser& browser,
                                    const QByteArray& method,
                                    const QByteArray& target,
                                    const QJsonObject& body = {})
    {
        return site.answer(withJson(request(browser, method, target), body));
    }

    [[nodiscard]] HttpResponse trySignIn(const QString& account,
                                         const QString& password,
                                         const QByteArray& client = "127.0.0.1")
    {
        auto attempt = withJson(request({}, "POST", "/sign-in"),
                                { { u"account"_s, account }, { u"password"_s, password } });
        attempt.client = client;
        return site.answer(attempt);
    }

    [[nodiscard]] static QJsonDocument bodyOf(const HttpResponse& response)
    {
        return QJsonDocument::fromJson(response.body);
    }

    [[nodiscard]] static QString codeOf(const HttpResponse& response)
    {
        return bodyOf(response)[u"error"_s][u"code"_s].toString();
    }

    QTemporaryDir directory;
    std::unique_ptr<Database> database;
    Storage storage;
    std::chrono::steady_clock::time_point time { std::chrono::hours(1000) };
    LiveUpdates updates;
    WebSite site;
};

} // namespace quibel::inbox::testing
