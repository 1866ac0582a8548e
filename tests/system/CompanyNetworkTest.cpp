#include "tests/service/ScriptedService.h"
#include "tests/service/TestCertificates.h"
#include "tests/service/TunnelProxy.h"
#include "tests/system/DesktopTest.h"

#include <QProcess>

using namespace Qt::StringLiterals;

namespace quibel::testing {

/// The agent on a machine of a company: a proxy between it and the service, whose certificate is of
/// the company's own authority.
class CompanyNetworkTest : public DesktopTest
{
    Q_OBJECT

public:
    explicit CompanyNetworkTest(VirtualDesktop& privateDesktop)
        : DesktopTest(privateDesktop)
        , service(certificates.wrongHost())
    {
        service.answer("/api/projects", Answer::json(200, R"([{"id":"p1","name":"Atlas"}])"));
    }

private:
    /// Starts the agent where the system's store of authorities is `store`.
    ///
    /// The store's place is fixed, so the agent gets a view of the file system of its own.
    void launch(QProcess& agent, const QString& store, const QUrl& proxy) const
    {
        QProcessEnvironment environment = desktop.environment();
        environment.insert(u"QUIBEL_API_BASE_URL"_s, u"https://elsewhere.invalid"_s);
        environment.insert(u"QUIBEL_API_KEY"_s, u"sk_company"_s);
        environment.insert(u"https_proxy"_s, proxy.toString());
        agent.setProcessEnvironment(environment);
        const QStringList arguments { u"--mount"_s,
                                      u"sh"_s,
                                      u"-c"_s,
                                      u"mount --bind \"$1\" /etc/ssl/certs && exec \"$2\""_s,
                                      u"sh"_s,
                                      store,
                                      qEnvironmentVariable("QUIBEL_TEST_BIN_DIR")
                                          + u"/quibel-capture-agent"_s };
        agent.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        agent.start(u"unshare"_s, arguments);
    }

    static void end(QProcess& agent)
    {
        agent.terminate();
        QVERIFY(agent.waitForFinished());
    }

    TestCertificates certificates;
    ScriptedService service;

private Q_SLOTS:
    void initTestCase()
    {
        if (QProcess::execute(u"unshare"_s, { u"--mount"_s, u"true"_s }) != 0)
            QSKIP("the agent cannot be given a mount namespace here: neither as root, nor in a "
                  "user namespace, nor by sudo");
    }

    void trustsTheAuthoritiesOfTheSystem()
    {
        const QTemporaryDir store;
        QVERIFY(QFile::copy(certificates.authorityFile(), store.filePath(u"company.pem"_s)));
        QVERIFY(desktop.output(u"openssl"_s, { u"rehash"_s, store.path() }));
        TunnelProxy proxy(service.port());
        QProcess agent;
        launch(agent, store.path(), proxy.url());
        QByteArray output;
        QTRY_VERIFY_WITH_TIMEOUT(
            (output += agent.readAllStandardOutput()).contains("Loaded 1 projects from API\n"),
            30'000);
        end(agent);
        QCOMPARE(proxy.requests().front().target, "elsewhere.invalid:443"_ba);
        QCOMPARE(service.requests().front().header("Authorization"), "Bearer sk_company"_ba);
    }

    void trustsNoOtherAuthority()
    {
        const QTemporaryDir store;
        TunnelProxy proxy(service.port());
        const auto before = service.requests().size();
        QProcess agent;
        launch(agent, store.path(), proxy.url());
        // The tunnel is ended by whoever does not trust the other.
        QTRY_COMPARE_WITH_TIMEOUT(proxy.closedTunnelCount(), 1, 30'000);
        end(agent);
        QCOMPARE(service.requests().size(), before);
        QVERIFY(!agent.readAllStandardOutput().contains("Loaded"));
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::CompanyNetworkTest, QApplication>(
        argc, argv, {});
}

#include "CompanyNetworkTest.moc"
