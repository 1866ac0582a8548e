#include "tests/platform/SettingsPortal.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

const auto appearance = u"org.freedesktop.appearance"_s;
const auto key = u"color-scheme"_s;

} // namespace

SettingsPortal::SettingsPortal(QVariant colorScheme)
    : bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"portal"_s))
    , value(std::move(colorScheme))
{
    bus.registerObject(u"/org/freedesktop/portal/desktop"_s,
                       this,
                       QDBusConnection::ExportScriptableInvokables
                           | QDBusConnection::ExportScriptableSignals);
    if (!bus.registerService(u"org.freedesktop.portal.Desktop"_s))
        qFatal("there is a portal already");
}

SettingsPortal::~SettingsPortal()
{
    bus.unregisterService(u"org.freedesktop.portal.Desktop"_s);
    QDBusConnection::disconnectFromBus(bus.name());
}

void SettingsPortal::set(const QVariant& colorScheme)
{
    value = colorScheme;
    tell(appearance, key, value);
}

void SettingsPortal::tell(const QString& space, const QString& name, const QVariant& changed)
{
    Q_EMIT SettingChanged(space, name, QDBusVariant(changed));
}

QDBusVariant SettingsPortal::Read(const QString& space, const QString& name)
{
    ++asked;
    const bool isKnown = space == appearance && name == key;
    return QDBusVariant(QVariant::fromValue(QDBusVariant(isKnown ? value : QVariant(9U))));
}

} // namespace quibel::testing
