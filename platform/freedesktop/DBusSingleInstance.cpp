#include "platform/freedesktop/DBusSingleInstance.h"

#include "platform/freedesktop/ApplicationInterface.h"

#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QStandardPaths>

#include <thread>
#include <utility>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

const QString busName = u"org.quibel.CaptureAgent"_s;
const QString objectPath = u"/org/quibel/CaptureAgent"_s;

constexpr std::chrono::seconds ending { 1 };
constexpr std::chrono::milliseconds lockPause { 10 };

QString lockFile()
{
    const QString display = qEnvironmentVariable("DISPLAY").replace(u'/', u'-');
    return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation)
        + u"/quibel-capture-agent%1.lock"_s.arg(display);
}

} // namespace

DBusSingleInstance::DBusSingleInstance(std::chrono::milliseconds limit)
    : patience(limit)
    , bus(QDBusConnection::sessionBus())
    , agent(new AgentInterface(&application))
{
    // The application object takes both over.
    new ApplicationInterface(&application, [this](AgentCommand command) { enqueue(command); });
}

DBusSingleInstance::~DBusSingleInstance()
{
    bus.unregisterObject(objectPath);
    if (ownsName)
        bus.unregisterService(busName);
}

SingleInstance::Role DBusSingleInstance::takeRole(AgentCommand command)
{
    const Role role = bus.isConnected() ? takeRoleOnBus(command) : Role::agent;
    if (role != Role::agent)
        return role;
    // One that is just ending lets go of its connections one by one.
    const QDeadlineTimer deadline(ending);
    while (!lock.tryLock(lockFile())) {
        if (deadline.hasExpired())
            return Role::stranded;
        std::this_thread::sleep_for(lockPause);
    }
    return Role::agent;
}

SingleInstance::Role DBusSingleInstance::takeRoleOnBus(AgentCommand command)
{
    // Calls may come as soon as the name is ours.
    bus.registerObject(objectPath, &application);
    const QDeadlineTimer deadline(patience);
    do {
        const auto reply = bus.interface()->registerService(busName);
        ownsName = reply.isValid() && reply == QDBusConnectionInterface::ServiceRegistered;
        // A bus that does not give names is of as little use as none.
        if (ownsName || !reply.isValid())
            return Role::agent;
        switch (handOver(command, std::chrono::milliseconds(deadline.remainingTime()))) {
        case HandOver::taken:
            return Role::messenger;
        case HandOver::refused:
            return Role::unanswered;
        case HandOver::nobodyThere: // It has just ended.
            break;
        }
    } while (!deadline.hasExpired());
    return Role::unanswered;
}

DBusSingleInstance::HandOver DBusSingleInstance::handOver(AgentCommand command,
                                                          std::chrono::milliseconds limit) const
{
    auto call = QDBusMessage::createMethodCall(
        busName, objectPath, ApplicationInterface::name(), u"ActivateAction"_s);
    call.setArguments({ ApplicationInterface::action(command), QVariantList(), QVariantMap() });
    call.setAutoStartService(false);
    const QDBusMessage answer = bus.call(call, QDBus::Block, static_cast<int>(limit.count()));
    if (answer.type() == QDBusMessage::ReplyMessage)
        return HandOver::taken;
    switch (QDBusError(answer).type()) {
    case QDBusError::ServiceUnknown:
    case QDBusError::NoReply: // also when the agent ends before it answers
    case QDBusError::Disconnected:
        return HandOver::nobodyThere;
    default:
        return HandOver::refused;
    }
}

void DBusSingleInstance::setHandler(Handler taker)
{
    handler = std::move(taker);
    deliverLater();
}

void DBusSingleInstance::setHoldsHotKey(bool holds)
{
    agent->holdsHotKey = holds;
}

void DBusSingleInstance::enqueue(AgentCommand command)
{
    waiting.append(command);
    deliverLater();
}

void DBusSingleInstance::deliverLater()
{
    const auto deliver = [this] {
        if (!handler)
            return;
        const auto due = std::exchange(waiting, {});
        for (const AgentCommand command : due)
            handler(command);
    };
    QMetaObject::invokeMethod(&application, deliver, Qt::QueuedConnection);
}

} // namespace quibel
