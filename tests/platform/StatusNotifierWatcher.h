#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QStringList>

namespace quibel::testing {

/// A watcher of status notifier items, as a desktop's shell or a panel brings it along.
class StatusNotifierWatcher : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered MEMBER hasHost)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems MEMBER items)

public:
    StatusNotifierWatcher();
    StatusNotifierWatcher(const StatusNotifierWatcher&) = delete;
    StatusNotifierWatcher& operator=(const StatusNotifierWatcher&) = delete;
    ~StatusNotifierWatcher() override;

    void setHost(bool present);

    /// The bus names of the items that have registered.
    [[nodiscard]] const QStringList& registeredItems() const { return items; }

public Q_SLOTS:
    void RegisterStatusNotifierItem(
        const QString& service); // NOLINT(readability-identifier-naming): as on the bus.

Q_SIGNALS:
    void StatusNotifierHostRegistered();   // NOLINT(readability-identifier-naming): as on the bus.
    void StatusNotifierHostUnregistered(); // NOLINT(readability-identifier-naming): as on the bus.

private:
    QDBusConnection bus
        = QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("watcher"));
    bool hasHost = false;
    QStringList items;
};

} // namespace quibel::testing
