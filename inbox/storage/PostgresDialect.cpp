#include "inbox/storage/PostgresDialect.h"

#include <QSqlField>
#include <QUrlQuery>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

QString quoted(QString value)
{
    value.replace(u'\\', u"\\\\"_s).replace(u'\'', u"\\'"_s);
    return u'\'' + value + u'\'';
}

/// The driver's own form depends on the server's `standard_conforming_strings` as it was when the
/// connection began, and that may change while it is open. Texts with an E mean the same always.
QString literal(const QVariant& value)
{
    QSqlField field({}, value.metaType());
    field.setValue(value);
    if (field.isNull())
        return u"NULL"_s;
    if (value.metaType() == QMetaType::fromType<QByteArray>())
        return uR"(E'\\x)"_s + QString::fromLatin1(value.toByteArray().toHex()) + u'\'';
    if (value.metaType() != QMetaType::fromType<QString>())
        return value.toString();
    return u"E'"_s + value.toString().replace(u'\\', uR"(\\)"_s).replace(u'\'', u"''"_s) + u'\'';
}

StorageError::Kind kindOf(const QString& sqlState)
{
    static const QStringList busy { u"40001"_s, u"40P01"_s, u"55P03"_s };
    if (busy.contains(sqlState))
        return StorageError::Kind::busy;
    if (sqlState == u"53100")
        return StorageError::Kind::full;
    // 08: the connection; 57P: the server is ended or starting; 53300: it has too many clients.
    if (sqlState.startsWith(u"08") || sqlState.startsWith(u"57P") || sqlState == u"53300")
        return StorageError::Kind::unavailable;
    return StorageError::Kind::failed;
}

} // namespace

PostgresDialect::PostgresDialect(DatabaseLocation databaseLocation)
    : location(std::move(databaseLocation))
{
}

QString PostgresDialect::driver() const
{
    return u"QPSQL"_s;
}

std::optional<StorageError> PostgresDialect::prepare(QSqlDatabase& connection) const
{
    if (!QSqlDatabase::isDriverAvailable(driver()))
        return StorageError { .reason = u"Qt's driver for PostgreSQL is not installed (on Debian "
                                        u"the package libqt6sql6-psql)"_s };
    const auto& url = location.server;
    if (!url.isValid())
        return StorageError { .reason = u"the URL of the database is not one that can be read"_s };

    // A server whose machine is gone must be noticed within seconds, not minutes.
    QStringList options { u"connect_timeout=3"_s,      u"keepalives_idle=10"_s,
                          u"keepalives_interval=3"_s,  u"keepalives_count=3"_s,
                          u"tcp_user_timeout=10000"_s, u"application_name=quibel-inbox"_s };
    const auto items = QUrlQuery(url).queryItems(QUrl::FullyDecoded);
    for (const auto& [name, value] : items)
        options.append(name + u'=' + quoted(value));
    connection.setConnectOptions(options.join(u' '));
    connection.setHostName(url.host(QUrl::FullyDecoded));
    connection.setPort(url.port());
    connection.setUserName(url.userName(QUrl::FullyDecoded));
    connection.setPassword(url.password(QUrl::FullyDecoded));
    connection.setDatabaseName(url.path(QUrl::FullyDecoded).mid(1));
    return {};
}

QString PostgresDialect::patienceStatement(std::chrono::milliseconds patience) const
{
    // There 0 would mean for ever.
    return u"SET lock_timeout = %1"_s.arg(std::max(patience.count(), std::int64_t { 1 }));
}

QStringList PostgresDialect::greeting() const
{
    return {
        patienceStatement(location.patience),
        u"SET client_min_messages = warning"_s,
        // What is set here holds also when the server's own settings change later.
        u"SET default_transaction_isolation = 'read committed'"_s,
        uR"(SELECT set_config('synchronous_commit', CASE WHEN setting = 'off' THEN 'on'
                ELSE setting END, false) FROM current_setting('synchronous_commit') AS setting)"_s
    };
}

bool PostgresDialect::execute(QSqlQuery& query,
                              const QString& statement,
                              const QVariantList& values) const
{
    // The driver too would write the values into the text, only after it prepared the statement
    // on the server: three round trips instead of one.
    const auto parts = statement.split(u'?');
    auto text = parts.first();
    for (qsizetype i = 1; i < parts.size(); ++i)
        text += literal(values.value(i - 1)) + parts.at(i);
    return query.exec(text);
}

StorageError PostgresDialect::toStorageError(const QSqlError& error) const
{
    // A server that does not answer has no code either.
    const auto kind = error.type() == QSqlError::ConnectionError ? StorageError::Kind::unavailable
                                                                 : kindOf(error.nativeErrorCode());
    // Only the first line: the others may quote the statement, and with it what somebody wrote.
    return { .kind = kind, .reason = error.databaseText().section(u'\n', 0, 0) };
}

QString PostgresDialect::beginStatement() const
{
    return u"BEGIN"_s;
}

std::optional<StorageError> PostgresDialect::commit(QSqlDatabase& connection) const
{
    // By the driver: PostgreSQL answers COMMIT with a mere ROLLBACK when a statement failed
    // before, and the driver looks at that answer.
    if (connection.commit())
        return {};
    auto error = toStorageError(connection.lastError());
    if (error.reason.isEmpty())
        error.reason = u"the database did not keep the transaction"_s;
    return error;
}

bool PostgresDialect::failureEndsTransaction() const
{
    return true;
}

bool PostgresDialect::goesOnAfter(const QSqlError& /*error*/) const
{
    return false;
}

QString PostgresDialect::tableCountStatement() const
{
    // Not to_regclass: it may remember that there was no such table from before a lock was waited
    // for.
    return uR"(SELECT count(*) FROM pg_tables
        WHERE schemaname = current_schema() AND tablename = ?)"_s;
}

QString PostgresDialect::schemaLockStatement() const
{
    return u"SELECT pg_advisory_xact_lock(7244902618)"_s;
}

QString PostgresDialect::toSchema(const QString& statement) const
{
    auto text = statement;
    return text.replace(u"{identity}"_s, u"BIGINT GENERATED ALWAYS AS IDENTITY PRIMARY KEY"_s)
        .replace(u"{bytes}"_s, u"BYTEA"_s);
}

QStringList PostgresDialect::searchSchema() const
{
    // Not to_tsvector: its parser has its own view of what a word is, and the words are normalised
    // already.
    return {
        uR"(ALTER TABLE branches ADD COLUMN searched tsvector GENERATED ALWAYS AS
            (array_to_tsvector(string_to_array(words, ' '))) STORED)"_s,
        u"CREATE INDEX branch_words ON branches USING gin (searched)"_s,
    };
}

QString PostgresDialect::searchStatement() const
{
    return u"SELECT number FROM branches WHERE searched @@ CAST(? AS tsquery)"_s;
}

QString PostgresDialect::searchNumber() const
{
    return u"number"_s;
}

QString PostgresDialect::searchTerm(const QStringList& words) const
{
    QStringList terms;
    std::ranges::transform(words, std::back_inserter(terms), [](const QString& word) {
        return u"'%1':*"_s.arg(word);
    });
    return terms.join(u" & "_s);
}

QString PostgresDialect::backupStatement() const
{
    return {};
}

} // namespace quibel::inbox
