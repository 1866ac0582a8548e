#include "platform/freedesktop/ApplicationInterface.h"

#include <QDBusConnection>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

struct Action
{
    AgentCommand command;
    QString name;
};

const QList<Action>& actions()
{
    using enum AgentCommand;
    static const QList<Action> all { { sendBranch, u"send-branch"_s },
                                     { capture, u"capture"_s },
                                     { connectAccount, u"connect-account"_s },
                                     { quit, u"quit"_s } };
    return all;
}

} // namespace

QString ApplicationInterface::name()
{
    return u"org.freedesktop.Application"_s;
}

QString ApplicationInterface::action(AgentCommand command)
{
    return std::ranges::find(actions(), command, &Action::command)->name;
}

ApplicationInterface::ApplicationInterface(QObject* owner, SingleInstance::Handler handler)
    : QDBusAbstractAdaptor(owner)
    , take(std::move(handler))
{
}

void ApplicationInterface::Activate(const QVariantMap& /*platformData*/)
{
    take(AgentCommand::sendBranch);
}

void ApplicationInterface::Open(const QStringList& /*uris*/, const QVariantMap& /*platformData*/) {
}

void ApplicationInterface::ActivateAction(const QString& action,
                                          const QVariantList& /*parameter*/,
                                          const QVariantMap& /*platformData*/,
                                          const QDBusMessage& call)
{
    const auto known = std::ranges::find(actions(), action, &Action::name);
    if (known != actions().end()) {
        take(known->command);
        return;
    }
    call.setDelayedReply(true);
    QDBusConnection::sessionBus().send(
        call.createErrorReply(QDBusError::InvalidArgs, u"there is no action \"%1\""_s.arg(action)));
}

} // namespace quibel
