#include "inbox/storage/BranchStorage.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QRandomGenerator>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QUuid>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

StorageError toStorageError(const QSqlError& error)
{
    // The low byte of SQLite's extended result code is the primary one: 5 busy, 6 locked, 13 full.
    const auto code = error.nativeErrorCode().toInt() & 0xff;
    const auto kind = code == 5 || code == 6 ? StorageError::Kind::busy
        : code == 13                         ? StorageError::Kind::full
                                             : StorageError::Kind::failed;
    return { .kind = kind, .reason = error.text() };
}

/// Several statements as one change; undone at the end of the scope unless committed.
class WriteTransaction
{
public:
    explicit WriteTransaction(const QSqlDatabase& database)
        : query(database)
    {
    }
    Q_DISABLE_COPY_MOVE(WriteTransaction)
    ~WriteTransaction()
    {
        if (open)
            query.exec(QStringLiteral("ROLLBACK"));
    }

    [[nodiscard]] std::optional<StorageError> begin()
    {
        // A plain BEGIN takes the write lock at the first write only, and SQLite then refuses at
        // once, without waiting, when another process wrote since the first read.
        if (!query.exec(QStringLiteral("BEGIN IMMEDIATE")))
            return toStorageError(query.lastError());
        open = true;
        return {};
    }

    [[nodiscard]] std::optional<StorageError> commit()
    {
        if (!query.exec(QStringLiteral("COMMIT")))
            return toStorageError(query.lastError());
        open = false;
        return {};
    }

private:
    QSqlQuery query;
    bool open = false;
};

/// One entry leads from one version to the next; entries are only ever added.
const QList<QStringList>& migrations()
{
    static const QList<QStringList> steps {
        {
            uR"(CREATE TABLE keys (
                number INTEGER PRIMARY KEY,
                name TEXT NOT NULL,
                sha256 TEXT NOT NULL UNIQUE,
                created_at TEXT NOT NULL))"_s,
            uR"(CREATE TABLE projects (
                number INTEGER PRIMARY KEY,
                id TEXT NOT NULL UNIQUE,
                name TEXT NOT NULL,
                created_at TEXT NOT NULL))"_s,
            uR"(CREATE TABLE branches (
                number INTEGER PRIMARY KEY,
                id TEXT NOT NULL UNIQUE,
                project_id TEXT REFERENCES projects (id),
                title TEXT NOT NULL,
                summary TEXT NOT NULL,
                why_forked TEXT NOT NULL,
                captured_text TEXT NOT NULL,
                app_name TEXT NOT NULL,
                bundle_id TEXT NOT NULL,
                window_title TEXT,
                captured_at TEXT NOT NULL,
                received_at TEXT NOT NULL))"_s,
            uR"(CREATE TABLE pictures (
                sha256 TEXT PRIMARY KEY,
                bytes BLOB NOT NULL))"_s,
            uR"(CREATE TABLE screenshots (
                number INTEGER PRIMARY KEY,
                id TEXT NOT NULL UNIQUE,
                branch_id TEXT NOT NULL REFERENCES branches (id) ON DELETE CASCADE,
                picture TEXT NOT NULL REFERENCES pictures (sha256),
                width INTEGER NOT NULL,
                height INTEGER NOT NULL,
                byte_size INTEGER NOT NULL,
                capture_type TEXT NOT NULL,
                captured_at TEXT NOT NULL,
                received_at TEXT NOT NULL))"_s,
            u"CREATE INDEX screenshots_of_branch ON screenshots (branch_id)"_s,
        },
    };
    return steps;
}

StorageResult<qsizetype> schemaVersion(QSqlQuery& query)
{
    if (!query.exec(u"CREATE TABLE IF NOT EXISTS schema_version (version INTEGER NOT NULL)"_s)
        || !query.exec(u"SELECT max(version) FROM schema_version"_s) || !query.next())
        return toStorageError(query.lastError());
    return query.value(0).toLongLong();
}

std::optional<StorageError> applyStep(QSqlQuery& query, qsizetype step)
{
    for (const auto& statement : migrations().at(step))
        if (!query.exec(statement))
            return toStorageError(query.lastError());
    if (!query.exec(u"INSERT INTO schema_version (version) VALUES (%1)"_s.arg(step + 1)))
        return toStorageError(query.lastError());
    return {};
}

std::optional<StorageError> migrateSchema(QSqlDatabase& database)
{
    WriteTransaction transaction(database);
    if (auto error = transaction.begin())
        return error;

    QSqlQuery query(database);
    const auto found = schemaVersion(query);
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    const auto version = std::get<qsizetype>(found);
    if (version > migrations().size())
        return StorageError { .kind = StorageError::Kind::failed,
                              .reason
                              = u"the database was made by a later version of this program"_s };
    for (auto step = version; step < migrations().size(); ++step)
        if (auto error = applyStep(query, step))
            return error;
    query.finish();
    return transaction.commit();
}

