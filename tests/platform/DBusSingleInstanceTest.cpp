#include "platform/freedesktop/DBusSingleInstance.h"
#include "tests/desktop/RunOnDesktop.h"

#include <QCoreApplication>
#include <QDBusPendingCall>
#include <QDBusVirtualObject>
#include <QFile>
#include <QTest>
#include <QThread>

#include <functional>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace quibel {

namespace {

const QString busName = u"org.quibel.CaptureAgent"_s;
const QString objectPath = u"/org/quibel/CaptureAgent"_s;
const QString connectionName = u"another agent"_s;

/// Another process that has the name, as far as the bus can tell.
class OtherAgent : public QDBusVirtualObject
{
public:
    /// Answers true once it has done with a call.
    using Answer = std::function<bool(const QDBusMessage&, const QDBusConnection&)>;

    explicit OtherAgent(Answer answered)
        : answer(std::move(answered))
    {
        moveToThread(&thread);
        thread.start();
        QDBusConnection connection
            = QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName);
        connection.registerVirtualObject(objectPath, this);
        if (!connection.registerService(busName))
            qFatal("somebody has the name");
    }
    ~OtherAgent() override
    {
        QDBusConnection::disconnectFromBus(connectionName);
        thread.quit();
        thread.wait();
    }
    Q_DISABLE_COPY_MOVE(OtherAgent)

    [[nodiscard]] QString introspect(const QString& /*path*/) const override { return {}; }
    bool handleMessage(const QDBusMessage& call, const QDBusConnection& where) override
    {
        return answer(call, where);
    }

private:
    Answer answer;
    QThread thread;
};

} // namespace

/// What cannot be had from the program itself: other agents that misbehave.
class DBusSingleInstanceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsWhatCameBeforeThereWasAHandler()
    {
        DBusSingleInstance instance;
        QCOMPARE(instance.takeRole(AgentCommand::sendBranch), SingleInstance::Role::agent);
        auto call = QDBusMessage::createMethodCall(
            busName, objectPath, u"org.freedesktop.Application"_s, u"ActivateAction"_s);
        call.setArguments({ u"capture"_s, QVariantList(), QVariantMap() });
        const QDBusConnection other
            = QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName);
        const QDBusPendingCall answer = other.asyncCall(call);
        QTRY_VERIFY(answer.isFinished());
        QVERIFY(!answer.isError());
        QCoreApplication::processEvents();

        std::vector<AgentCommand> asked;
        instance.setHandler([&asked](AgentCommand command) { asked.push_back(command); });
        QVERIFY(asked.empty());
        QTRY_COMPARE(asked, std::vector { AgentCommand::capture });
        QDBusConnection::disconnectFromBus(connectionName);
    }

    void handsItsCommandOver()
    {
        QStringList asked;
        const OtherAgent other([&](const QDBusMessage& call, const QDBusConnection& where) {
            asked += call.arguments().constFirst().toString();
            return where.send(call.createReply());
        });
        DBusSingleInstance instance;
        QCOMPARE(instance.takeRole(AgentCommand::connectAccount), SingleInstance::Role::messenger);
        QCOMPARE(asked, QStringList(u"connect-account"_s));
    }

    void succeedsOneThatEndsInsteadOfAnswering()
    {
        const OtherAgent other([](const QDBusMessage&, const QDBusConnection&) {
            QDBusConnection::disconnectFromBus(connectionName);
            return true;
        });
        DBusSingleInstance instance;
        QCOMPARE(instance.takeRole(AgentCommand::capture), SingleInstance::Role::agent);
    }

    void givesUpOnOneThatRefuses()
    {
        const OtherAgent other([](const QDBusMessage& call, const QDBusConnection& where) {
            return where.send(call.createErrorReply(QDBusError::AccessDenied, u"no"_s));
        });
        DBusSingleInstance instance;
        QCOMPARE(instance.takeRole(AgentCommand::capture), SingleInstance::Role::unanswered);
    }

    void givesUpOnOneThatDoesNotAnswer()
    {
        const OtherAgent other([](const QDBusMessage&, const QDBusConnection&) { return true; });
        DBusSingleInstance instance(200ms);
        QCOMPARE(instance.takeRole(AgentCommand::capture), SingleInstance::Role::unanswered);
    }

    void isOneForAllScreensOfADisplay_data()
    {
        QTest::addColumn<QByteArray>("display");
        QTest::addColumn<QString>("file");
        QTest::newRow("no screen") << ":7"_ba << u"quibel-capture-agent:7.lock"_s;
        QTest::newRow("screen") << ":7.12"_ba << u"quibel-capture-agent:7.lock"_s;
        QTest::newRow("host") << "a.b.c:7"_ba << u"quibel-capture-agenta.b.c:7.lock"_s;
        QTest::newRow("both") << "10.0.0.1:7.0"_ba << u"quibel-capture-agent10.0.0.1:7.lock"_s;
        QTest::newRow("socket") << "/tmp/x.y:0"_ba << u"quibel-capture-agent-tmp-x.y:0.lock"_s;
    }

    void isOneForAllScreensOfADisplay()
    {
        QFETCH(const QByteArray, display);
        QFETCH(const QString, file);
        const QByteArray former = qgetenv("DISPLAY");
        qputenv("DISPLAY", display);
        DBusSingleInstance instance;
        const SingleInstance::Role role = instance.takeRole(AgentCommand::capture);
        qputenv("DISPLAY", former);
        QCOMPARE(role, SingleInstance::Role::agent);
        QVERIFY(QFile::exists(qEnvironmentVariable("XDG_RUNTIME_DIR") + u'/' + file));
    }

    void leavesTheNameToTheNext()
    {
        for (int round = 0; round < 2; ++round) {
            DBusSingleInstance instance;
            QCOMPARE(instance.takeRole(AgentCommand::capture), SingleInstance::Role::agent);
        }
    }
};

} // namespace quibel

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::DBusSingleInstanceTest>(
        argc, argv, { .windowManager = {} });
}

#include "DBusSingleInstanceTest.moc"
