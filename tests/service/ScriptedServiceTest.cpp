#include "tests/service/ScriptedService.h"
#include "tests/service/TestCertificates.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QSslSocket>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quibel::testing;

namespace {

QByteArray get(const QByteArray& target)
{
    return "GET " + target + " HTTP/1.1\r\nHost: x\r\n\r\n";
}

/// A client that shows what comes over the wire.
struct RawClient
{
    explicit RawClient(const ScriptedService& service)
    {
        QObject::connect(
            &socket, &QTcpSocket::readyRead, &socket, [this] { input += socket.readAll(); });
        socket.connectToHost(service.url().host(), service.port());
    }

    [[nodiscard]] bool isOver() const { return socket.state() == QTcpSocket::UnconnectedState; }

    QTcpSocket socket;
    QByteArray input;
};

} // namespace

class ScriptedServiceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recordsARequestAsItWasSent();
    void takesARequestThatComesInPieces();
    void answersRequestsOfOneConnectionInTurn();
    void prefersThePathsOwnAnswerToTheScript();
    void endsTheConnectionWhereTold_data();
    void endsTheConnectionWhereTold();
    void holdsAnAnswerUntilReleased();
    void releasesOneOfTheAnswersThatAreHeld();
    void neverAnswersWhenTold();
    void sendsChunksOfOneByte();
    void sendsByteByByte();
    void streamsABigBody();
    void takesABodySlowly();
    void presentsTheCertificateAskedFor_data();
    void presentsTheCertificateAskedFor();
};

void ScriptedServiceTest::recordsARequestAsItWasSent()
{
    ScriptedService service;
    RawClient client(service);
    client.socket.write("POST /a%20b?c=d HTTP/1.1\r\nhOST: me\r\nX-Two:  2 \r\n"
                        "Content-Length: 5\r\n\r\n\r\n\0\xff!"_ba);
    QTRY_COMPARE(service.requests().size(), 1U);

    const ReceivedRequest request = service.requests().front();
    QCOMPARE(request.method, "POST"_ba);
    QCOMPARE(request.target, "/a%20b?c=d"_ba);
    const Headers expected { { "hOST", "me" }, { "X-Two", "2" }, { "Content-Length", "5" } };
    QCOMPARE(request.headers, expected);
    QCOMPARE(request.body, "\r\n\0\xff!"_ba);
    QCOMPARE(request.header("x-two"), "2"_ba);
    QCOMPARE(request.header("x-three"), std::nullopt);
}

void ScriptedServiceTest::takesARequestThatComesInPieces()
{
    ScriptedService service;
    RawClient client(service);
    const QByteArray whole = "POST / HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc";
    for (qsizetype sent = 0; sent < whole.size(); ++sent) {
        QCOMPARE(service.requests().size(), 0U);
        client.socket.write(whole.sliced(sent, 1));
        QTRY_COMPARE(service.bytesReceived(), sent + 1);
    }
    QCOMPARE(service.requests().size(), 1U);
    QCOMPARE(service.requests().front().body, "abc"_ba);
}

void ScriptedServiceTest::answersRequestsOfOneConnectionInTurn()
{
    ScriptedService service;
    service.answer("/one", Answer::reply(200, "1"));
    service.answer("/two", Answer::json(201, "2"));
    RawClient client(service);
    client.socket.write(get("/one") + get("/two?x"));

    QTRY_COMPARE(client.input,
                 "HTTP/1.1 200 Scripted\r\nContent-Length: 1\r\n\r\n1"
                 "HTTP/1.1 201 Scripted\r\nContent-Type: application/json\r\n"
                 "Content-Length: 1\r\n\r\n2"_ba);
    QCOMPARE(service.connectionCount(), 1);
    QVERIFY(!client.isOver());
}

