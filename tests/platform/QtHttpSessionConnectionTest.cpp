#include "tests/platform/HttpSessionBench.h"
#include "tests/service/TunnelProxy.h"

#include <QDir>
#include <QElapsedTimer>
#include <QNetworkProxy>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace quibel::testing {

using Code = TransportErrorCode;

namespace {

/// Sets a variable of this process's environment while this lives.
class EnvironmentVariable
{
public:
    EnvironmentVariable(const char* variableName, const QByteArray& value)
        : name(variableName)
    {
        qputenv(name, value);
    }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;
    ~EnvironmentVariable() { qunsetenv(name); }

private:
    const char* name;
};

/// How many threads of the toolkit's network access this process has.
int networkThreadCount()
{
    int count = 0;
    const QDir tasks(u"/proc/self/task"_s);
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile name(tasks.filePath(task + u"/comm"_s));
        if (name.open(QIODevice::ReadOnly) && name.readAll().startsWith("QNetworkAccess"))
            ++count;
    }
    return count;
}

} // namespace

/// Connections: how many, how long, and by which way.
class QtHttpSessionConnectionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { bench.enter(); }

    void sendsARequestOnceWhenTheConnectionEnds_data();
    void sendsARequestOnceWhenTheConnectionEnds();
    void keepsNoConnectionAndNoThread();

    void endsWithoutProgress_data();
    void endsWithoutProgress();
    void waitsWhileAnAnswerMakesProgress();
    void waitsWhileAnUploadMakesProgress();
    void endsHoweverMuchProgressItMakes_data();
    void endsHoweverMuchProgressItMakes();
    void givesARequestAMinuteToGoOnAndTenToEnd();

    void takesTheProxyToOtherMachinesOnly();
    void takesTheProxyOfTheEnvironment_data();
    void takesTheProxyOfTheEnvironment();
    void tellsTheProxyWhoTheUserIs();

    void namesWhatKeepsItFromTheHost_data();
    void namesWhatKeepsItFromTheHost();

private:
    HttpSessionBench bench;
};

void QtHttpSessionConnectionTest::sendsARequestOnceWhenTheConnectionEnds_data()
{
    QTest::addColumn<QByteArray>("method");
    QTest::addColumn<Answer>("answer");
    for (const char* method : { "GET", "POST" }) {
        QTest::addRow("%s, no answer", method) << QByteArray(method) << Answer::raw({});
        QTest::addRow("%s, half a header", method)
            << QByteArray(method) << Answer::reply(200).cutInHeader();
        QTest::addRow("%s, half a body", method)
            << QByteArray(method) << Answer::reply(200, "abc").cutInBody(1);
        QTest::addRow("%s, rejected", method)
            << QByteArray(method)
            << Answer::reply(401, {}, { { "WWW-Authenticate", R"(Basic realm="x")" } });
        QTest::addRow("%s, told to come again", method) << QByteArray(method) << Answer::reply(503);
    }
}

void QtHttpSessionConnectionTest::sendsARequestOnceWhenTheConnectionEnds()
{
    QFETCH(QByteArray, method);
    QFETCH(Answer, answer);
    ScriptedService plain;
    ScriptedService encrypted(bench.certificates.good());
    for (ScriptedService* service : { &plain, &encrypted }) {
        service->answer("/", answer);
        HttpRequest request = makeRequest(method, service->url(u"/"_s));
        request.body = method == "POST" ? "{}"_ba : ""_ba;
        (void)outcomeOf(request);
        QTRY_COMPARE(service->openConnectionCount(), 0);
        QCOMPARE(service->requests().size(), 1U);
        QCOMPARE(service->connectionCount(), 1);
    }
}

void QtHttpSessionConnectionTest::keepsNoConnectionAndNoThread()
{
    ScriptedService service;
    QtHttpSession session({ .idle = patience });
    service.answer("/", Answer::reply(200).heldBack());
    for (int count = 1; count <= 2; ++count) {
        bool done = false;
        session.send(post(service.url(u"/"_s)), [&](const HttpOutcome&) { done = true; });
        QTRY_COMPARE(service.requests().size(), std::size_t(count));
        QCOMPARE(networkThreadCount(), 1);
        service.release();
        QTRY_VERIFY(done);
        QTRY_COMPARE(service.openConnectionCount(), 0);
        QTRY_COMPARE(networkThreadCount(), 0);
        QCOMPARE(service.connectionCount(), count);
    }
}

void QtHttpSessionConnectionTest::endsWithoutProgress_data()
{
    QTest::addColumn<Answer>("answer");
    QTest::addColumn<std::optional<int>>("status");
    QTest::newRow("no answer") << Answer::never() << std::optional<int>();
    const Answer half { .head = "HTTP/1.1 200 Fine\r\nContent-Length: 5\r\n\r\n", .body = "abc" };
    QTest::newRow("half a body") << half << std::optional(200);
    const Answer head { .head = "HTTP/1.1 200 Fine\r\nContent-L", .body = {} };
    QTest::newRow("half a header") << head << std::optional<int>();
}

