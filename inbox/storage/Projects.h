#pragma once

#include "inbox/storage/StorageError.h"

#include <QList>
#include <QString>

namespace quibel::inbox {

class Database;

struct StoredProject
{
    QString id;
    QString name;
    bool archived = false; ///< Kept with its branches, but no longer offered to the agent.

    bool operator==(const StoredProject&) const = default;
};

/// The projects of an account, in the order that its owner gave them.
class Projects
{
public:
    explicit Projects(Database& openDatabase);

    /// Returns the identifier of the new project, which comes last.
    [[nodiscard]] StorageResult<QString> add(const QString& accountID, const QString& name);
    /// Whether it is a project of this account, archived or not.
    [[nodiscard]] StorageResult<bool> has(const QString& accountID, const QString& projectID);
    [[nodiscard]] StorageResult<QList<StoredProject>> ofAccount(const QString& accountID);

    /// Each returns false when the account has no such project.
    [[nodiscard]] StorageResult<bool>
    rename(const QString& accountID, const QString& projectID, const QString& name);
    [[nodiscard]] StorageResult<bool>
    setArchived(const QString& accountID, const QString& projectID, bool archived);
    /// Puts a project at this place among all of the account's, counted from 0.
    [[nodiscard]] StorageResult<bool>
    moveTo(const QString& accountID, const QString& projectID, qsizetype place);

private:
    Database& database;
};

} // namespace quibel::inbox
