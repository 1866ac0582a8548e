#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"
#include "tests/system/NetworkManager.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel::testing {

/// A launch before the network is there.
class NetworkTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    /// Has the private session bus serve as the bus of the system, too.
    [[nodiscard]] QProcessEnvironment oneBusForAll() const
    {
        QProcessEnvironment surroundings;
        surroundings.insert(u"DBUS_SYSTEM_BUS_ADDRESS"_s,
                            desktop.environment().value(u"DBUS_SESSION_BUS_ADDRESS"_s));
        return surroundings;
    }

private Q_SLOTS:
    void theProjectsComeWithTheNetworkAndNothingElseIsDone()
    {
        NetworkManager network;
        AgentSession session(desktop);
        QVERIFY(session.storeKey());
        session.writePreferences({ { keptKey, QJsonObject { { u"base64"_s, u"e30="_s } } } });
        const Answer projects = Answer::json(200, R"([{"id":"p1","name":"Atlas"}])");
        session.service.answer("/api/projects", Answer::raw({}));
        QVERIFY(session.launch(oneBusForAll()));
        QTRY_VERIFY(network.wasAsked());
        QCOMPARE(session.countOf("/api/projects"), 1U);

        session.service.answer("/api/projects", projects);
        network.connectToInternet();
        QTRY_VERIFY(session.output().contains("Loaded 1 projects from API\n"));
        QCOMPARE(session.countOf("/api/projects"), 2U);
        QVERIFY(session.preferences().contains(keptKey));
    }

    void nobodyIsAskedOfTheNetworkWhenTheServiceAnswers()
    {
        const NetworkManager network;
        AgentSession session(desktop);
        QVERIFY(session.storeKey());
        QVERIFY(session.launch(oneBusForAll()));
        QTRY_VERIFY(session.output().contains("Loaded 2 projects from API\n"));
        QVERIFY(!network.wasAsked());
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::NetworkTest, QApplication>(
        argc, argv, { .keyRing = true });
}

#include "NetworkTest.moc"