void QtHttpSessionConnectionTest::endsWithoutProgress()
{
    QFETCH(Answer, answer);
    QFETCH(std::optional<int>, status);
    ScriptedService plain;
    ScriptedService encrypted(bench.certificates.good());
    for (ScriptedService* service : { &plain, &encrypted }) {
        service->answer("/", answer);
        const HttpOutcome outcome = outcomeOf(post(service->url(u"/"_s)), { .idle = 1000ms });
        QCOMPARE(errorOf(outcome), Code::timedOut);
        QCOMPARE(outcome.status, status);
        QVERIFY(!tellsTheKey(outcome));
        QCOMPARE(service->requests().size(), 1U);
        QTRY_COMPARE(service->openConnectionCount(), 0);
    }
}

void QtHttpSessionConnectionTest::waitsWhileAnAnswerMakesProgress()
{
    ScriptedService service;
    service.answer("/", Answer::reply(200, QByteArray(30, 'x')).slowly(100ms));
    constexpr auto idleTimeout = 1500ms;
    QElapsedTimer clock;
    clock.start();
    const HttpOutcome outcome = outcomeOf(get(service.url(u"/"_s)), { .idle = idleTimeout });
    QCOMPARE(errorOf(outcome), std::nullopt);
    QCOMPARE(outcome.body, QByteArray(30, 'x'));
    QVERIFY(clock.elapsed() > idleTimeout.count());
}