void ScriptedServiceTest::prefersThePathsOwnAnswerToTheScript()
{
    ScriptedService service;
    RawClient client(service);
    client.socket.write(get("/other"));
    QTRY_VERIFY(client.input.startsWith("HTTP/1.1 404 "));

    service.answer("/known", Answer::redirect(302, "/elsewhere"));
    service.answer([](const ReceivedRequest& request) {
        return Answer::reply(request.target == "/other" ? 203 : 500);
    });
    client.input.clear();
    client.socket.write(get("/known"));
    QTRY_COMPARE(client.input,
                 "HTTP/1.1 302 Scripted\r\nLocation: /elsewhere\r\nContent-Length: 0\r\n\r\n"_ba);
    client.input.clear();
    client.socket.write(get("/other"));
    QTRY_VERIFY(client.input.startsWith("HTTP/1.1 203 "));

    service.leaveToScript("/known");
    client.input.clear();
    client.socket.write(get("/known"));
    QTRY_VERIFY(client.input.startsWith("HTTP/1.1 500 "));
}

void ScriptedServiceTest::endsTheConnectionWhereTold_data()
{
    QTest::addColumn<Answer>("answer");
    QTest::addColumn<QByteArray>("expected");
    const Answer whole = Answer::reply(200, "abcdef");
    QTest::newRow("in the header")
        << whole.cutInHeader() << whole.head.first(whole.head.size() / 2);
    QTest::newRow("before the body") << whole.cutInBody(0) << whole.head;
    QTest::newRow("in the body") << whole.cutInBody(2) << whole.head + "ab";
    QTest::newRow("in a streamed body")
        << Answer::blanks(200, 9).cutInBody(3) << Answer::blanks(200, 9).head + "   ";
    QTest::newRow("behind raw bytes") << Answer::raw("what?") << "what?"_ba;
    QTest::newRow("without a byte") << Answer::raw({}) << QByteArray();
}

void ScriptedServiceTest::endsTheConnectionWhereTold()
{
    QFETCH(Answer, answer);
    QFETCH(QByteArray, expected);
    ScriptedService service;
    service.answer("/", answer);
    RawClient client(service);
    client.socket.write(get("/"));
    QTRY_COMPARE(service.requests().size(), 1U);
    QTRY_VERIFY(client.isOver());
    QCOMPARE(client.input, expected);
}

void ScriptedServiceTest::holdsAnAnswerUntilReleased()
{
    ScriptedService service;
    service.answer("/held", Answer::reply(200, "late").heldBack());
    RawClient held(service);
    held.socket.write(get("/held"));
    QTRY_COMPARE(service.requests().size(), 1U);
    RawClient other(service);
    other.socket.write(get("/"));
    QTRY_VERIFY(!other.input.isEmpty());
    QVERIFY(held.input.isEmpty());

    service.release();
    QTRY_VERIFY(held.input.endsWith("late"));
}

void ScriptedServiceTest::releasesOneOfTheAnswersThatAreHeld()
{
    ScriptedService service;
    service.answer("/", Answer::reply(200, "late").heldBack());
    RawClient first(service);
    first.socket.write(get("/"));
    QTRY_COMPARE(service.requests().size(), 1U);
    RawClient second(service);
    second.socket.write(get("/"));
    QTRY_COMPARE(service.requests().size(), 2U);

    service.release(1);
    QTRY_VERIFY(second.input.endsWith("late"));
    QVERIFY(first.input.isEmpty());
    service.release(0);
    QTRY_VERIFY(first.input.endsWith("late"));
}

void ScriptedServiceTest::neverAnswersWhenTold()
{
    ScriptedService service;
    service.answer("/", Answer::never());
    RawClient silent(service);
    silent.socket.write(get("/") + get("/next"));
    QTRY_COMPARE(service.requests().size(), 1U);
    service.release();
    RawClient other(service);
    other.socket.write(get("/other"));
    QTRY_VERIFY(!other.input.isEmpty());
    QVERIFY(silent.input.isEmpty());
    QVERIFY(!silent.isOver());
    QCOMPARE(service.requests().size(), 2U);
    QCOMPARE(service.openConnectionCount(), 2);

    service.disconnectClients();
    QTRY_VERIFY(silent.isOver());
    QTRY_COMPARE(service.openConnectionCount(), 0);
}

