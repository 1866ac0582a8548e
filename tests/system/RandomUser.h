#pragma once

#include "tests/system/MarkedWindow.h"
#include "tests/system/Witness.h"

#include <memory>
#include <random>
#include <vector>

namespace quibel::testing {

/// A person at the desktop who does one random thing after the other, by real keys, with a service
/// that answers as it likes; and who sees at once when something is not as it must be.
///
/// Thread: main; the calls run the event loop while they wait.
class RandomUser
{
public:
    /// The same seed does the same things.
    RandomUser(VirtualDesktop& where, AgentSession& with, std::uint32_t seed);
    RandomUser(const RandomUser&) = delete;
    RandomUser& operator=(const RandomUser&) = delete;
    ~RandomUser() = default;

    /// Opens some windows to work in.
    [[nodiscard]] bool begin();
    /// Does one thing and waits for all that must come of it. False when something else came.
    [[nodiscard]] bool step();
    /// Has every request answered and waits until nothing is under way.
    [[nodiscard]] bool rest();

    /// What was done, a line a step; each begins with its number.
    [[nodiscard]] const QStringList& diary() const { return steps; }
    [[nodiscard]] const QStringList& complaints() const { return witness.ledger.complaints(); }

private:
    [[nodiscard]] bool writeLine();
    [[nodiscard]] bool distract();
    [[nodiscard]] bool finish();
    [[nodiscard]] bool cancel();
    void pressArrows();
    [[nodiscard]] bool pressAgain();
    [[nodiscard]] bool pressForResend();
    [[nodiscard]] bool answerOne();
    [[nodiscard]] bool changeWindow();
    [[nodiscard]] bool letAWindowAppear();
    [[nodiscard]] bool intruderGotNothing();
    void movePointer();
    [[nodiscard]] bool keyboardGoesToAnybody() const;
    [[nodiscard]] bool keyboardIsBack();

    [[nodiscard]] int pick(int count);
    [[nodiscard]] Fate pickFate();
    void press(const QString& keys, const QString& why = {});
    void type(const QString& text);
    void note(const QString& what) { steps.back() += u' ' + what; }
    [[nodiscard]] MarkedWindow& front() { return *windows.at(frontIndex); }

    VirtualDesktop& desktop;
    AgentSession& session;
    Witness witness;
    std::mt19937 random;
    QStringList steps;
    std::vector<std::unique_ptr<MarkedWindow>> windows;
    std::size_t frontIndex = 0;
    QProcess* intruder = nullptr; ///< The program whose window has appeared.
    SentLine draft;               ///< What is in the open panel.
    int lastNumber = 0;
    bool takesPictures = false; ///< As it was chosen last.
};

} // namespace quibel::testing
