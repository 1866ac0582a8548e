#pragma once

#include <QString>
#include <QStringList>

#include <variant>

namespace quibel {

/// What a person asked the program to do.
struct CommandLine
{
    enum class Command {
        start, ///< No command: only be there.
        sendBranch,
        capture,
        connectAccount,
        quit,
        autostart,
        doctor,
    };

    /// Nothing to do but to say something: help, the version, or what is wrong with the call.
    struct Notice
    {
        enum class Kind { answer, misuse };

        Kind kind;
        QString text;
    };

    /// `arguments` begins with the program's name.
    ///
    /// Needs neither an application object nor a display.
    [[nodiscard]] static std::variant<CommandLine, Notice> parse(const QStringList& arguments);

    Command command = Command::start;
    QString operand;   ///< The word that belongs to the command: "on", "off" or "status".
    bool json = false; ///< Tell it to a program, not to a person.
};

} // namespace quibel
