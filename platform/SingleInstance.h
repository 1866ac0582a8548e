#pragma once

#include <QString>

#include <functional>

namespace quibel {

/// What one start of the agent can ask of the agent that runs.
enum class AgentCommand {
    sendBranch, ///< The menu's command.
    capture,    ///< What the hot key does.
    connectAccount,
    quit,
};

/// The agent that runs, of which there is one, and the way to it from the starts after it.
///
/// Thread: main; needs no application object.
class SingleInstance
{
public:
    enum class Role {
        agent,      ///< No other one runs: this process is the agent, until this object ends.
        messenger,  ///< The agent that runs has taken the command over.
        stranded,   ///< An agent runs, but there is no way to it.
        unanswered, ///< An agent runs, but does not take the command.
    };
    using Handler = std::function<void(AgentCommand)>;

    SingleInstance() = default;
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;
    virtual ~SingleInstance() = default;

    /// Becomes the agent, or hands `command` to the one that runs already. Waits for its answer,
    /// for some seconds at most.
    [[nodiscard]] virtual Role takeRole(AgentCommand command) = 0;

    /// Has `handler` get what other starts ask, also what they asked before this call.
    ///
    /// Always called from the event loop, after the other start has had its answer.
    virtual void setHandler(Handler handler) = 0;

    /// Has a diagnosis told what `heldHotKey` says when it asks: the hot key in the hands of this
    /// agent as portable text, empty for none.
    virtual void setHotKeyQuestion(std::function<QString()> heldHotKey) = 0;
};

} // namespace quibel
