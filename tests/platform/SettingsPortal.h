#pragma once

#include <QDBusConnection>
#include <QDBusVariant>
#include <QObject>

namespace quibel::testing {

/// The settings portal of a desktop, with the one setting for light and dark.
class SettingsPortal : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    /// There from now on, with `colorScheme` as the value of the setting.
    explicit SettingsPortal(QVariant colorScheme);
    SettingsPortal(const SettingsPortal&) = delete;
    SettingsPortal& operator=(const SettingsPortal&) = delete;
    ~SettingsPortal() override;

    /// Changes the setting and tells of it.
    void set(const QVariant& colorScheme);
    void tell(const QString& space, const QString& name, const QVariant& changed);
    [[nodiscard]] int questions() const { return asked; }

    // NOLINTBEGIN(readability-identifier-naming): as on the bus.
    Q_SCRIPTABLE QDBusVariant Read(const QString& space, const QString& name);

Q_SIGNALS:
    Q_SCRIPTABLE void
    SettingChanged(const QString& space, const QString& name, const QDBusVariant& changed);
    // NOLINTEND(readability-identifier-naming)

private:
    QDBusConnection bus;
    QVariant value;
    int asked = 0;
};

} // namespace quibel::testing
