#pragma once

#include "inbox/api/JsonFields.h"
#include "inbox/storage/Keys.h"
#include "inbox/storage/Projects.h"
#include "inbox/storage/StoredBranch.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <optional>

namespace quibel::inbox {

/// What to change of a branch; what is none stays.
struct BranchChange
{
    std::optional<bool> done;
    std::optional<bool> deleted;
    std::optional<std::optional<QString>> projectID;
};

/// What to change of a project; what is none stays.
struct ProjectChange
{
    std::optional<QString> name;
    std::optional<bool> archived;
    std::optional<qint64> place; ///< Among all projects, counted from 0.
};

[[nodiscard]] BranchChange readBranchChange(JsonFields& fields);
[[nodiscard]] ProjectChange readProjectChange(JsonFields& fields);
/// The document that makes a project or a key: its name.
[[nodiscard]] QString readName(JsonFields& fields);

[[nodiscard]] QJsonObject toJson(const StoredScreenshot& screenshot);
[[nodiscard]] QJsonObject toJson(const StoredBranch& branch);
[[nodiscard]] QJsonObject toJson(const StoredProject& project);
[[nodiscard]] QJsonObject toJson(const StoredKey& key);

template <typename Thing>
[[nodiscard]] QJsonArray toJson(const QList<Thing>& list)
{
    QJsonArray array;
    for (const auto& thing : list)
        array.append(toJson(thing));
    return array;
}

} // namespace quibel::inbox
