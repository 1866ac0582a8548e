#include "platform/freedesktop/AgentInterface.h"

namespace quibel {

AgentInterface::AgentInterface(QObject* owner)
    : QDBusAbstractAdaptor(owner)
{
}

} // namespace quibel
