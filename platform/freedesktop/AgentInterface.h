#pragma once

#include <QDBusAbstractAdaptor>

namespace quibel {

/// What the agent tells of itself on the session bus, for a diagnosis.
class AgentInterface : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.quibel.CaptureAgent")
    Q_PROPERTY(bool HoldsHotKey MEMBER holdsHotKey)

public:
    explicit AgentInterface(QObject* owner);

    bool holdsHotKey = false;
};

} // namespace quibel
