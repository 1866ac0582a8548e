#pragma once

#include "tests/system/AgentSession.h"
#include "tests/system/LineLedger.h"

#include <chrono>
#include <functional>

namespace quibel::testing {

/// Answers the agent's requests as the ledger of the user's lines says, and waits for what must
/// come of each thing that the user does.
///
/// The questions are true as soon as it is so. Errors: false with a complaint in the ledger when it
/// does not become so, and at once when there is a complaint already.
///
/// Thread: main; the questions run the event loop while they wait.
class Witness
{
public:
    /// Takes over what `watchedSession` answers to everything but the request for projects.
    explicit Witness(AgentSession& watchedSession);
    Witness(const Witness&) = delete;
    Witness& operator=(const Witness&) = delete;
    ~Witness() = default;

    /// Gives the agent an answer that it waits for.
    void answer(std::size_t request);

    [[nodiscard]] bool panelHasKeyboard();
    [[nodiscard]] bool panelIsGone();
    /// Every line and every resend has come.
    [[nodiscard]] bool everythingIsPosted();
    /// The picture of the line that was sent last is taken; `sinceReturn` ago at the most.
    [[nodiscard]] bool
    pictureIsTaken(const std::function<std::chrono::milliseconds()>& sinceReturn);
    /// The agent has dealt with all that it was answered.
    [[nodiscard]] bool agentHasCaughtUp();
    [[nodiscard]] bool everyUploadIsReported();
    [[nodiscard]] bool sees(const QString& what, const std::function<bool()>& condition);

    LineLedger ledger;

private:
    [[nodiscard]] Answer answerTo(const ReceivedRequest& request);

    AgentSession& session;
};

} // namespace quibel::testing
