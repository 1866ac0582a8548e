#include "tests/system/NetworkManager.h"

#include <QDBusMessage>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

const QString name = u"org.freedesktop.NetworkManager"_s;
const QString path = u"/org/freedesktop/NetworkManager"_s;

constexpr uint disconnected = 20;
constexpr uint connectedGlobally = 70;
constexpr uint noConnectivity = 1;
constexpr uint fullConnectivity = 4;

} // namespace

NetworkManager::NetworkManager()
    : bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, name))
    , properties({ { u"State"_s, disconnected },
                   { u"Connectivity"_s, noConnectivity },
                   { u"Metered"_s, 0U },
                   { u"Version"_s, u"1.42.4"_s } })
{
    bus.registerVirtualObject(path, this);
    if (!bus.registerService(name))
        qFatal("there is a network manager already");
}

NetworkManager::~NetworkManager()
{
    bus.unregisterService(name);
    QDBusConnection::disconnectFromBus(bus.name());
}

void NetworkManager::connectToInternet()
{
    properties[u"State"_s] = connectedGlobally;
    properties[u"Connectivity"_s] = fullConnectivity;
    QDBusMessage changed = QDBusMessage::createSignal(
        path, u"org.freedesktop.DBus.Properties"_s, u"PropertiesChanged"_s);
    changed << name << properties << QStringList();
    bus.send(changed);
}

QString NetworkManager::introspect(const QString& /*path*/) const
{
    return {};
}

bool NetworkManager::handleMessage(const QDBusMessage& message, const QDBusConnection& connection)
{
    if (message.member() != u"GetAll"_s)
        return false;
    asked = true;
    return connection.send(message.createReply(properties));
}

} // namespace quibel::testing
