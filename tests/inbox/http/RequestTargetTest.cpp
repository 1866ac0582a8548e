#include "inbox/http/HttpRequest.h"
#include "inbox/http/RequestTarget.h"

#include <QTest>

namespace quibel::inbox {

using Query = QHash<QByteArray, QByteArray>;

class RequestTargetTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsPathAndQuery_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("path");
        QTest::addColumn<Query>("query");
        const auto row = [](const char* text, const char* path, const Query& query = {}) {
            QTest::newRow(text) << QByteArray(text) << QByteArray(path) << query;
        };
        row("/", "/");
        row("/a%2Fb/../c%00", "/a%2Fb/../c%00");
        row("//a", "//a");
        row("/?", "/");
        row("/a?b=c", "/a", { { "b", "c" } });
        row("/?b=c&b=d", "/", { { "b", "d" } });
        row("/?b", "/", { { "b", "" } });
        row("/?b=&&c=1&", "/", { { "b", "" }, { "c", "1" } });
        row("/?a=b=c", "/", { { "a", "b=c" } });
        row("/?a+b=c+d%2Be", "/", { { "a b", "c d+e" } });
        row("/?%61=%3d%26%c3%A4", "/", { { "a", "=&\xc3\xa4" } });
        row("/?a=/b?c", "/", { { "a", "/b?c" } });
        row("http://host:1/a?b=c", "/a", { { "b", "c" } });
        row("HTTPS://host/", "/");
    }
    void readsPathAndQuery()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, path);
        QFETCH(Query, query);
        const auto target = RequestTarget::parse(text);
        QVERIFY(target.has_value());
        QCOMPARE(target->path, path);
        QCOMPARE(target->query, query);
    }

    void keepsANulOfTheQuery()
    {
        QCOMPARE(RequestTarget::parse("/?a=b%00c")->query.value("a"), QByteArray("b\0c", 3));
    }

    void refusesAnythingElse_data()
    {
        QTest::addColumn<QByteArray>("text");
        for (const auto* text : { "",
                                  "*",
                                  "a/b",
                                  "?a=b",
                                  "host:443",
                                  "ftp://host/",
                                  "http://host",
                                  "/?a=%",
                                  "/?a=%4",
                                  "/?a=%4g",
                                  "/?%-1=a" })
            QTest::newRow(text) << QByteArray(text);
    }
    void refusesAnythingElse()
    {
        QFETCH(QByteArray, text);
        QVERIFY(!RequestTarget::parse(text));
    }

    void findsACookie_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<QByteArray>("value");
        const auto row = [](const char* header, const char* value) {
            QTest::newRow(header) << QByteArray(header) << QByteArray(value);
        };
        row("", "");
        row("session=1", "1");
        row("other=2; session=1", "1");
        row("xsession=2;session=1", "1");
        row("session=a=b; other=2", "a=b");
        row("Session=1", "");
        row("session", "");
        row("other=session=1", "");
    }
    void findsACookie()
    {
        QFETCH(QByteArray, header);
        QFETCH(QByteArray, value);
        HttpRequest request;
        request.headers.insert("cookie", header);
        QCOMPARE(request.cookie("session"), value);
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::RequestTargetTest)
#include "RequestTargetTest.moc"
