#include "tests/platform/HttpSessionBench.h"

#include <QTest>
#include <QThread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace quibel::testing {

using Code = TransportErrorCode;

namespace {

constexpr qint64 limit = qint64 { 16 } * 1024 * 1024;

} // namespace

/// What is sent, what comes back, and when.
class QtHttpSessionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { bench.enter(); }

    void deliversACompleteAnswer_data();
    void deliversACompleteAnswer();
    void reportsAnAnswerThatBreaksOff_data();
    void reportsAnAnswerThatBreaksOff();
    void reportsChunksThatBreakOff_data();
    void reportsChunksThatBreakOff();
    void readsABodyUpToTheLimit_data();
    void readsABodyUpToTheLimit();

    void sendsWhatItIsGiven();
    void sendsABigBodyWhole();
    void keepsNeitherCookiesNorAnswers();

    void completesInALaterTurnOnTheSameThread_data();
    void completesInALaterTurnOnTheSameThread();
    void completesNothingOnceItIsGone();
    void mayEndInACompletion();
    void carriesSeveralRequestsAtATime();

private:
    HttpSessionBench bench;
};

void QtHttpSessionTest::deliversACompleteAnswer_data()
{
    QTest::addColumn<Answer>("answer");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    const auto row = [](const char* name, int status, const QByteArray& body) {
        QTest::newRow(name) << Answer::reply(status, body) << status << body;
    };
    row("object", 200, R"({"branch_id":"b1"})");
    row("array", 200, R"([{"id":"p","name":"P"}])");
    row("empty body", 201, {});
    row("not JSON", 200, "<html>\0\xff\r\n"_ba);
    row("deeply nested", 200, QByteArray(100'000, '['));
    row("forbidden", 403, "{}");
    row("not found", 404, {});
    row("rejected, with a body", 401, R"({"error":"no"})");
    row("rejected, without a body", 401, {});
    row("not understood", 400, "{}");
    row("asked for by no proxy", 407, "{}");
    row("conflict", 409, "{}");
    row("too many requests", 429, "{}");
    row("broken", 500, "oops");
    row("broken behind a gateway", 502, "oops");
    row("overloaded", 503, {});
    row("beyond the known", 599, "?");

    for (const char* scheme : { R"(Basic realm="x")",
                                R"(Digest realm="x", nonce="y")",
                                "Bearer",
                                "Negotiate",
                                "NTLM",
                                R"(Bearer, Basic realm="x")" })
        QTest::newRow(scheme) << Answer::reply(401, "{}", { { "WWW-Authenticate", scheme } }) << 401
                              << "{}"_ba;

    QTest::newRow("no content") << Answer::raw("HTTP/1.1 204 Done\r\n\r\n") << 204 << ""_ba;
    QTest::newRow("body that ends with the connection")
        << Answer::raw("HTTP/1.1 200 Fine\r\n\r\nabc") << 200 << "abc"_ba;
    QTest::newRow("chunks, for a length")
        << Answer::raw("HTTP/1.1 200 Fine\r\nContent-Length: 9\r\n"
                       "Transfer-Encoding: chunked\r\n\r\n2\r\n[]\r\n0\r\n\r\n")
        << 200 << "[]"_ba;
    QTest::newRow("chunks of one byte")
        << Answer::chunked(200, R"({"id":"b"})") << 200 << R"({"id":"b"})"_ba;
    QTest::newRow("no content, for a length") << Answer::raw("HTTP/1.1 204 Done\r\n"
                                                             "Content-Length: 5\r\n\r\n")
                                              << 204 << ""_ba;
}

void QtHttpSessionTest::deliversACompleteAnswer()
{
    QFETCH(Answer, answer);
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    ScriptedService plain;
    ScriptedService encrypted(bench.certificates.good());
    for (ScriptedService* service : { &plain, &encrypted }) {
        service->answer("/", answer);
        for (const auto& request : { get(service->url(u"/"_s)), post(service->url(u"/"_s)) }) {
            const HttpOutcome outcome = outcomeOf(request);
            QCOMPARE(errorOf(outcome), std::nullopt);
            QCOMPARE(outcome.status, status);
            QVERIFY(outcome.body == body);
        }
        QCOMPARE(service->requests().size(), 2U);
    }
}

void QtHttpSessionTest::reportsAnAnswerThatBreaksOff_data()
{
    QTest::addColumn<Answer>("answer");
    QTest::addColumn<std::optional<int>>("status");
    using Status = std::optional<int>;
    const Answer whole = Answer::reply(200, "abcdef");
    QTest::newRow("before the first byte") << Answer::raw({}) << Status();
    QTest::newRow("in the header") << whole.cutInHeader() << Status();
    QTest::newRow("before the body") << whole.cutInBody(0) << Status(200);
    QTest::newRow("in the body") << whole.cutInBody(3) << Status(200);
    QTest::newRow("in a big body")
        << Answer::blanks(200, 1'000'000).cutInBody(999'999) << Status(200);
    QTest::newRow("in the body of an error")
        << Answer::reply(500, "abc").cutInBody(1) << Status(500);
    QTest::newRow("something else than HTTP") << Answer::raw("SSH-2.0\r\n\r\n") << Status();
}

void QtHttpSessionTest::reportsAnAnswerThatBreaksOff()
{
    QFETCH(Answer, answer);
    QFETCH(std::optional<int>, status);
    ScriptedService plain;
    ScriptedService encrypted(bench.certificates.good());
    for (ScriptedService* service : { &plain, &encrypted }) {
        service->answer("/", answer);
        for (const auto& request : { get(service->url(u"/"_s)), post(service->url(u"/"_s)) }) {
            const HttpOutcome outcome = outcomeOf(request);
            QCOMPARE(errorOf(outcome), Code::networkConnectionLost);
            QCOMPARE(outcome.status, status);
            QCOMPARE(outcome.body, std::nullopt);
            QCOMPARE(outcome.error->localizedDescription, u"Connection closed"_s);
        }
    }
}

void QtHttpSessionTest::reportsChunksThatBreakOff_data()
{
    QTest::addColumn<QByteArray>("chunks");
    QTest::newRow("before the first chunk") << ""_ba;
    QTest::newRow("in a chunk") << "5\r\nab"_ba;
    QTest::newRow("between chunks") << "2\r\nab\r\n"_ba;
    QTest::newRow("in the last chunk") << "2\r\nab\r\n0\r\n"_ba;
}

void QtHttpSessionTest::reportsChunksThatBreakOff()
{
    QFETCH(QByteArray, chunks);
    ScriptedService service(bench.certificates.good());
    service.answer("/", Answer::raw(Answer::chunked(200, {}).head + chunks));
    for (const auto& request : { get(service.url(u"/"_s)), post(service.url(u"/"_s)) }) {
        const HttpOutcome outcome = outcomeOf(request);
        QCOMPARE(errorOf(outcome), Code::networkConnectionLost);
        QCOMPARE(outcome.status, 200);
        QCOMPARE(outcome.body, std::nullopt);
    }
}

void QtHttpSessionTest::readsABodyUpToTheLimit_data()
{
    QTest::addColumn<Answer>("answer");
    QTest::addColumn<bool>("tooLarge");
    QTest::newRow("at the limit") << Answer::blanks(200, limit) << false;
    QTest::newRow("one byte more") << Answer::blanks(200, limit + 1) << true;
    QTest::newRow("far more") << Answer::blanks(200, limit * 1000) << true;
    Answer endless = Answer::raw("HTTP/1.1 200 Fine\r\n\r\n");
    endless.filling = limit * 1000;
    QTest::newRow("of no known length") << endless << true;
}

void QtHttpSessionTest::readsABodyUpToTheLimit()
{
    QFETCH(Answer, answer);
    QFETCH(bool, tooLarge);
    ScriptedService service;
    service.answer("/", answer);
    const HttpOutcome outcome = outcomeOf(get(service.url(u"/"_s)));
    QCOMPARE(outcome.status, 200);
    QCOMPARE(errorOf(outcome), tooLarge ? std::optional(Code::responseTooLarge) : std::nullopt);
    QCOMPARE(outcome.body.has_value(), !tooLarge);
    if (!tooLarge)
        QCOMPARE(outcome.body->size(), limit);
    QTRY_COMPARE(service.openConnectionCount(), 0);
    QVERIFY(service.bytesSent() < limit * 4);
}

void QtHttpSessionTest::sendsWhatItIsGiven()
{
    ScriptedService service;
    HttpRequest request = post(service.url(u"/api/a b"_s), "{\"a\":\"\xc3\xa9\"}\0\r\n"_ba);
    request.headers.emplace_back("X-Name", " gr\xc3\xbc\xc3\x9f ");
    (void)outcomeOf(request);
    (void)outcomeOf(get(service.url(u"/list"_s)));
    QCOMPARE(service.requests().size(), 2U);

    static const QList<QByteArray> ofTheLibrary { "Host",       "Content-Length",
                                                  "Connection", "Accept-Encoding",
                                                  "User-Agent", "Accept-Language" };
    const auto given = [](Headers headers) {
        std::erase_if(headers,
                      [](const auto& header) { return ofTheLibrary.contains(header.first); });
        return headers;
    };
    const ReceivedRequest& posted = service.requests().front();
    QCOMPARE(posted.method, "POST"_ba);
    QCOMPARE(posted.target, "/api/a%20b"_ba);
    QCOMPARE(posted.body, request.body.joined());
    QCOMPARE(posted.header("Accept-Encoding"), "identity"_ba);
    const Headers expected { { "Authorization", "Bearer " + key },
                             { "Content-Type", "application/json" },
                             { "X-Name", "gr\xc3\xbc\xc3\x9f" } };
    QCOMPARE(given(posted.headers), expected);

    const ReceivedRequest& got = service.requests().back();
    QCOMPARE(got.method, "GET"_ba);
    QCOMPARE(got.target, "/list"_ba);
    QCOMPARE(got.body, ""_ba);
    QCOMPARE(given(got.headers), Headers({ { "Authorization", "Bearer " + key } }));
}

void QtHttpSessionTest::sendsABigBodyWhole()
{
    ScriptedService service(bench.certificates.good());
    QByteArray bytes;
    while (bytes.size() < 5'000'000)
        bytes += QByteArray::number(bytes.size());
    HttpBody body(R"({")"_ba);
    body.appendAsBase64(bytes);
    body.append("\"}");
    const HttpOutcome outcome = outcomeOf(post(service.url(u"/"_s), body));
    QCOMPARE(outcome.status, 404);
    const ReceivedRequest& received = service.requests().at(0);
    QVERIFY(received.body == "{\"" + bytes.toBase64() + "\"}");
    QCOMPARE(received.header("Content-Length"), QByteArray::number(body.size()));
}

void QtHttpSessionTest::keepsNeitherCookiesNorAnswers()
{
    ScriptedService service;
    service.answer("/",
                   Answer::reply(302,
                                 {},
                                 { { "Set-Cookie", "a=b; Path=/" },
                                   { "Cache-Control", "max-age=1000" },
                                   { "Location", "/next" } }));
    service.answer(
        "/next",
        Answer::reply(
            200, "x", { { "Set-Cookie", "a=b; Path=/" }, { "Cache-Control", "max-age=1000" } }));
    QtHttpSession session({ .idle = patience });
    for (int count = 0; count < 2; ++count) {
        bool done = false;
        session.send(get(service.url(u"/"_s)), [&](const HttpOutcome&) { done = true; });
        QTRY_VERIFY(done);
    }
    QCOMPARE(service.requests().size(), 4U);
    for (const ReceivedRequest& request : service.requests())
        QCOMPARE(request.header("Cookie"), std::nullopt);
}

void QtHttpSessionTest::completesInALaterTurnOnTheSameThread_data()
{
    QTest::addColumn<QUrl>("url");
    QTest::newRow("refused request") << QUrl(u"ftp://127.0.0.1/"_s);
    QTest::newRow("refused connection") << QUrl(u"http://127.0.0.1:%1/"_s.arg(unusedPort()));
}

void QtHttpSessionTest::completesInALaterTurnOnTheSameThread()
{
    QFETCH(QUrl, url);
    QtHttpSession session({ .idle = patience });
    int completions = 0;
    session.send(get(url), [&](const HttpOutcome&) {
        ++completions;
        QCOMPARE(QThread::currentThread(), thread());
    });
    QCOMPARE(completions, 0);
    QTRY_COMPARE(completions, 1);
}

void QtHttpSessionTest::completesNothingOnceItIsGone()
{
    ScriptedService service;
    service.answer("/never", Answer::never());
    service.answer("/slow", Answer::reply(200, QByteArray(1000, 'x')).slowly(10ms));
    int completions = 0;
    const auto count = [&](const HttpOutcome&) { ++completions; };
    {
        QtHttpSession session({ .idle = patience });
        session.send(post(service.url(u"/never"_s)), count);
        session.send(get(service.url(u"/slow"_s)), count);
        QTRY_COMPARE(service.requests().size(), 2U);
        session.send(post(service.url(u"/"_s), QByteArray(1'000'000, 'x')), count);
        session.send(get(QUrl(u"ftp://127.0.0.1/"_s)), count);
    }
    QTRY_COMPARE(service.openConnectionCount(), 0);
    QCOMPARE(completions, 0);
}

void QtHttpSessionTest::mayEndInACompletion()
{
    ScriptedService service;
    for (const QUrl& url : { service.url(u"/"_s), QUrl(u"ftp://127.0.0.1/"_s) }) {
        auto session = std::make_unique<QtHttpSession>(HttpTimeouts { .idle = patience });
        session->send(get(url), [&](const HttpOutcome&) { session.reset(); });
        QTRY_VERIFY(session == nullptr);
    }
    QTRY_COMPARE(service.openConnectionCount(), 0);
}

void QtHttpSessionTest::carriesSeveralRequestsAtATime()
{
    ScriptedService service;
    service.answer("/first", Answer::reply(200, "1").heldBack());
    service.answer("/second", Answer::reply(200, "2"));
    QtHttpSession session({ .idle = patience });
    QByteArrayList order;
    const auto note = [&](const HttpOutcome& outcome) { order.append(outcome.body.value_or("")); };
    session.send(get(service.url(u"/first"_s)), note);
    QTRY_COMPARE(service.requests().size(), 1U);
    session.send(get(service.url(u"/second"_s)), note);
    QTRY_COMPARE(order, QByteArrayList { "2" });
    service.release();
    QTRY_COMPARE(order, QByteArrayList({ "2", "1" }));
}

} // namespace quibel::testing

QTEST_GUILESS_MAIN(quibel::testing::QtHttpSessionTest)

#include "QtHttpSessionTest.moc"
