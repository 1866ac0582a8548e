#pragma once

#include <QProcess>
#include <QProcessEnvironment>

#include <functional>
#include <optional>

namespace quibel::testing {

/// A run of the real program that is to end by itself.
struct AgentRun
{
    int exitCode = 0;
    QByteArray output;
    QByteArray errors;

    /// None when it crashes, or does not end.
    [[nodiscard]] static std::optional<AgentRun> of(const QProcessEnvironment& environment,
                                                    const QStringList& arguments,
                                                    const std::function<void(QProcess&)>& prepare
                                                    = {})
    {
        QProcess process;
        process.setProcessEnvironment(environment);
        if (prepare)
            prepare(process);
        process.start(program(), arguments);
        if (!process.waitForFinished() || process.exitStatus() != QProcess::NormalExit)
            return std::nullopt;
        return AgentRun { .exitCode = process.exitCode(),
                          .output = process.readAllStandardOutput(),
                          .errors = process.readAllStandardError() };
    }

    [[nodiscard]] static QString program()
    {
        return qEnvironmentVariable("QUIBEL_TEST_BIN_DIR")
            + QStringLiteral("/quibel-capture-agent");
    }
};

} // namespace quibel::testing
