#include "tests/platform/StatusNotifierWatcher.h"

using namespace Qt::StringLiterals;

namespace quibel::testing {

StatusNotifierWatcher::StatusNotifierWatcher()
{
    bus.registerObject(u"/StatusNotifierWatcher"_s,
                       this,
                       QDBusConnection::ExportAllProperties | QDBusConnection::ExportAllSignals
                           | QDBusConnection::ExportAllSlots);
    bus.registerService(u"org.kde.StatusNotifierWatcher"_s);
}

StatusNotifierWatcher::~StatusNotifierWatcher()
{
    bus.unregisterObject(u"/StatusNotifierWatcher"_s);
    bus.unregisterService(u"org.kde.StatusNotifierWatcher"_s);
    QDBusConnection::disconnectFromBus(bus.name());
}

void StatusNotifierWatcher::setHost(bool present)
{
    hasHost = present;
    if (present)
        Q_EMIT StatusNotifierHostRegistered();
    else
        Q_EMIT StatusNotifierHostUnregistered();
}

void StatusNotifierWatcher::RegisterStatusNotifierItem(const QString& service)
{
    items.append(service);
}

} // namespace quibel::testing
