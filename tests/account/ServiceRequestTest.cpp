#include "account/ServiceRequest.h"

#include <QTest>

namespace quibel {

using namespace Qt::StringLiterals;

class ServiceRequestTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void appendsAPathComponent_data()
    {
        QTest::addColumn<QByteArray>("base");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("expected");

        QTest::newRow("origin") << QByteArray("https://h.example") << u"api/projects"_s
                                << QByteArray("https://h.example/api/projects");
        QTest::newRow("origin with slash") << QByteArray("https://h.example/") << u"api/projects"_s
                                           << QByteArray("https://h.example/api/projects");
        QTest::newRow("path") << QByteArray("https://h.example/team/a") << u"api/projects"_s
                              << QByteArray("https://h.example/team/a/api/projects");
        QTest::newRow("path with slash")
            << QByteArray("https://h.example/team/a/") << u"api/projects"_s
            << QByteArray("https://h.example/team/a/api/projects");
        QTest::newRow("port") << QByteArray("http://127.0.0.1:8787") << u"api"_s
                              << QByteArray("http://127.0.0.1:8787/api");
        QTest::newRow("query stays") << QByteArray("https://h.example/t?x=1&y=%2F") << u"api"_s
                                     << QByteArray("https://h.example/t/api?x=1&y=%2F");
        QTest::newRow("query of an origin") << QByteArray("https://h.example?x=1") << u"api"_s
                                            << QByteArray("https://h.example/api?x=1");
        QTest::newRow("encoded base stays")
            << QByteArray("https://h.example/a%20b%2Fc%25/%3F") << u"api"_s
            << QByteArray("https://h.example/a%20b%2Fc%25/%3F/api");
        QTest::newRow("space") << QByteArray("https://h.example") << u"a b"_s
                               << QByteArray("https://h.example/a%20b");
        QTest::newRow("question mark and hash") << QByteArray("https://h.example") << u"a?b#c"_s
                                                << QByteArray("https://h.example/a%3Fb%23c");
        QTest::newRow("percent sign") << QByteArray("https://h.example") << u"100%/%41%2F"_s
                                      << QByteArray("https://h.example/100%25/%2541%252F");
        QTest::newRow("not ASCII") << QByteArray("https://h.example") << u"a/\u00e9/\U0001F33F"_s
                                   << QByteArray("https://h.example/a/%C3%A9/%F0%9F%8C%BF");
        QTest::newRow("not for a path")
            << QByteArray("https://h.example") << u"\"<>[]^`{|}\\"_s
            << QByteArray("https://h.example/%22%3C%3E%5B%5D%5E%60%7B%7C%7D%5C");
        QTest::newRow("fine in a path")
            << QByteArray("https://h.example") << u"a-._~!$&'()*+,;=:@9"_s
            << QByteArray("https://h.example/a-._~!$&'()*+,;=:@9");
        QTest::newRow("line break") << QByteArray("https://h.example") << u"a\r\nb"_s
                                    << QByteArray("https://h.example/a%0D%0Ab");
        QTest::newRow("base without authority")
            << QByteArray("team") << u"api"_s << QByteArray("team/api");
    }

    void appendsAPathComponent()
    {
        QFETCH(const QByteArray, base);
        QFETCH(const QString, path);
        QFETCH(const QByteArray, expected);
        const QUrl url
            = appendingPathComponent(QUrl(QString::fromLatin1(base), QUrl::StrictMode), path);
        QVERIFY2(url.isValid(), qPrintable(url.errorString()));
        QCOMPARE(url.toEncoded(), expected);
    }

    void getsWithTheKeyAndNoOtherHeader()
    {
        const HttpRequest expected { .method = "GET",
                                     .url = QUrl(u"https://h.example/api/projects"_s),
                                     .headers = { { "Authorization", "Bearer sk_1" } },
                                     .body = {} };
        QCOMPARE(makeGetRequest(QUrl(u"https://h.example"_s), u"api/projects"_s, u"sk_1"_s),
                 expected);
    }

    void postsADocumentWithTheKeyAndItsType()
    {
        const HttpRequest expected { .method = "POST",
                                     .url = QUrl(u"https://h.example/api/branches/from-agent"_s),
                                     .headers = { { "Authorization", "Bearer sk_1" },
                                                  { "Content-Type", "application/json" } },
                                     .body = R"({"title":"a"})"_ba };
        QCOMPARE(makePostRequest(QUrl(u"https://h.example/"_s),
                                 u"api/branches/from-agent"_s,
                                 u"sk_1"_s,
                                 R"({"title":"a"})"),
                 expected);
    }

    void sendsTheKeyExactlyAsGiven()
    {
        const HttpRequest request
            = makeGetRequest(QUrl(u"https://h.example"_s), u"api"_s, u" s\u00e9 k "_s);
        QCOMPARE(request.headers.front().second, QByteArray("Bearer  s\xc3\xa9 k "));
    }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::ServiceRequestTest)
#include "ServiceRequestTest.moc"
