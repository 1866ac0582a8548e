#pragma once

#include <QDBusConnection>
#include <QDBusVirtualObject>
#include <QVariantMap>

namespace quibel::testing {

/// The service of a desktop that knows of the network, on the session bus; disconnected at first.
class NetworkManager : public QDBusVirtualObject
{
    Q_OBJECT

public:
    NetworkManager();
    NetworkManager(const NetworkManager&) = delete;
    NetworkManager& operator=(const NetworkManager&) = delete;
    ~NetworkManager() override;

    /// Connects to the internet, and tells of it.
    void connectToInternet();
    /// Whether anybody has asked for the state of the network.
    [[nodiscard]] bool wasAsked() const { return asked; }

    [[nodiscard]] QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    QDBusConnection bus;
    QVariantMap properties;
    bool asked = false;
};

} // namespace quibel::testing
