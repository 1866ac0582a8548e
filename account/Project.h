#pragma once

#include <QHashFunctions>
#include <QList>
#include <QString>

#include <cstddef>

namespace quibel {

/// One project of the user's account.
struct Project
{
    QString id;
    QString name;
    bool isMock = false; ///< A placeholder: never remembered, its id never sent.

    bool operator==(const Project&) const = default;
};

[[nodiscard]] inline std::size_t qHash(const Project& project, std::size_t seed = 0)
{
    return qHashMulti(seed, project.id, project.name, project.isMock);
}

/// Projects in the order in which they are offered. Copies share one list, however long it is.
using ProjectList = QList<Project>;

} // namespace quibel
