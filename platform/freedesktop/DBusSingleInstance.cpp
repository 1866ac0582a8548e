#include "platform/freedesktop/DBusSingleInstance.h"

#include "platform/freedesktop/AgentOnBus.h"
#include "platform/freedesktop/ApplicationInterface.h"

#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QDir>
#include <QStandardPaths>

#include <thread>
#include <utility>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

const QString busName = QString::fromLatin1(agentBusName);
const QString objectPath = QString::fromLatin1(agentObjectPath);

/// How long the agent before may take to let go of its lock, if there is one that ends.
constexpr std::chrono::seconds ending { 1 };
/// The same where it has let go of its name, so that it surely ends.
constexpr std::chrono::seconds surelyEnding { 5 };
/// Between two looks whether an agent that ends has ended.
constexpr std::chrono::milliseconds pause { 10 };

/// The server and the display, whichever of its screens is named behind a dot.
QString displayName()
{
    QString name = qEnvironmentVariable("DISPLAY");
    if (const qsizetype dot = name.lastIndexOf(u'.'); dot > name.lastIndexOf(u':'))
        name.truncate(dot);
    return name.replace(u'/', u'-');
}

QString lockFile()
{
    QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (folder.isEmpty()) {
        // Not in the folder for temporary files, where anybody could be first.
        folder = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
        QDir().mkpath(folder);
    }
    return folder + u"/quibel-capture-agent%1.lock"_s.arg(displayName());
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
    // Nobody waits for the answer, so that a bus that hangs does not hold the end up.
    auto release = QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s,
                                                  u"/org/freedesktop/DBus"_s,
                                                  u"org.freedesktop.DBus"_s,
                                                  u"ReleaseName"_s);
    release.setArguments({ busName });
    if (ownsName)
        bus.send(release);
}

SingleInstance::Role DBusSingleInstance::takeRole(AgentCommand command)
{
    const Role role = bus.isConnected() ? takeRoleOnBus(command) : Role::agent;
    if (role != Role::agent)
        return role;
    // One that is just ending lets go of its connections one by one.
    const QString file = lockFile();
    const QDeadlineTimer deadline(ownsName ? surelyEnding : ending);
    while (!lock.tryLock(file)) {
        if (deadline.hasExpired())
            return Role::stranded;
        std::this_thread::sleep_for(pause);
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
        case HandOver::nobodyThere: // It has just ended, or is about to.
            std::this_thread::sleep_for(pause);
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
    case QDBusError::UnknownObject: // It takes nothing more; see `enqueue`.
    case QDBusError::NoReply:       // also when the agent ends before it answers
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

void DBusSingleInstance::setHotKeyQuestion(std::function<QString()> heldHotKey)
{
    agent->hotKey = std::move(heldHotKey);
}

void DBusSingleInstance::enqueue(AgentCommand command)
{
    waiting.append(command);
    // What comes behind it is for the next agent.
    if (command == AgentCommand::quit)
        bus.unregisterObject(objectPath);
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
