#pragma once

#include "inbox/http/ListenAddress.h"
#include "inbox/storage/Database.h"

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
        openPage,
        addAccount,
        listAccounts,
        setPassword,
        createKey,
        listKeys,
        revokeKey,
        addProject,
        listProjects,
        listBranches,
        writeScreenshot,
        backUp,
        exportAll
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
    DatabaseLocation database;
    QString account; ///< Name of the account that the command is about.
    QString operand; ///< The word behind the command: a name, an identifier or a path.
    QString keyName;
    bool json = false;
    bool printOnly = false; ///< Open nothing, only say the link.
    std::optional<QString> outputFile;

    ListenAddress listen;
    QString certificateFile; ///< Both files or none.
    QString privateKeyFile;
    bool behindProxy = false;
};

} // namespace quibel::inbox
