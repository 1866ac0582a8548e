#pragma once

#include "inbox/http/ListenAddress.h"

#include <QString>
#include <QStringList>

#include <optional>
#include <variant>

namespace quibel::inbox {

/// What a person asked the program to do.
struct CommandLine
{
    enum class Command {
        serve,
        createKey,
        addProject,
        listProjects,
        listBranches,
        writeScreenshot
    };

    /// Nothing to do but to say something: help, the version, or what is wrong with the call.
    struct Notice
    {
        enum class Kind { answer, misuse };

        Kind kind;
        QString text;
    };

    /// `arguments` begins with the program's name.
    [[nodiscard]] static std::variant<CommandLine, Notice> parse(const QStringList& arguments);

    Command command = Command::serve;
    QString dataDirectory;
    ListenAddress listen;
    QString name; ///< Of the new key or project.
    bool json = false;
    QString branchID;
    std::optional<QString> outputFile;
};

} // namespace quibel::inbox
