#include "inbox/program/Export.h"

#include "inbox/program/BranchListing.h"
#include "inbox/storage/Storage.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

using Failure = std::optional<QString>;

QByteArray compact(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

/// One export on its way. The document is written piece by piece: it may be larger than memory.
class Exporter
{
public:
    Exporter(Storage& source, const QString& directory)
        : storage(source)
        , pictures(QDir(directory).filePath(u"pictures"_s))
        , document(QDir(directory).filePath(u"inbox.json"_s))
    {
    }

    Failure run()
    {
        const auto found = storage.accounts.all();
        if (const auto* error = std::get_if<StorageError>(&found))
            return error->reason;
        if (!document.open(QIODevice::WriteOnly))
            return documentProblem();
        write("{\"accounts\":[");
        const auto* separator = "\n";
        for (const auto& account : std::get<QList<Account>>(found)) {
            write(separator);
            if (auto failure = writeAccount(account))
                return failure;
            separator = ",\n";
        }
        write("\n]}\n");
        return document.commit() ? Failure() : documentProblem();
    }

private:
    void write(const QByteArray& bytes) { document.write(bytes); }

    [[nodiscard]] QString documentProblem() const
    {
        return u"%1: %2"_s.arg(document.fileName(), document.errorString());
    }

    Failure writeAccount(const Account& account)
    {
        const auto found = storage.projects.ofAccount(account.id);
        if (const auto* error = std::get_if<StorageError>(&found))
            return error->reason;
        QJsonArray projects;
        for (const auto& project : std::get<QList<StoredProject>>(found))
            projects.append(QJsonObject { { u"id"_s, project.id },
                                          { u"name"_s, project.name },
                                          { u"archived"_s, project.archived } });
        const auto head
            = compact({ { u"name"_s, account.name }, { u"projects"_s, projects } }).chopped(1);
        write(head + ",\"branches\":[");

        Failure failure;
        const auto* separator = "\n";
        const auto error
            = visitBranches(storage.branches, account.id, [&](const StoredBranch& branch) {
                  write(separator);
                  write(compact(toFullJson(branch)));
                  separator = ",\n";
                  if (!failure)
                      failure = writePictures(account.id, branch);
              });
        if (error)
            return error->reason;
        write("\n]}");
        return failure;
    }

    Failure writePictures(const QString& accountID, const StoredBranch& branch)
    {
        for (const auto& screenshot : branch.screenshots) {
            QSaveFile file(pictures.filePath(screenshot.sha256 + u".png"_s));
            if (QFileInfo::exists(file.fileName()))
                continue;
            const auto found = storage.screenshots.picture(accountID, screenshot.sha256);
            if (const auto* error = std::get_if<StorageError>(&found))
                return error->reason;
            const auto& picture = std::get<std::optional<QByteArray>>(found);
            if (!picture) // Purged since the branch was read.
                continue;
            if (!file.open(QIODevice::WriteOnly) || file.write(*picture) != picture->size()
                || !file.commit())
                return u"%1: %2"_s.arg(file.fileName(), file.errorString());
        }
        return {};
    }

    Storage& storage;
    QDir pictures;
    QSaveFile document;
};

} // namespace

std::optional<QString> exportAll(Storage& storage, const QString& directory)
{
    const QFileInfo target(QDir::cleanPath(directory));
    if (target.exists()
        && !QDir(directory).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System
                                    | QDir::NoDotAndDotDot))
        return u"%1 is there already; name a new directory"_s.arg(directory);
    constexpr auto ownerOnly = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
    const QDir parent(target.absolutePath());
    if (!target.isDir() && !parent.mkdir(target.fileName(), ownerOnly))
        return u"the directory %1 cannot be made"_s.arg(directory);
    // One that was there may be open to others. Some file systems know of no owners: there it
    // stays as it is.
    (void)QFile::setPermissions(directory, ownerOnly);
    if (!QDir(directory).mkdir(u"pictures"_s))
        return u"the directory %1 cannot be written to"_s.arg(directory);
    return Exporter(storage, directory).run();
}

} // namespace quibel::inbox
