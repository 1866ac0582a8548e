#include "inbox/http/RequestMetrics.h"
#include "inbox/http/TlsCredentials.h"
#include "tests/inbox/http/RunningServer.h"
#include "tests/service/TestCertificates.h"

#include <QFile>
#include <QRegularExpression>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QTest>

namespace quibel::inbox {

using namespace testing;
using namespace Qt::StringLiterals;

namespace {

/// One connection over TLS to a server on this machine.
class TlsClient
{
public:
    explicit TlsClient(const quibel::testing::TestCertificates& certificates,
                       QSsl::SslProtocol protocol = QSsl::SecureProtocols)
    {
        auto tls = QSslConfiguration::defaultConfiguration();
        tls.setCaCertificates({ certificates.authority() });
        tls.setProtocol(protocol);
        socket.setSslConfiguration(tls);
    }

    [[nodiscard]] bool connectTo(quint16 port)
    {
        socket.connectToHostEncrypted(u"127.0.0.1"_s, port);
        return QTest::qWaitFor([this] {
                   return socket.isEncrypted()
                       || socket.state() == QAbstractSocket::UnconnectedState;
               })
            && socket.isEncrypted();
    }

    [[nodiscard]] bool get()
    {
        socket.write("POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 5\r\n\r\nhello");
        return QTest::qWaitFor([this] { return socket.readAll().endsWith("got 5"); });
    }

