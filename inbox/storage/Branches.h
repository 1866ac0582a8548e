#pragma once

#include "inbox/storage/BranchDocument.h"
#include "inbox/storage/StorageError.h"
#include "inbox/storage/StoredBranch.h"

#include <QList>
#include <QString>

#include <chrono>
#include <functional>
#include <optional>
#include <variant>

namespace quibel::inbox {

class Database;

/// Which branches of an account to look up. Deleted ones are never among them.
struct BranchQuery
{
    enum class State { open, done, any };
    struct NoProject
    {
    };

    QString accountID;
    QString search {}; ///< Words as a person types them, the last one perhaps not yet complete.
    std::variant<std::monostate, NoProject, QString> project {}; ///< Any, none, or this one.
    State state = State::open;
    std::optional<qint64> before {}; ///< Only those with a smaller number.
    int limit = 50;
};

/// The branches that the agents sent.
class Branches
{
public:
    explicit Branches(Database& openDatabase);

    /// Returns the identifier of the new branch. Its project, if it has one, must be there.
    [[nodiscard]] StorageResult<QString> add(const QString& accountID,
                                             const BranchDocument& document);
    /// Whether it is a branch of this account; a deleted one is, until it is purged.
    [[nodiscard]] StorageResult<bool> has(const QString& accountID, const QString& branchID);
    /// Newest first, at most `limit`.
    [[nodiscard]] StorageResult<QList<StoredBranch>> find(const BranchQuery& query);
    /// None when the account has no such branch; a deleted one is found until it is purged.
    [[nodiscard]] StorageResult<std::optional<StoredBranch>> one(const QString& accountID,
                                                                 const QString& branchID);

    /// Each returns false when the account has no such branch.
    [[nodiscard]] StorageResult<bool>
    setDone(const QString& accountID, const QString& branchID, bool done);
    [[nodiscard]] StorageResult<bool>
    setDeleted(const QString& accountID, const QString& branchID, bool deleted);
    /// The project, if there is one, must be the account's.
    [[nodiscard]] StorageResult<bool> setProject(const QString& accountID,
                                                 const QString& branchID,
                                                 const std::optional<QString>& projectID);

    /// Removes for good what was deleted longer ago than this, and pictures that nothing shows
    /// any more; returns the number of branches.
    [[nodiscard]] StorageResult<qint64> purge(std::chrono::seconds age);

private:
    Database& database;
};

} // namespace quibel::inbox
