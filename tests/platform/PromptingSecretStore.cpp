#include "tests/platform/PromptingSecretStore.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QMap>
#include <QVariantMap>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

const QDBusObjectPath root(u"/org/freedesktop/secrets"_s);
const QDBusObjectPath collection(u"/org/freedesktop/secrets/collection/only"_s);
const QDBusObjectPath item(u"/org/freedesktop/secrets/collection/only/1"_s);
const QDBusObjectPath prompt(u"/org/freedesktop/secrets/prompt/1"_s);
const QDBusObjectPath none(u"/"_s);

QVariant paths(const QList<QDBusObjectPath>& list)
{
    return QVariant::fromValue(list);
}

} // namespace

bool PromptingSecretStore::start()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.registerVirtualObject(root.path(), this, QDBusConnection::SubPath)
        && bus.registerService(u"org.freedesktop.secrets"_s);
}

QString PromptingSecretStore::introspect(const QString& /*path*/) const
{
    return {};
}

bool PromptingSecretStore::handleMessage(const QDBusMessage& message,
                                         const QDBusConnection& connection)
{
    return connection.send(answer(message));
}

QDBusMessage PromptingSecretStore::answer(const QDBusMessage& message)
{
    const QString member = message.member();
    if (member == u"GetAll"_s)
        return message.createReply(
            QVariantMap { { u"Locked"_s, false }, { u"Label"_s, u"label"_s } });
    if (member == u"OpenSession"_s && message.arguments().constFirst() == u"plain"_s)
        return message.createReply(
            { QVariant::fromValue(QDBusVariant(QString())), QVariant::fromValue(root) });
    if (member == u"SearchItems"_s) {
        const auto attributes
            = qdbus_cast<QMap<QString, QString>>(message.arguments().constFirst());
        const bool found = attributes.value(u"account"_s) == u"existing"_s;
        return message.createReply(
            { paths(found ? QList { item } : QList<QDBusObjectPath>()), paths({}) });
    }
    if (member == u"ReadAlias"_s)
        return message.createReply(QVariant::fromValue(collection));
    if (member == u"CreateItem"_s)
        return message.createReply({ QVariant::fromValue(none), QVariant::fromValue(prompt) });
    if (member == u"Delete"_s)
        return message.createReply(QVariant::fromValue(prompt));
    if (member == u"Unlock"_s)
        return message.createReply({ paths({}), QVariant::fromValue(prompt) });
    if (member == u"Get"_s)
        return message.createReply(QVariant::fromValue(QDBusVariant(paths({ collection }))));
    if (member == u"Prompt"_s) {
        std::puts("prompted");
        std::fflush(stdout);
        return message.createReply();
    }
    if (member == u"AnswerPrompt"_s) {
        QDBusMessage completed = QDBusMessage::createSignal(
            prompt.path(), u"org.freedesktop.Secret.Prompt"_s, u"Completed"_s);
        completed << true << QVariant::fromValue(QDBusVariant(paths({})));
        QDBusConnection::sessionBus().send(completed);
        return message.createReply();
    }
    return message.createErrorReply(QDBusError::NotSupported, member);
}

} // namespace quibel::testing
