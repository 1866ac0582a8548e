#pragma once

#include <QDBusAbstractAdaptor>

#include <functional>

namespace quibel {

/// What the agent tells of itself on the session bus, for a diagnosis.
class AgentInterface : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.quibel.CaptureAgent")
    Q_PROPERTY(QString HeldHotKey READ heldHotKey)

public:
    explicit AgentInterface(QObject* owner);

    /// As portable text; empty for none.
    [[nodiscard]] QString heldHotKey() const { return hotKey ? hotKey() : QString(); }

    std::function<QString()> hotKey;
};

} // namespace quibel
