#pragma once

#include <QDBusAbstractAdaptor>

#include <functional>

namespace quibel {

/// What the agent tells of itself on the session bus, for a diagnosis.
class AgentInterface : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.quibel.CaptureAgent")
    Q_PROPERTY(bool HoldsHotKey READ holdsHotKey)

public:
    explicit AgentInterface(QObject* owner);

    [[nodiscard]] bool holdsHotKey() const { return holds && holds(); }

    std::function<bool()> holds;
};

} // namespace quibel
