#include "platform/freedesktop/PortalAppearance.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>

#include <utility>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

const QString service = u"org.freedesktop.portal.Desktop"_s;
const QString path = u"/org/freedesktop/portal/desktop"_s;
const QString interface = u"org.freedesktop.portal.Settings"_s;
const QStringList setting { u"org.freedesktop.appearance"_s, u"color-scheme"_s };

} // namespace

PortalAppearance::PortalAppearance()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    // Before the first message with a variant, the toolkit refuses a slot that takes one.
    qDBusRegisterMetaType<QDBusVariant>();
    bus.connect(service,
                path,
                interface,
                u"SettingChanged"_s,
                setting,
                u"ssv"_s,
                this,
                SLOT(settingChanged(QString, QString, QDBusVariant)));
    auto* portal
        = new QDBusServiceWatcher(service, bus, QDBusServiceWatcher::WatchForRegistration, this);
    connect(portal, &QDBusServiceWatcher::serviceRegistered, this, &PortalAppearance::ask);
    ask();
}

void PortalAppearance::ask()
{
    auto question = QDBusMessage::createMethodCall(service, path, interface, u"Read"_s);
    question.setArguments({ setting[0], setting[1] });
    auto* answer
        = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(question), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
        const QDBusPendingReply<QDBusVariant> reply = *answer;
        if (reply.isValid())
            adopt(reply.value().variant());
        answer->deleteLater();
    });
}

void PortalAppearance::settingChanged(const QString& /*space*/,
                                      const QString& /*key*/,
                                      const QDBusVariant& value)
{
    adopt(value.variant());
}

void PortalAppearance::adopt(const QVariant& value)
{
    // The answer to Read is wrapped once more than the value in SettingChanged.
    if (value.canConvert<QDBusVariant>()) {
        adopt(value.value<QDBusVariant>().variant());
        return;
    }
    ColorScheme told = ColorScheme::noPreference;
    if (value.typeId() == QMetaType::UInt && value.toUInt() == 1)
        told = ColorScheme::dark;
    else if (value.typeId() == QMetaType::UInt && value.toUInt() == 2)
        told = ColorScheme::light;
    if (std::exchange(scheme, told) != told)
        Q_EMIT colorSchemeChanged();
}

} // namespace quibel
