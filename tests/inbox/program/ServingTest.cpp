#include "tests/inbox/agent/SampleDocuments.h"
#include "tests/inbox/http/RawHttp.h"
#include "tests/inbox/program/InboxProcess.h"
#include "tests/service/TestCertificates.h"

#include <QFile>
#include <QProcess>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslSocket>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

namespace quibel::inbox {

using namespace testing;
using quibel::testing::TestCertificates;

namespace {

bool writePair(const QTemporaryDir& directory, const QSslConfiguration& configuration)
{
    const auto write = [&directory](const QString& name, const QByteArray& bytes) {
        QFile file(directory.filePath(name));
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    };
    return write(u"certificate.pem"_s, configuration.localCertificate().toPem())
        && write(u"key.pem"_s, configuration.privateKey().toPem());
}

/// The certificate that a service shows to a new connection.
QSslCertificate shownBy(const QUrl& url)
{
    QSslSocket socket;
    socket.setPeerVerifyMode(QSslSocket::VerifyNone);
    socket.connectToHostEncrypted(u"127.0.0.1"_s, quint16(url.port()));
    (void)socket.waitForEncrypted(20'000);
    return socket.peerCertificate();
}

RawAnswer get(const QUrl& url, const QByteArray& path, const QList<QByteArray>& headers = {})
{
    RawHttp http(quint16(url.port()));
    http.send(RawHttp::request("GET " + path, headers));
    return http.receive();
}

} // namespace

/// Where the service can be reached, and by whom.
class ServingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        directory = std::make_unique<QTemporaryDir>();
        inbox = std::make_unique<InboxProcess>(
            QStringList { u"--data"_s, directory->filePath(u"data"_s) });
    }
    void cleanup()
    {
        inbox.reset();
        directory.reset();
    }

    void refusesToBeReachedFromElsewhereUnprotected_data()
    {
        QTest::addColumn<QString>("listen");
        QTest::newRow("every IPv4") << u"0.0.0.0:0"_s;
        QTest::newRow("every IPv6") << u"[::]:0"_s;
        QTest::newRow("elsewhere") << u"192.0.2.1:0"_s;
    }
    void refusesToBeReachedFromElsewhereUnprotected()
    {
        QFETCH(QString, listen);
        const auto outcome = inbox->run({ u"serve"_s, u"--listen"_s, listen });
        QCOMPARE(outcome.exitCode, 1);
        QCOMPARE(outcome.output, QByteArray());
        QVERIFY(outcome.errors.contains("can be reached from other machines"));
        QVERIFY(outcome.errors.contains("--tls-certificate"));
    }

    void listensElsewhereWithACertificate()
    {
        const TestCertificates certificates;
        QVERIFY(writePair(*directory, certificates.good()));
        const auto url = inbox->serve(tls(u"0.0.0.0:0"_s));
        QCOMPARE(url.scheme(), u"https"_s);
        QCOMPARE(shownBy(url), certificates.good().localCertificate());

        const auto link = inbox->run({ u"open"_s, u"--print"_s }).output;
        QVERIFY2(link.startsWith("https://localhost:"), link.constData());
        QVERIFY(inbox->stop());
    }

    void readsTheCertificateAgainWhenItIsTold()
    {
        const TestCertificates certificates;
        QVERIFY(writePair(*directory, certificates.good()));
        const auto url = inbox->serve(tls(u"127.0.0.1:0"_s));
        QCOMPARE(shownBy(url), certificates.good().localCertificate());

        QVERIFY(writePair(*directory, certificates.wrongHost()));
        inbox->signal(SIGHUP);
        QTRY_COMPARE(shownBy(url), certificates.wrongHost().localCertificate());

        QFile broken(directory->filePath(u"certificate.pem"_s));
        QVERIFY(broken.open(QIODevice::WriteOnly | QIODevice::Truncate));
        inbox->signal(SIGHUP);
        QByteArray errors;
        QTRY_VERIFY((errors += inbox->takeErrors()).contains("stays as it was"));
        QCOMPARE(shownBy(url), certificates.wrongHost().localCertificate());
        QVERIFY(inbox->stop());
    }

    void saysWhatIsWrongWithACertificate()
    {
        const TestCertificates certificates;
        QVERIFY(writePair(*directory, certificates.good()));
        QVERIFY(QFile::remove(directory->filePath(u"key.pem"_s)));
        const auto outcome = inbox->run(QStringList { u"serve"_s } + tls(u"127.0.0.1:0"_s));
        QCOMPARE(outcome.exitCode, 1);
        QVERIFY2(outcome.errors.contains("key.pem"), outcome.errors.constData());
    }

