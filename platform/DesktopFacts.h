#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace quibel {

/// What shows windows on this desktop.
struct DisplayFacts
{
    QString server;               ///< For example "X11".
    bool isInsideWayland = false; ///< It serves only those programs that do not use Wayland.
    std::optional<QString> windowManager; ///< Its name; none when there is none that tells.
    bool hasCompositor = false;
    bool keepsCoveredWindows = false; ///< A picture of a window has what lies under others, too.

    bool operator==(const DisplayFacts&) const = default;
};

/// The bus over which the programs of a session talk to each other, and the agent on it.
struct SessionBusFacts
{
    enum class State {
        absent,
        silent, ///< It does not answer in time.
        answers,
    };

    State state = State::absent;
    bool agentRuns = false;
    /// The hot key that the running agent has, as portable text, empty for none; nullopt if it does
    /// not say.
    std::optional<QString> agentHotKey {};

    bool operator==(const SessionBusFacts&) const = default;
};

/// Where preferences are kept, and what is wrong with that.
struct PreferencesFacts
{
    QString path;
    bool exists = false;
    std::optional<QString> damage; ///< Why what is there cannot be read.
    bool canBeWritten = false;

    bool operator==(const PreferencesFacts&) const = default;
};

} // namespace quibel
