#pragma once

#include "inbox/storage/BranchDocument.h"
#include "inbox/storage/Projects.h"
#include "inbox/storage/ScreenshotDocument.h"
#include "inbox/storage/StorageError.h"
#include "inbox/storage/StoredBranch.h"

#include <QByteArray>
#include <QList>
#include <QSize>
#include <QSqlDatabase>
#include <QString>
#include <QVariant>

#include <chrono>
#include <memory>
#include <optional>

class QSqlQuery;

namespace quibel::inbox {

/// Keys, projects, branches and screenshots in one SQLite file of a directory.
///
/// What a call reported as done is on the disk. Several processes may have the same file open.
/// Thread: the one that opened it.
class BranchStorage
{
public:
    struct Options
    {
        QString directory; ///< Made, for its owner only, when it is not there.
        std::chrono::milliseconds patience { 10'000 }; ///< With another process that writes.
    };

    /// Opens the database, making it or bringing it to the present schema as needed.
    [[nodiscard]] static StorageResult<std::unique_ptr<BranchStorage>> open(const Options& options);

    Q_DISABLE_COPY_MOVE(BranchStorage)
    ~BranchStorage();

    /// Remembers a key by its hash; the key itself must not come here.
    [[nodiscard]] std::optional<StorageError> addKey(const QString& name, const QByteArray& hash);
    [[nodiscard]] StorageResult<bool> hasKey(const QByteArray& hash);
    [[nodiscard]] StorageResult<bool> hasAnyKey();

    /// Returns the identifier of the new project.
    [[nodiscard]] StorageResult<QString> addProject(const QString& name);
    [[nodiscard]] StorageResult<bool> hasProject(const QString& id);
    /// In the order in which they were made.
    [[nodiscard]] StorageResult<QList<StoredProject>> projects();

    /// Returns the identifier of the new branch. Its project, if it has one, must be there.
    [[nodiscard]] StorageResult<QString> addBranch(const BranchDocument& document);
    [[nodiscard]] StorageResult<bool> hasBranch(const QString& id);
    /// Newest first.
    [[nodiscard]] StorageResult<QList<StoredBranch>> branches();

    /// Returns the identifier of the new screenshot of the branch that the document names.
    ///
    /// Units: `size` is the picture's own, in pixels.
    [[nodiscard]] StorageResult<QString> addScreenshot(const ScreenshotDocument& document,
                                                       QSize size);
    /// The picture that came last for a branch; none when it has none or is not there.
    [[nodiscard]] StorageResult<std::optional<QByteArray>> latestPicture(const QString& branchID);

private:
    explicit BranchStorage(const QSqlDatabase& connection);

    [[nodiscard]] StorageResult<bool> anyRow(const QString& statement, const QVariantList& values);
    [[nodiscard]] StorageResult<QSqlQuery> execute(const QString& statement,
                                                   const QVariantList& values = {});
    [[nodiscard]] std::optional<StorageError> attachScreenshots(QList<StoredBranch>& list);

    QSqlDatabase database;
};

} // namespace quibel::inbox
