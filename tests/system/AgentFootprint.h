#pragma once

#include <QByteArray>
#include <QString>

#include <map>
#include <optional>

#include <sys/types.h>

namespace quibel::testing {

/// What a process holds of the machine and of the X server.
struct AgentFootprint
{
    qint64 residentKiB = 0;
    int descriptors = 0;
    int threads = 0;
    std::map<QByteArray, int> serverResources; ///< Windows, pixmaps and the like, by their kind.

    /// Errors: none when the process, or the server's X Resource extension, does not tell.
    [[nodiscard]] static std::optional<AgentFootprint> of(pid_t process);

    /// What has grown since `earlier`, so many steps ago, by more than caches may that are filled
    /// late; empty when nothing has.
    [[nodiscard]] QString growthSince(const AgentFootprint& earlier, int steps) const;

    [[nodiscard]] QString text() const;
};

} // namespace quibel::testing