constexpr auto ownerOnly = QFile::ReadOwner | QFile::WriteOwner;

QString newIdentifier()
{
    return u"%1"_s.arg(QRandomGenerator::system()->generate64(), 16, 16, QChar(u'0'));
}

QString now()
{
    return QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
}

QVariant nullable(const std::optional<QString>& text)
{
    return text ? QVariant(*text) : QVariant(QMetaType::fromType<QString>());
}

/// A text that is never null: Qt SQL would bind a null QString as NULL.
QString present(const QString& text)
{
    return text.isNull() ? u""_s : text;
}

std::optional<QString> optionalText(const QVariant& value)
{
    return value.isNull() ? std::nullopt : std::optional(value.toString());
}

std::optional<StorageError> makeDirectory(const QString& path)
{
    const QDir directory(path);
    const QFileInfo info(directory.absolutePath());
    const bool ready = info.isDir()
        || (QDir().mkpath(info.path())
            && QDir().mkdir(info.filePath(), ownerOnly | QFile::ExeOwner))
        || info.isDir();
    if (ready)
        return {};
    return StorageError { .reason = u"the directory %1 cannot be made"_s.arg(path) };
}

/// SQLite gives its side files the permissions of the database, so this is the one to get right.
std::optional<StorageError> makeFile(const QString& path)
{
    QFile file(path);
    if (file.exists() || file.open(QIODevice::ReadWrite, ownerOnly))
        return {};
    return StorageError { .reason = u"%1: %2"_s.arg(path, file.errorString()) };
}

StoredBranch readBranch(const QSqlQuery& row)
{
    StoredBranch branch;
    branch.id = row.value(0).toString();
    branch.document.projectID = optionalText(row.value(1));
    branch.projectName = optionalText(row.value(2));
    branch.document.title = row.value(3).toString();
    branch.document.summary = row.value(4).toString();
    branch.document.whyForked = row.value(5).toString();
    branch.document.capturedText = row.value(6).toString();
    branch.document.appName = row.value(7).toString();
    branch.document.bundleID = row.value(8).toString();
    branch.document.windowTitle = optionalText(row.value(9));
    branch.document.capturedAt = row.value(10).toString();
    branch.receivedAt = row.value(11).toString();
    return branch;
}

} // namespace

StorageResult<std::unique_ptr<BranchStorage>> BranchStorage::open(const Options& options)
{
    const auto path = QDir(options.directory).filePath(u"inbox.sqlite"_s);
    if (auto error = makeDirectory(options.directory))
        return *error;
    if (auto error = makeFile(path))
        return *error;

    std::unique_ptr<BranchStorage> storage(new BranchStorage(
        QSqlDatabase::addDatabase(u"QSQLITE"_s, QUuid::createUuid().toString(QUuid::Id128))));
    QSqlDatabase& database = storage->database;
    database.setDatabaseName(path);
    database.setConnectOptions(u"QSQLITE_BUSY_TIMEOUT=%1"_s.arg(options.patience.count()));
    if (!database.open())
        return toStorageError(database.lastError());
    for (const auto& pragma : { u"PRAGMA journal_mode = WAL"_s,
                                u"PRAGMA synchronous = FULL"_s,
                                u"PRAGMA foreign_keys = ON"_s }) {
        const auto done = storage->execute(pragma);
        if (const auto* error = std::get_if<StorageError>(&done))
            return *error;
    }
    if (auto error = migrateSchema(database))
        return *error;
    return storage;
}

BranchStorage::BranchStorage(const QSqlDatabase& connection)
    : database(connection)
{
}

BranchStorage::~BranchStorage()
{
    const auto name = database.connectionName();
    database = {};
    QSqlDatabase::removeDatabase(name);
}

std::optional<StorageError> BranchStorage::addKey(const QString& name, const QByteArray& hash)
{
    const auto done = execute(u"INSERT INTO keys (name, sha256, created_at) VALUES (?, ?, ?)"_s,
                              { name, QString::fromLatin1(hash), now() });
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    return {};
}

StorageResult<bool> BranchStorage::hasKey(const QByteArray& hash)
{
    return anyRow(u"SELECT 1 FROM keys WHERE sha256 = ?"_s, { QString::fromLatin1(hash) });
}

StorageResult<bool> BranchStorage::hasAnyKey()
{
    return anyRow(u"SELECT 1 FROM keys LIMIT 1"_s, {});
}

StorageResult<QString> BranchStorage::addProject(const QString& name)
{
    const auto id = newIdentifier();
    const auto done = execute(u"INSERT INTO projects (id, name, created_at) VALUES (?, ?, ?)"_s,
                              { id, name, now() });
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    return id;
}

StorageResult<bool> BranchStorage::hasProject(const QString& id)
{
    return anyRow(u"SELECT 1 FROM projects WHERE id = ?"_s, { id });
}