void ScriptedServiceTest::sendsChunksOfOneByte()
{
    ScriptedService service;
    service.answer("/", Answer::chunked(200, "ab"));
    RawClient client(service);
    client.socket.write(get("/"));
    QTRY_COMPARE(client.input,
                 "HTTP/1.1 200 Scripted\r\nTransfer-Encoding: chunked\r\n\r\n"
                 "1\r\na\r\n1\r\nb\r\n0\r\n\r\n"_ba);
}

void ScriptedServiceTest::sendsByteByByte()
{
    using namespace std::chrono_literals;
    ScriptedService service;
    service.answer("/", Answer::reply(200, "abcdefgh").slowly(5ms));
    RawClient client(service);
    QSignalSpy arrivals(&client.socket, &QTcpSocket::readyRead);
    client.socket.write(get("/"));
    QTRY_VERIFY(client.input.endsWith("\r\n\r\nabcdefgh"));
    QVERIFY(arrivals.count() > 2);
}

void ScriptedServiceTest::streamsABigBody()
{
    constexpr qint64 size = 30'000'000;
    ScriptedService service;
    service.answer("/", Answer::blanks(200, size));
    RawClient client(service);
    client.socket.write(get("/"));
    QTRY_COMPARE(client.input.size(), Answer::blanks(200, size).head.size() + size);
    QCOMPARE(service.bytesSent(), client.input.size());
}

void ScriptedServiceTest::takesABodySlowly()
{
    using namespace std::chrono_literals;
    ScriptedService service;
    service.limitIntake(50, 5ms);
    RawClient client(service);
    QElapsedTimer clock;
    clock.start();
    client.socket.write("POST / HTTP/1.1\r\nContent-Length: 400\r\n\r\n" + QByteArray(400, 'x'));
    QTRY_COMPARE(service.requests().size(), 1U);
    QCOMPARE(service.requests().front().body.size(), 400);
    QVERIFY(clock.elapsed() >= 32);
}

void ScriptedServiceTest::presentsTheCertificateAskedFor_data()
{
    QTest::addColumn<QSslConfiguration>("tls");
    QTest::addColumn<QList<QSslError::SslError>>("errors");
    const TestCertificates certificates;
    QSslConfiguration trusting = QSslConfiguration::defaultConfiguration();
    trusting.setCaCertificates({ certificates.authority() });
    QSslConfiguration::setDefaultConfiguration(trusting);

    using Errors = QList<QSslError::SslError>;
    QTest::newRow("good") << certificates.good() << Errors {};
    QTest::newRow("expired") << certificates.expired() << Errors { QSslError::CertificateExpired };
    QTest::newRow("wrong host") << certificates.wrongHost()
                                << Errors { QSslError::HostNameMismatch };
    QTest::newRow("self-signed") << certificates.selfSigned()
                                 << Errors { QSslError::SelfSignedCertificate };
}

void ScriptedServiceTest::presentsTheCertificateAskedFor()
{
    QFETCH(QSslConfiguration, tls);
    QFETCH(QList<QSslError::SslError>, errors);
    ScriptedService service(tls);
    service.answer("/", Answer::reply(200, "over TLS"));
    QCOMPARE(service.url().scheme(), u"https"_s);

    QSslSocket socket;
    QByteArray input;
    QList<QSslError::SslError> seen;
    connect(&socket, &QSslSocket::sslErrors, &socket, [&](const QList<QSslError>& found) {
        for (const QSslError& error : found)
            seen.append(error.error());
        socket.ignoreSslErrors();
    });
    connect(&socket, &QSslSocket::readyRead, &socket, [&] { input += socket.readAll(); });
    socket.connectToHostEncrypted(u"127.0.0.1"_s, service.port());
    socket.write(get("/"));
    QTRY_VERIFY(input.endsWith("over TLS"));
    QCOMPARE(seen, errors);
    QCOMPARE(service.connectionCount(), 1);
}

QTEST_GUILESS_MAIN(ScriptedServiceTest)
#include "ScriptedServiceTest.moc"
