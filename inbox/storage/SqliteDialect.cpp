#include "inbox/storage/SqliteDialect.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <utility>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

constexpr auto ownerOnly = QFile::ReadOwner | QFile::WriteOwner;

// Result codes of SQLite: a code's low byte is the primary one.
constexpr int codeBusy = 5;
constexpr int codeLocked = 6;
constexpr int codeFull = 13;
constexpr int codeConstraint = 19;
constexpr int codeSharedMemorySize = 4874;

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

} // namespace

SqliteDialect::SqliteDialect(DatabaseLocation databaseLocation)
    : location(std::move(databaseLocation))
{
}

QString SqliteDialect::driver() const
{
    return u"QSQLITE"_s;
}

std::optional<StorageError> SqliteDialect::prepare(QSqlDatabase& connection) const
{
    const auto path = QDir(location.directory).filePath(u"inbox.sqlite"_s);
    if (location.mustExist && !QFile::exists(path))
        return StorageError { .reason = u"there is no database %1"_s.arg(path) };
    if (auto error = makeDirectory(location.directory))
        return error;
    if (auto error = makeFile(path))
        return error;
    connection.setDatabaseName(path);
    return {};
}

QString SqliteDialect::patienceStatement(std::chrono::milliseconds patience) const
{
    return u"PRAGMA busy_timeout = %1"_s.arg(patience.count());
}

QStringList SqliteDialect::greeting() const
{
    return { patienceStatement(location.patience),
             u"PRAGMA journal_mode = WAL"_s,
             u"PRAGMA synchronous = FULL"_s,
             u"PRAGMA foreign_keys = ON"_s };
}

bool SqliteDialect::execute(QSqlQuery& query,
                            const QString& statement,
                            const QVariantList& values) const
{
    query.setForwardOnly(true);
    if (!query.prepare(statement))
        return false;
    for (const auto& value : values)
        query.addBindValue(value);
    return query.exec();
}

StorageError SqliteDialect::toStorageError(const QSqlError& error) const
{
    const auto code = error.nativeErrorCode().toInt();
    const auto primary = code & 0xff;
    auto kind = StorageError::Kind::failed;
    if (primary == codeBusy || primary == codeLocked)
        kind = StorageError::Kind::busy;
    else if (primary == codeFull || code == codeSharedMemorySize)
        kind = StorageError::Kind::full;
    return { .kind = kind, .reason = error.text() };
}

QString SqliteDialect::beginStatement() const
{
    // A plain BEGIN takes the write lock at the first write only, and SQLite then refuses at
    // once, without waiting, when another process wrote since the first read.
    return u"BEGIN IMMEDIATE"_s;
}

std::optional<StorageError> SqliteDialect::commit(QSqlDatabase& connection) const
{
    // By a statement: the driver's own commit loses the code of the error.
    QSqlQuery query(connection);
    if (query.exec(u"COMMIT"_s))
        return {};
    return toStorageError(query.lastError());
}

bool SqliteDialect::failureEndsTransaction() const
{
    return false;
}

bool SqliteDialect::goesOnAfter(const QSqlError& error) const
{
    // After most other errors SQLite may have rolled the whole transaction back by itself.
    return (error.nativeErrorCode().toInt() & 0xff) == codeConstraint;
}

QString SqliteDialect::tableCountStatement() const
{
    return u"SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = ?"_s;
}

QString SqliteDialect::schemaLockStatement() const
{
    return {};
}

QString SqliteDialect::toSchema(const QString& statement) const
{
    auto text = statement;
    return text.replace(u"{identity}"_s, u"INTEGER PRIMARY KEY"_s).replace(u"{bytes}"_s, u"BLOB"_s);
}

QStringList SqliteDialect::searchSchema() const
{
    // The words are normalised already, so the plainest tokenizer only has to part them at blanks.
    // A beginning of up to four letters is looked up at once; a longer one is put together from all
    // the words that it begins, which takes some 20 ms when they are in each of 100,000 branches.
    return {
        uR"(CREATE VIRTUAL TABLE branch_words USING fts5 (words, content = 'branches',
            content_rowid = 'number', tokenize = 'ascii', detail = none, columnsize = 0,
            prefix = '1 2 3 4'))"_s,
        uR"(CREATE TRIGGER branch_words_added AFTER INSERT ON branches BEGIN
            INSERT INTO branch_words (rowid, words) VALUES (new.number, new.words); END)"_s,
        uR"(CREATE TRIGGER branch_words_removed AFTER DELETE ON branches BEGIN
            INSERT INTO branch_words (branch_words, rowid, words)
            VALUES ('delete', old.number, old.words); END)"_s,
        u"INSERT INTO branch_words (branch_words) VALUES ('rebuild')"_s,
    };
}

QString SqliteDialect::searchStatement() const
{
    return u"SELECT rowid AS number FROM branch_words WHERE branch_words MATCH ?"_s;
}

QString SqliteDialect::searchNumber() const
{
    return u"rowid"_s;
}

QString SqliteDialect::searchTerm(const QStringList& words) const
{
    QStringList terms;
    std::ranges::transform(words, std::back_inserter(terms), [](const QString& word) {
        return u"\"%1\"*"_s.arg(word);
    });
    return terms.join(u' ');
}

QString SqliteDialect::backupStatement() const
{
    return u"VACUUM INTO ?"_s;
}

} // namespace quibel::inbox