    [[nodiscard]] QString peer() const
    {
        return socket.peerCertificate().subjectInfo(QSslCertificate::CommonName).value(0);
    }

private:
    QSslSocket socket;
};

void copyOver(const QString& from, const QString& to)
{
    QFile::remove(to);
    if (!QFile::copy(from, to))
        qFatal("cannot copy %s", qPrintable(from));
}

} // namespace

class TlsCredentialsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        directory = std::make_unique<QTemporaryDir>();
        use(u"good"_s);
    }

    void loadsACertificateAndItsKey()
    {
        const auto loaded = TlsCredentials::load(files());
        QVERIFY(std::holds_alternative<std::shared_ptr<TlsCredentials>>(loaded));
    }

    void saysWhatIsWrong_data()
    {
        QTest::addColumn<QString>("certificate");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("says");
        const auto row = [](const QString& certificate, const QString& key, const QString& says) {
            QTest::newRow(qPrintable(says)) << certificate << key << says;
        };
        row(u"missing.pem"_s, u"good.key"_s, u"cannot read .*/missing.pem: No such file"_s);
        row(u"good.pem"_s, u"missing.key"_s, u"cannot read .*/missing.key: No such file"_s);
        row(u"good.key"_s, u"good.key"_s, u"there is no certificate in .*/good.key"_s);
        row(u"empty"_s, u"good.key"_s, u"there is no certificate in .*/empty"_s);
        row(u"good.pem"_s, u"good.pem"_s, u"there is no key without a password in .*/good.pem"_s);
        row(u"good.pem"_s, u"empty"_s, u"there is no key without a password in .*/empty"_s);
        row(u"good.pem"_s,
            u"wrongHost.key"_s,
            u"the key in .*/wrongHost.key is not that of the certificate in .*/good.pem"_s);
    }
    void saysWhatIsWrong()
    {
        QFETCH(QString, certificate);
        QFETCH(QString, key);
        QFETCH(QString, says);
        QFile empty(certificates.file(u"empty"_s));
        QVERIFY(empty.open(QIODevice::WriteOnly));
        const auto loaded = TlsCredentials::load(
            { .certificate = certificates.file(certificate), .key = certificates.file(key) });
        QVERIFY(std::holds_alternative<QString>(loaded));
        const auto& problem = std::get<QString>(loaded);
        QVERIFY2(QRegularExpression(u"\\A"_s + says).match(problem).hasMatch(),
                 qPrintable(problem));
    }

    void servesOverTls()
    {
        const RunningServer server(options());
        TlsClient client(certificates);
        QVERIFY(client.connectTo(server.port));
        QVERIFY(client.get());
        QVERIFY(client.get());
        QVERIFY(server.requests.first().isSecure);
        QVERIFY(server.requests.first().clientIsLocal);
    }

    void speaksNothingOlderThan12_data()
    {
        QTest::addColumn<int>("protocol");
        QTest::addColumn<bool>("taken");
        QTest::newRow("1.2") << int(QSsl::TlsV1_2) << true;
        QTest::newRow("1.3") << int(QSsl::TlsV1_3) << true;
        QT_WARNING_PUSH
        QT_WARNING_DISABLE_DEPRECATED
        QTest::newRow("1.1") << int(QSsl::TlsV1_1) << false;
        QTest::newRow("1.0") << int(QSsl::TlsV1_0) << false;
        QT_WARNING_POP
    }
    void speaksNothingOlderThan12()
    {
        QFETCH(int, protocol);
        const RunningServer server(options());
        TlsClient client(certificates, static_cast<QSsl::SslProtocol>(protocol));
        QTEST(client.connectTo(server.port), "taken");
    }

    void servesNobodyWithoutTls()
    {
        const RunningServer server(options());
        QTcpSocket socket;
        socket.connectToHost(u"127.0.0.1"_s, server.port);
        QVERIFY(socket.waitForConnected());
        socket.write("GET / HTTP/1.1\r\nHost: x\r\n\r\n");
        QVERIFY(QTest::qWaitFor(
            [&socket] { return socket.state() == QAbstractSocket::UnconnectedState; }));
        QVERIFY(!socket.readAll().contains("HTTP"));
        QVERIFY(server.requests.isEmpty());
    }

    void givesNewConnectionsTheNewCertificate()
    {
        const auto serverOptions = options();
        const RunningServer server(serverOptions);
        TlsClient running(certificates);
        QVERIFY(running.connectTo(server.port));
        QCOMPARE(running.peer(), u"quibel test good"_s);

        use(u"renewed"_s);
        QCOMPARE(serverOptions.tls->reload(), std::optional<QString>());
        TlsClient fresh(certificates);
        QVERIFY(fresh.connectTo(server.port));
        QCOMPARE(fresh.peer(), u"quibel test renewed"_s);
        QVERIFY(fresh.get());
        QVERIFY(running.get());
    }

    void keepsTheOldPairWhenTheNewOneIsBad()
    {
        const auto serverOptions = options();
        const RunningServer server(serverOptions);
        copyOver(certificates.file(u"renewed.key"_s), files().key);
        const auto problem = serverOptions.tls->reload();
        QVERIFY(problem && problem->startsWith(u"the key in "));
        TlsClient client(certificates);
        QVERIFY(client.connectTo(server.port));
        QCOMPARE(client.peer(), u"quibel test good"_s);
    }

    void reloadsWhileClientsConnect()
    {
        const auto serverOptions = options();
        const RunningServer server(serverOptions);
        for (int i = 0; i < 20; ++i) {
            TlsClient client(certificates);
            QVERIFY(client.connectTo(server.port));
            use(i % 2 == 0 ? u"renewed"_s : u"good"_s);
            QVERIFY(!serverOptions.tls->reload());
            QVERIFY(client.get());
        }
    }

    void cutsAConnectionThatNeverBeginsToSpeakTls()
    {
        auto serverOptions = options();
        serverOptions.limits.connections = 16;
        RequestMetrics metrics;
        serverOptions.metrics = &metrics;
        const RunningServer server(serverOptions);
        std::vector<std::unique_ptr<QTcpSocket>> silent;
        for (int i = 0; i < 40; ++i) {
            silent.push_back(std::make_unique<QTcpSocket>());
            silent.back()->connectToHost(u"127.0.0.1"_s, server.port);
            QVERIFY(silent.back()->waitForConnected());
        }
        TlsClient client(certificates);
        QVERIFY(client.connectTo(server.port));
        QVERIFY(client.get());
        QVERIFY(metrics.text().contains("connections_cut_total 27\n"));
    }

private:
    [[nodiscard]] TlsCredentials::Files files() const
    {
        return { .certificate = directory->filePath(u"service.pem"_s),
                 .key = directory->filePath(u"service.key"_s) };
    }

    void use(const QString& name) const
    {
        copyOver(certificates.file(name + u".pem"_s), files().certificate);
        copyOver(certificates.file(name + u".key"_s), files().key);
    }

    [[nodiscard]] HttpServerOptions options() const
    {
        HttpServerOptions options;
        options.tls = std::get<std::shared_ptr<TlsCredentials>>(TlsCredentials::load(files()));
        return options;
    }

    const quibel::testing::TestCertificates certificates;
    std::unique_ptr<QTemporaryDir> directory;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::TlsCredentialsTest)
#include "TlsCredentialsTest.moc"
