#pragma once

#include "platform/SingleInstance.h"
#include "platform/freedesktop/AgentInterface.h"
#include "platform/freedesktop/ProcessLock.h"

#include <QDBusConnection>
#include <QList>
#include <QObject>

#include <chrono>

namespace quibel {

/// One agent by a name on the session bus, on which it takes commands.
///
/// There may be no bus, or another one than when the agent was started, so a lock file says the
/// same; it is one for each display, as the hot key is.
class DBusSingleInstance : public SingleInstance
{
public:
    /// `limit` is how long an agent that runs may take to answer.
    explicit DBusSingleInstance(std::chrono::milliseconds limit = std::chrono::seconds(5));
    ~DBusSingleInstance() override;
    Q_DISABLE_COPY_MOVE(DBusSingleInstance)

    [[nodiscard]] Role takeRole(AgentCommand command) override;
    void setHandler(Handler taker) override;
    void setHotKeyQuestion(std::function<QString()> heldHotKey) override;

private:
    enum class HandOver { taken, refused, nobodyThere };

    [[nodiscard]] Role takeRoleOnBus(AgentCommand command);
    [[nodiscard]] HandOver handOver(AgentCommand command, std::chrono::milliseconds limit) const;
    void enqueue(AgentCommand command);
    void deliverLater();

    std::chrono::milliseconds patience;
    QDBusConnection bus;
    bool ownsName = false;
    ProcessLock lock;
    Handler handler;
    QList<AgentCommand> waiting;
    QObject application;   ///< What others see on the bus.
    AgentInterface* agent; ///< Belongs to it.
};

} // namespace quibel