void QtHttpSessionConnectionTest::waitsWhileAnUploadMakesProgress()
{
    ScriptedService service;
    service.answer("/", Answer::reply(200));
    service.limitIntake(200'000, 50ms);
    constexpr auto idleTimeout = 2500ms;
    QElapsedTimer clock;
    clock.start();
    const HttpOutcome outcome = outcomeOf(post(service.url(u"/"_s), QByteArray(16'000'000, ' ')),
                                          { .idle = idleTimeout });
    QCOMPARE(errorOf(outcome), std::nullopt);
    QCOMPARE(outcome.status, 200);
    QVERIFY(clock.elapsed() > idleTimeout.count());
}

void QtHttpSessionConnectionTest::endsHoweverMuchProgressItMakes_data()
{
    QTest::addColumn<Answer>("answer");
    QTest::addColumn<std::optional<int>>("status");
    using Status = std::optional<int>;
    QTest::newRow("a body that drips")
        << Answer::reply(200, QByteArray(10'000, 'x')).slowly(100ms) << Status(200);
    QTest::newRow("an error that drips")
        << Answer::reply(500, QByteArray(10'000, 'x')).slowly(100ms) << Status(500);
}

void QtHttpSessionConnectionTest::endsHoweverMuchProgressItMakes()
{
    QFETCH(Answer, answer);
    QFETCH(std::optional<int>, status);
    ScriptedService plain;
    ScriptedService encrypted(bench.certificates.good());
    constexpr auto total = 1500ms;
    for (ScriptedService* service : { &plain, &encrypted }) {
        service->answer("/", answer);
        QElapsedTimer clock;
        clock.start();
        const HttpOutcome outcome
            = outcomeOf(post(service->url(u"/"_s)), { .idle = patience, .total = total });
        QCOMPARE(errorOf(outcome), Code::timedOut);
        QCOMPARE(outcome.status, status);
        QVERIFY(std::chrono::milliseconds(clock.elapsed()) < patience);
        QTRY_COMPARE(service->openConnectionCount(), 0);
    }
}

void QtHttpSessionConnectionTest::givesARequestAMinuteToGoOnAndTenToEnd()
{
    QCOMPARE(HttpTimeouts().idle, 60s);
    QCOMPARE(HttpTimeouts().total, 10min);
}

void QtHttpSessionConnectionTest::takesTheProxyToOtherMachinesOnly()
{
    ScriptedService plain;
    ScriptedService encrypted(bench.certificates.good());
    ScriptedService proxy;
    proxy.answer([](const ReceivedRequest&) {
        return Answer::reply(407, {}, { { "Proxy-Authenticate", R"(Basic realm="x")" } });
    });
    QNetworkProxy::setApplicationProxy({ QNetworkProxy::HttpProxy, u"127.0.0.1"_s, proxy.port() });
    const HttpOutcome here = outcomeOf(post(plain.url(u"/"_s)));
    const HttpOutcome alsoHere = outcomeOf(post(encrypted.url(u"/"_s)));
    const HttpOutcome elsewhere = outcomeOf(post(QUrl(u"https://quibel.invalid/"_s)));
    QNetworkProxyFactory::setUseSystemConfiguration(true);

    QCOMPARE(here.status, 404);
    QCOMPARE(alsoHere.status, 404);
    QCOMPARE(errorOf(elsewhere), Code::other);
    QCOMPARE(elsewhere.status, std::nullopt);
    QCOMPARE(proxy.requests().size(), 1U);
    QCOMPARE(proxy.requests().front().method, "CONNECT"_ba);
    QCOMPARE(proxy.requests().front().target, "quibel.invalid:443"_ba);
    QCOMPARE(proxy.requests().front().header("Authorization"), std::nullopt);
}

void QtHttpSessionConnectionTest::takesTheProxyOfTheEnvironment_data()
{
    QTest::addColumn<QByteArray>("exceptions");
    QTest::addColumn<bool>("taken");
    QTest::newRow("for all") << QByteArray() << true;
    QTest::newRow("not for this host") << "elsewhere.invalid"_ba << false;
    QTest::newRow("not for this domain") << "localhost,.invalid"_ba << false;
    QTest::newRow("not for others") << "example.com,.example.org"_ba << true;
}

void QtHttpSessionConnectionTest::takesTheProxyOfTheEnvironment()
{
    QFETCH(QByteArray, exceptions);
    QFETCH(bool, taken);
    ScriptedService service(bench.certificates.wrongHost());
    service.answer("/", Answer::reply(200, "hello"));
    TunnelProxy proxy(service.port());
    const EnvironmentVariable address("https_proxy", proxy.url().toEncoded());
    const EnvironmentVariable excepted("no_proxy", exceptions);

    const HttpOutcome outcome = outcomeOf(get(QUrl(u"https://elsewhere.invalid/"_s)));
    QCOMPARE(errorOf(outcome), taken ? std::nullopt : std::optional(Code::cannotFindHost));
    QCOMPARE(outcome.status, taken ? std::optional(200) : std::nullopt);
    QCOMPARE(proxy.requests().size(), taken ? 1U : 0U);
    if (taken) {
        QCOMPARE(proxy.requests().front().target, "elsewhere.invalid:443"_ba);
        // The key is for the service's eyes only.
        QCOMPARE(proxy.requests().front().header("Authorization"), std::nullopt);
        QCOMPARE(service.requests().front().header("Authorization"), "Bearer " + key);
    }
}

void QtHttpSessionConnectionTest::tellsTheProxyWhoTheUserIs()
{
    ScriptedService service(bench.certificates.wrongHost());
    service.answer("/", Answer::reply(200, "hello"));
    TunnelProxy proxy(service.port(), "user:pass word");
    QUrl withCredentials = proxy.url();
    withCredentials.setUserName(u"user"_s);
    withCredentials.setPassword(u"pass word"_s);
    const QUrl elsewhere(u"https://elsewhere.invalid/"_s);
    {
        const EnvironmentVariable address("https_proxy", withCredentials.toEncoded());
        QCOMPARE(outcomeOf(post(elsewhere)).status, 200);
    }
    const EnvironmentVariable address("https_proxy", proxy.url().toEncoded());
    const HttpOutcome refused = outcomeOf(post(elsewhere));
    QCOMPARE(errorOf(refused), Code::other);
    QCOMPARE(refused.status, std::nullopt);
    QCOMPARE(service.requests().size(), 1U);
}

void QtHttpSessionConnectionTest::namesWhatKeepsItFromTheHost_data()
{
    QTest::addColumn<QUrl>("url");
    QTest::addColumn<Code>("code");
    QTest::newRow("nobody listens")
        << QUrl(u"http://127.0.0.1:%1/"_s.arg(unusedPort())) << Code::cannotConnectToHost;
    QTest::newRow("nobody listens, encrypted")
        << QUrl(u"https://localhost:%1/"_s.arg(unusedPort())) << Code::cannotConnectToHost;
    QTest::newRow("no such host") << QUrl(u"https://nowhere.invalid/"_s) << Code::cannotFindHost;
    // The broadcast address: no system routes a connection there, so nothing leaves the machine.
    QTest::newRow("no route") << QUrl(u"https://255.255.255.255/"_s)
                              << Code::notConnectedToInternet;
}

void QtHttpSessionConnectionTest::namesWhatKeepsItFromTheHost()
{
    QFETCH(QUrl, url);
    QFETCH(Code, code);
    for (const auto& request : { get(url), post(url) }) {
        const HttpOutcome outcome = outcomeOf(request);
        QCOMPARE(errorOf(outcome), code);
        QCOMPARE(outcome.status, std::nullopt);
        QVERIFY(!outcome.error->localizedDescription.isEmpty());
        QVERIFY(!tellsTheKey(outcome));
    }
}

} // namespace quibel::testing

QTEST_GUILESS_MAIN(quibel::testing::QtHttpSessionConnectionTest)

#include "QtHttpSessionConnectionTest.moc"
