#include "tests/inbox/web/WebSiteFixture.h"

#include <QDateTime>
#include <QDir>

#include <sodium.h>

namespace quibel::inbox {

using namespace testing;
using namespace std::chrono_literals;

namespace {

const auto password = u"correct horse"_s;

/// The cookie that a browser sends after this answer, as in the header Cookie.
QByteArray cookieFrom(const HttpResponse& response)
{
    return response.headers.value("Set-Cookie").split(';').first();
}

} // namespace

/// Signing in with a password or a link, and what then stands for it.
class SignInTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        web = std::make_unique<WebSiteFixture>();
        owner = web->ownerID();
        QVERIFY(!web->storage.accounts.setPasswordHash(owner, hashPassword(password).value()));
    }

    void takesTheRightPassword()
    {
        const auto answer = web->trySignIn(u"owner"_s, password);
        QCOMPARE(answer.status, 204);
        QCOMPARE(web->get({ owner, cookieFrom(answer), {} }, "/web/session").status, 200);
        QCOMPARE(web->trySignIn(u" owner "_s, password).status, 204);
    }

    void refusesWhatDoesNotMatch_data()
    {
        QTest::addColumn<QString>("account");
        QTest::addColumn<QString>("attempt");
        QTest::newRow("another password") << u"owner"_s << u"correct horsE"_s;
        QTest::newRow("no password") << u"owner"_s << u""_s;
        QTest::newRow("a long password") << u"owner"_s << QString(60'000, u'x');
        QTest::newRow("unknown account") << u"nobody"_s << password;
        QTest::newRow("account without a password") << u"anna"_s << password;
        QTest::newRow("account without a password, none") << u"anna"_s << u""_s;
        QTest::newRow("account in capitals") << u"OWNER"_s << password;
        QTest::newRow("statement") << u"' OR 1=1 --"_s << password;
    }
    void refusesWhatDoesNotMatch()
    {
        QFETCH(QString, account);
        QFETCH(QString, attempt);
        (void)web->addAccount(u"anna"_s);
        const auto answer = web->trySignIn(account, attempt);
        QCOMPARE(answer.status, 401);
        QCOMPARE(web->codeOf(answer), u"wrong_password"_s);
        QVERIFY(!answer.headers.contains("Set-Cookie"));
    }

    void takesNothingButItsDocument_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QByteArray>("type");
        QTest::addColumn<int>("status");
        const QByteArray json("application/json");
        QTest::newRow("a form") << QByteArray("account=owner&password=x")
                                << QByteArray("application/x-www-form-urlencoded") << 415;
        QTest::newRow("text") << QByteArray("{}") << QByteArray("text/plain") << 415;
        QTest::newRow("empty") << QByteArray() << json << 400;
        QTest::newRow("no password") << QByteArray(R"({"account":"owner"})") << json << 400;
        QTest::newRow("a number") << QByteArray(R"({"account":"owner","password":1})") << json
                                  << 400;
        QTest::newRow("more") << QByteArray(R"({"account":"o","password":"p","stay":true})") << json
                              << 400;
        QTest::newRow("NUL") << QByteArray(R"({"account":"owner\u0000","password":"p"})") << json
                             << 400;
        QTest::newRow("not UTF-8")
            << QByteArray("{\"account\":\"\xff\",\"password\":\"p\"}") << json << 400;
        QTest::newRow("nested") << QByteArray(60'000, '[') << json << 400;
        QTest::newRow("large") << QByteArray(65'537, ' ') << json << 413;
    }
    void takesNothingButItsDocument()
    {
        QFETCH(QByteArray, body);
        QFETCH(QByteArray, type);
        QFETCH(int, status);
        auto request = web->request({}, "POST", "/sign-in");
        request.headers.insert("content-type", type);
        request.body = body;
        QCOMPARE(web->site.answer(request).status, status);
    }

    void givesACookieThatNoScriptAndNoOtherSiteCanUse()
    {
        const auto cookie = web->trySignIn(u"owner"_s, password).headers.value("Set-Cookie");
        const auto parts = cookie.split(';');
        QVERIFY(parts.first().startsWith("quibel_inbox_session="));
        QCOMPARE(parts.first().size(), QByteArrayView("quibel_inbox_session=").size() + 43);
        QCOMPARE(
            parts.mid(1),
            QList<QByteArray>({ " Path=/", " HttpOnly", " SameSite=Strict", " Max-Age=2592000" }));
    }

    void bindsTheCookieToTheHostOverTls()
    {
        auto attempt = web->withJson(web->request({}, "POST", "/sign-in"),
                                     { { u"account"_s, u"owner"_s }, { u"password"_s, password } });
        attempt.isSecure = true;
        const auto cookie = web->site.answer(attempt).headers.value("Set-Cookie");
        QVERIFY(cookie.startsWith("__Host-quibel_inbox_session="));
        QVERIFY(cookie.contains("; Path=/;"));
        QVERIFY(cookie.endsWith("; Secure"));
        QVERIFY(!cookie.contains("Domain"));

        auto session = web->request({ {}, cookie.split(';').first(), {} }, "GET", "/web/session");
        QCOMPARE(web->site.answer(session).status, 401);
        session.isSecure = true;
        QCOMPARE(web->site.answer(session).status, 200);
    }

    void takesNoCookieOfCleartextOverTls()
    {
        auto session = web->request(web->signedIn(owner), "GET", "/web/session");
        QCOMPARE(web->site.answer(session).status, 200);
        session.isSecure = true;
        QCOMPARE(web->site.answer(session).status, 401);
    }

    void keepsNothingThatSignsIn()
    {
        const auto cookie = cookieFrom(web->trySignIn(u"owner"_s, password));
        const auto secret = cookie.split('=').value(1);
        QVERIFY(!secret.isEmpty());
        QVERIFY(!storedBytes().contains(secret));
        QVERIFY(storedBytes().contains("$argon2id$"));
        QVERIFY(!storedBytes().contains(password.toUtf8()));
    }

    void beginsAnotherSessionEachTimeAndEndsTheOneBefore()
    {
        const auto first = cookieFrom(web->trySignIn(u"owner"_s, password));
        auto again = web->withJson(web->request({ owner, first, {} }, "POST", "/sign-in"),
                                   { { u"account"_s, u"owner"_s }, { u"password"_s, password } });
        const auto second = cookieFrom(web->site.answer(again));
        QVERIFY(first != second);
        QCOMPARE(web->get({ owner, first, {} }, "/web/session").status, 401);
        QCOMPARE(web->get({ owner, second, {} }, "/web/session").status, 200);
    }

    void hasTheBrowserKeepTheCookieWithEveryVisit()
    {
        const auto browser = web->signedIn(owner);
        const auto cookie = web->get(browser, "/").headers.value("Set-Cookie");
        QVERIFY(cookie.startsWith(browser.cookie + ';'));
        QVERIFY(cookie.contains("Max-Age=2592000"));
        QVERIFY(!web->get({}, "/").headers.contains("Set-Cookie"));
    }

    void strengthensAnOldHashAtTheNextSignIn()
    {
        std::array<char, crypto_pwhash_STRBYTES> weak {};
        QCOMPARE(crypto_pwhash_str(weak.data(), "secret", 6, 1, 8192), 0);
        QVERIFY(!web->storage.accounts.setPasswordHash(owner, QString::fromLatin1(weak.data())));
        QCOMPARE(web->trySignIn(u"owner"_s, u"wrong"_s).status, 401);
        QVERIFY(needsRehash(*value(web->storage.accounts.passwordHash(owner))));
        QCOMPARE(web->trySignIn(u"owner"_s, u"secret"_s).status, 204);
        QVERIFY(!needsRehash(*value(web->storage.accounts.passwordHash(owner))));
        QCOMPARE(web->trySignIn(u"owner"_s, u"secret"_s).status, 204);
    }

    void worksAsMuchForAnUnknownAccountAsForAWrongPassword()
    {
        const auto timeOf = [&](const QString& account) {
            auto best = std::chrono::nanoseconds::max();
            for (int index = 0; index < 2; ++index) {
                const auto start = std::chrono::steady_clock::now();
                (void)web->trySignIn(account, u"wrong"_s, account.toLatin1());
                best = std::min<std::chrono::nanoseconds>(best,
                                                          std::chrono::steady_clock::now() - start);
            }
            return best;
        };
        // The work of a hash is thousands of times that of everything else.
        QVERIFY(timeOf(u"nobody"_s) * 5 > timeOf(u"owner"_s));
    }

    void makesGuessesWait()
    {
        for (int index = 0; index < SignInLimiter::freeTries; ++index)
            QCOMPARE(web->trySignIn(u"owner"_s, u"wrong"_s).status, 401);
        auto answer = web->trySignIn(u"owner"_s, password);
        QCOMPARE(answer.status, 429);
        QCOMPARE(answer.headers.value("Retry-After"), "2");
        QVERIFY(!answer.headers.contains("Set-Cookie"));
        web->time += 2s;
        QCOMPARE(web->trySignIn(u"owner"_s, password).status, 204);
        QCOMPARE(web->trySignIn(u"owner"_s, password).status, 204);
    }

    void countsRefusedDocumentsAsNoGuess()
    {
        for (int index = 0; index < 100; ++index)
            QCOMPARE(web->send({}, "POST", "/sign-in").status, 400);
        QCOMPARE(web->trySignIn(u"owner"_s, password).status, 204);
    }

    void takesALinkOnce()
    {
        const auto token = addLink();
        const auto answer = web->get({}, "/sign-in/" + token);
        QCOMPARE(answer.status, 303);
        QCOMPARE(answer.headers.value("Location"), "/");
        QCOMPARE(answer.headers.value("Cache-Control"), "no-store");
        QCOMPARE(answer.route, "/sign-in/{token}");
        QCOMPARE(web->get({ owner, cookieFrom(answer), {} }, "/web/session").status, 200);
        refusesLink(token);
    }

    void takesNoLinkFromElsewhere()
    {
        const auto token = addLink();
        auto request = web->request({}, "GET", "/sign-in/" + token);
        request.clientIsLocal = false;
        const auto answer = web->site.answer(request);
        QCOMPARE(answer.status, 403);
        QVERIFY(!answer.headers.contains("Set-Cookie"));
        QCOMPARE(web->get({}, "/sign-in/" + token).headers.value("Location"), "/");
    }

    void takesNoLinkThatIsTooOld()
    {
        const auto token = addLink();
        const auto old = QDateTime::currentDateTimeUtc().addSecs(
            -std::chrono::seconds(Sessions::linkLifetime).count() - 1);
        const auto aged = value(web->database->change(u"UPDATE sign_in_links SET created_at = ?"_s,
                                                      { old.toString(Qt::ISODateWithMs) }));
        QCOMPARE(aged, 1);
        refusesLink(token);
    }

    void takesNoOtherLink_data()
    {
        QTest::addColumn<QByteArray>("token");
        QTest::newRow("none") << QByteArray();
        QTest::newRow("unknown") << generateSecretToken();
        QTest::newRow("shortened") << QByteArray("SHORT");
        QTest::newRow("its hash") << QByteArray("HASH");
        QTest::newRow("longer") << QByteArray("TOKENx");
        QTest::newRow("statement") << QByteArray("'%20OR%201=1%20--");
    }
    void takesNoOtherLink()
    {
        QFETCH(QByteArray, token);
        const auto good = addLink();
        token.replace("SHORT", good.chopped(1))
            .replace("HASH", hashSecret(good))
            .replace("TOKEN", good);
        refusesLink(token);
    }

    void endsTheSessionWithTheSignOut()
    {
        const auto browser = web->signedIn(owner);
        const auto other = web->signedIn(owner);
        const auto stream = web->get(browser, "/web/events").events;
        const auto answer = web->send(browser, "POST", "/sign-out");
        QCOMPARE(answer.status, 204);
        QVERIFY(answer.headers.value("Set-Cookie").startsWith("quibel_inbox_session=;"));
        QVERIFY(answer.headers.value("Set-Cookie").contains("Max-Age=0"));
        QCOMPARE(web->get(browser, "/web/session").status, 401);
        QVERIFY(stream->hasEnded());
        QCOMPARE(web->get(other, "/web/session").status, 200);
    }

    void signsNobodyOutForAnotherSite()
    {
        auto browser = web->signedIn(owner);
        const auto token = std::exchange(browser.csrfToken, {});
        QCOMPARE(web->send(browser, "POST", "/sign-out").status, 403);
        browser.csrfToken = token;
        QCOMPARE(web->get(browser, "/web/session").status, 200);
        QCOMPARE(web->send({}, "POST", "/sign-out").status, 401);
    }

private:
    [[nodiscard]] QByteArray addLink()
    {
        auto token = generateSecretToken();
        return web->storage.sessions.addLink(owner, hashSecret(token)) ? QByteArray() : token;
    }

    void refusesLink(const QByteArray& token)
    {
        const auto answer = web->get({}, "/sign-in/" + token);
        QCOMPARE(answer.status, 303);
        QCOMPARE(answer.headers.value("Location"), "/sign-in#link");
        QVERIFY(!answer.headers.contains("Set-Cookie"));
    }

    [[nodiscard]] QByteArray storedBytes() const
    {
        QByteArray bytes;
        const QDir files(web->directory.path());
        for (const auto& name : files.entryList(QDir::Files)) {
            QFile file(files.filePath(name));
            if (file.open(QFile::ReadOnly))
                bytes += file.readAll();
        }
        return bytes;
    }

    std::unique_ptr<WebSiteFixture> web;
    QString owner;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::SignInTest)
#include "SignInTest.moc"