StorageResult<QList<StoredProject>> BranchStorage::projects()
{
    auto found = execute(u"SELECT id, name FROM projects ORDER BY number"_s);
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    auto& rows = std::get<QSqlQuery>(found);
    QList<StoredProject> list;
    while (rows.next())
        list.append({ .id = rows.value(0).toString(), .name = rows.value(1).toString() });
    return list;
}

StorageResult<QString> BranchStorage::addBranch(const BranchDocument& document)
{
    const auto id = newIdentifier();
    const auto done = execute(uR"(INSERT INTO branches (id, project_id, title, summary, why_forked,
            captured_text, app_name, bundle_id, window_title, captured_at, received_at)
            VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?))"_s,
                              { id,
                                nullable(document.projectID),
                                present(document.title),
                                present(document.summary),
                                present(document.whyForked),
                                present(document.capturedText),
                                present(document.appName),
                                present(document.bundleID),
                                nullable(document.windowTitle),
                                document.capturedAt,
                                now() });
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    return id;
}

StorageResult<bool> BranchStorage::hasBranch(const QString& id)
{
    return anyRow(u"SELECT 1 FROM branches WHERE id = ?"_s, { id });
}

StorageResult<QList<StoredBranch>> BranchStorage::branches()
{
    auto found = execute(uR"(SELECT branches.id, project_id, projects.name, title, summary,
            why_forked, captured_text, app_name, bundle_id, window_title, captured_at, received_at
            FROM branches LEFT JOIN projects ON projects.id = project_id
            ORDER BY branches.number DESC)"_s);
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    auto& rows = std::get<QSqlQuery>(found);
    QList<StoredBranch> list;
    while (rows.next())
        list.append(readBranch(rows));
    if (auto error = attachScreenshots(list))
        return *error;
    return list;
}

StorageResult<QString> BranchStorage::addScreenshot(const ScreenshotDocument& document, QSize size)
{
    WriteTransaction transaction(database);
    if (auto error = transaction.begin())
        return *error;

    const auto hash = QString::fromLatin1(
        QCryptographicHash::hash(document.picture, QCryptographicHash::Sha256).toHex());
    const auto kept
        = execute(u"INSERT INTO pictures (sha256, bytes) VALUES (?, ?) ON CONFLICT DO NOTHING"_s,
                  { hash, document.picture });
    if (const auto* error = std::get_if<StorageError>(&kept))
        return *error;

    const auto id = newIdentifier();
    const auto done = execute(uR"(INSERT INTO screenshots (id, branch_id, picture, width, height,
            byte_size, capture_type, captured_at, received_at)
            VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?))"_s,
                              { id,
                                document.branchID,
                                hash,
                                size.width(),
                                size.height(),
                                document.picture.size(),
                                document.captureType,
                                document.capturedAt,
                                now() });
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    if (auto error = transaction.commit())
        return *error;
    return id;
}

StorageResult<std::optional<QByteArray>> BranchStorage::latestPicture(const QString& branchID)
{
    auto found = execute(uR"(SELECT bytes FROM screenshots
            JOIN pictures ON pictures.sha256 = picture
            WHERE branch_id = ? ORDER BY screenshots.number DESC LIMIT 1)"_s,
                         { branchID });
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    auto& rows = std::get<QSqlQuery>(found);
    return rows.next() ? std::optional(rows.value(0).toByteArray()) : std::nullopt;
}

StorageResult<bool> BranchStorage::anyRow(const QString& statement, const QVariantList& values)
{
    auto found = execute(statement, values);
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    return std::get<QSqlQuery>(found).next();
}

StorageResult<QSqlQuery> BranchStorage::execute(const QString& statement,
                                                const QVariantList& values)
{
    QSqlQuery query(database);
    query.setForwardOnly(true);
    if (!query.prepare(statement))
        return toStorageError(query.lastError());
    for (const auto& value : values)
        query.addBindValue(value);
    if (!query.exec())
        return toStorageError(query.lastError());
    return query;
}

std::optional<StorageError> BranchStorage::attachScreenshots(QList<StoredBranch>& list)
{
    QHash<QString, qsizetype> positions;
    for (qsizetype i = 0; i < list.size(); ++i)
        positions.insert(list.at(i).id, i);

    auto found = execute(uR"(SELECT branch_id, id, picture, width, height, byte_size, capture_type,
            captured_at FROM screenshots ORDER BY number)"_s);
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    auto& rows = std::get<QSqlQuery>(found);
    while (rows.next()) {
        const auto position = positions.constFind(rows.value(0).toString());
        if (position == positions.constEnd())
            continue;
        list[*position].screenshots.append({ .id = rows.value(1).toString(),
                                             .sha256 = rows.value(2).toString(),
                                             .width = rows.value(3).toInt(),
                                             .height = rows.value(4).toInt(),
                                             .byteSize = rows.value(5).toLongLong(),
                                             .captureType = rows.value(6).toString(),
                                             .capturedAt = rows.value(7).toString() });
    }
    return {};
}

} // namespace quibel::inbox