    void goesOnWhenItIsToldToReadNothingAgain()
    {
        const auto url = inbox->serve();
        inbox->signal(SIGHUP);
        QCOMPARE(get(url, "/healthz").status, 200);
        QVERIFY(inbox->stop());
    }

    void believesAProxyThatItStandsBehind()
    {
        const auto url = inbox->serve({ u"--listen"_s, u"127.0.0.1:0"_s, u"--behind-proxy"_s });
        const QList<QByteArray> fromElsewhere { "X-Forwarded-For: 192.0.2.7" };
        QCOMPARE(get(url, "/metrics").status, 200);
        QCOMPARE(get(url, "/metrics", fromElsewhere).status, 403);
        QByteArray errors;
        QTRY_VERIFY((errors += inbox->takeErrors()).contains("192.0.2.7"));
        QVERIFY(inbox->stop());
    }

    void believesNobodyElseAboutWhereTheyAre()
    {
        const auto url = inbox->serve();
        QCOMPARE(get(url, "/metrics", { "X-Forwarded-For: 192.0.2.7" }).status, 200);
        QVERIFY(inbox->stop());
    }

    void tellsHowItIsAndWhatItDoes()
    {
        const auto url = inbox->serve();
        const auto health = get(url, "/healthz");
        QCOMPARE(health.status, 200);
        QCOMPARE(health.body, "{\"status\":\"ok\"}");
        const auto metrics = get(url, "/metrics");
        QCOMPARE(metrics.status, 200);
        QVERIFY(metrics.head.contains("content-type: text/plain; version=0.0.4"));
        QVERIFY(metrics.body.contains(
            R"(quibel_http_requests_total{method="GET",route="/healthz",status="200"} 1)"));
        QVERIFY(metrics.body.contains("quibel_inbox_build_info{version=\""));
        const auto at = metrics.body.indexOf("\nprocess_resident_memory_bytes ");
        QVERIFY(at >= 0);
        QVERIFY(metrics.body.mid(at + 31).split('\n').first().toDouble() > 1'000'000);
    }

    void logsRequestsWithoutKeysAndTexts()
    {
        const auto key = inbox->createKey();
        const auto url = inbox->serve();
        RawHttp http(quint16(url.port()));
        http.send(
            RawHttp::request("POST /api/branches/from-agent?secret=word",
                             { "Authorization: Bearer " + key, "Content-Type: application/json" },
                             toBytes(sampleBranch())));
        QCOMPARE(http.receive().status, 201);
        QCOMPARE(get(url, "/some/secret").status, 404);

        QByteArray log;
        QTRY_COMPARE((log += inbox->takeErrors()).count('\n'), 2);
        for (const auto& line : log.trimmed().split('\n'))
            QVERIFY2(QJsonDocument::fromJson(line).isObject(), line.constData());
        QVERIFY(log.contains(R"("route":"/api/branches/from-agent","status":201)"));
        for (const auto& secret : { key, "Look at"_ba, "secret"_ba, "notes.txt"_ba })
            QVERIFY2(!log.contains(secret), log.constData());
    }

    void doesNotStartWhereItCouldTalkToNobody()
    {
        QProcess process;
        process.start(u"prlimit"_s,
                      { u"--nofile=64"_s,
                        qEnvironmentVariable("QUIBEL_TEST_BIN_DIR") + u"/quibel-inbox"_s,
                        u"serve"_s,
                        u"--listen"_s,
                        u"127.0.0.1:0"_s,
                        u"--data"_s,
                        directory->filePath(u"data"_s) });
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), 1);
        QVERIFY(process.readAllStandardError().contains("file descriptors"));
    }

    void servesOnWhenNobodyReadsItsLog()
    {
        const auto url = inbox->serve();
        inbox->closeErrors();
        for (int i = 0; i < 3; ++i)
            QCOMPARE(get(url, "/healthz").status, 200);
        QVERIFY(inbox->stop());
    }

private:
    [[nodiscard]] QStringList tls(const QString& listen) const
    {
        return { u"--listen"_s,          listen,
                 u"--tls-certificate"_s, directory->filePath(u"certificate.pem"_s),
                 u"--tls-key"_s,         directory->filePath(u"key.pem"_s) };
    }

    std::unique_ptr<QTemporaryDir> directory;
    std::unique_ptr<InboxProcess> inbox;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::ServingTest)
#include "ServingTest.moc"
