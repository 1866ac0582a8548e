#include "platform/freedesktop/DBusSingleInstance.h"
#include "platform/freedesktop/SessionBus.h"
#include "tests/desktop/RunOnDesktop.h"
#include "tests/desktop/StoppedProcess.h"

#include <QDBusConnection>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTcpServer>
#include <QTest>

#include <future>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using quibel::testing::VirtualDesktop;

namespace quibel {

class SessionBusTest : public QObject
{
    Q_OBJECT

public:
    explicit SessionBusTest(VirtualDesktop& virtualDesktop)
        : desktop(virtualDesktop)
    {
    }

private Q_SLOTS:
    void cleanup() { desktop.enter(); }

    void findsTheBus()
    {
        QCOMPARE(lookAtSessionBus(patience).state, State::answers);
        QVERIFY(!lookAtSessionBus(patience).agentRuns);
    }

    void findsTheAgentOnIt()
    {
        QDBusConnection bus
            = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"agent"_s);
        QVERIFY(bus.registerService(u"org.quibel.CaptureAgent"_s));
        const SessionBusFacts facts = lookAtSessionBus(patience);
        QVERIFY(bus.unregisterService(u"org.quibel.CaptureAgent"_s));
        QDBusConnection::disconnectFromBus(bus.name());
        QVERIFY(facts.agentRuns);
        QCOMPARE(facts.agentHotKey, std::nullopt);
    }

    void asksTheAgentForItsHotKey_data()
    {
        QTest::addColumn<QString>("hotKey");
        QTest::newRow("has one") << u"Meta+Shift+B"_s;
        QTest::newRow("has none") << u""_s;
    }

    void asksTheAgentForItsHotKey()
    {
        QFETCH(const QString, hotKey);
        DBusSingleInstance agent;
        QCOMPARE(agent.takeRole(AgentCommand::capture), SingleInstance::Role::agent);
        agent.setHotKeyQuestion([&hotKey] { return QString(hotKey); });
        // The agent answers from its event loop.
        auto facts = std::async(std::launch::async, [] { return lookAtSessionBus(patience); });
        QTRY_VERIFY(facts.wait_for(0s) == std::future_status::ready);
        QCOMPARE(facts.get().agentHotKey, std::optional(hotKey));
    }

    void tellsABusThatIsSilentFromOneThatAnswersAndFromNone()
    {
        QVERIFY(!sessionBusIsSilent(patience));
        {
            const quibel::testing::StoppedProcess hanging(desktop.busProcess());
            QVERIFY(sessionBusIsSilent(100ms));
        }
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere");
        QVERIFY(!sessionBusIsSilent(patience));
    }

    void doesNotTakeASilentAgentForASilentBus()
    {
        DBusSingleInstance agent;
        QCOMPARE(agent.takeRole(AgentCommand::capture), SingleInstance::Role::agent);
        const SessionBusFacts facts = lookAtSessionBus(300ms);
        QCOMPARE(facts.state, State::answers);
        QVERIFY(facts.agentRuns);
        QCOMPARE(facts.agentHotKey, std::nullopt);
    }

    void findsTheBusInItsUsualPlace()
    {
        const QString address = desktop.environment().value(u"DBUS_SESSION_BUS_ADDRESS"_s);
        const QString socket = address.section(u'=', 1).section(u',', 0, 0);
        const QString usual = desktop.environment().value(u"XDG_RUNTIME_DIR"_s) + u"/bus"_s;
        QVERIFY(QFile::link(socket, usual));
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        const SessionBusFacts facts = lookAtSessionBus(patience);
        QVERIFY(QFile::remove(usual));
        QCOMPARE(facts.state, State::answers);
    }

    void findsNone_data()
    {
        QTest::addColumn<QByteArray>("address");
        QTest::newRow("no address") << QByteArray();
        QTest::newRow("nobody there") << QByteArray("unix:path=/nonexistent/bus");
        QTest::newRow("no such address") << QByteArray("disabled:");
    }

    void findsNone()
    {
        QFETCH(const QByteArray, address);
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
        QCOMPARE(lookAtSessionBus(patience).state, State::absent);
    }

    void waitsOnlySoLong()
    {
        QTcpServer silent;
        QVERIFY(silent.listen(QHostAddress::LocalHost));
        qputenv("DBUS_SESSION_BUS_ADDRESS",
                "tcp:host=127.0.0.1,port=" + QByteArray::number(silent.serverPort()));
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(lookAtSessionBus(300ms).state, State::silent);
        QVERIFY2(timer.elapsed() < 5'000, "waited too long");
    }

    void canDoWithout()
    {
        // The library of the toolkit looks for the address once in the life of a program.
        const QStringList question { u"--session"_s,
                                     u"--print-reply"_s,
                                     u"--dest=org.freedesktop.DBus"_s,
                                     u"/"_s,
                                     u"org.freedesktop.DBus.ListNames"_s };
        QCOMPARE(QProcess::execute(u"dbus-send"_s, question), 0);
        doWithoutSessionBus();
        QCOMPARE(lookAtSessionBus(patience).state, State::absent);
        QVERIFY(QProcess::execute(u"dbus-send"_s, question) > 0);
    }

private:
    using State = SessionBusFacts::State;
    static constexpr auto patience = 10s;

    VirtualDesktop& desktop;
};

} // namespace quibel

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::SessionBusTest>(
        argc, argv, { .windowManager = {} });
}

#include "SessionBusTest.moc"
