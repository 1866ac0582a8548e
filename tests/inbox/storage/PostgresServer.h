#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <QUrl>

namespace quibel::inbox::testing {

/// A PostgreSQL server of the test's own: in a temporary directory, on a Unix socket only, and
/// ended with the test. Runs as the user "postgres" when the test is root.
class PostgresServer
{
public:
    PostgresServer() = default;
    Q_DISABLE_COPY_MOVE(PostgresServer)
    ~PostgresServer();

    /// Makes the server's files if need be, and waits until it answers; also after `stop`.
    ///
    /// Errors: false; `problem` says why, also when PostgreSQL is not installed.
    [[nodiscard]] bool start();
    /// Ends the server at once, with whoever is connected; returns when it is gone.
    void stop();
    [[nodiscard]] QString problem() const { return trouble; }

    /// Makes a schema of its own, which is as good as a database and sooner made; returns where
    /// it is.
    [[nodiscard]] QUrl newDatabase();

private:
    [[nodiscard]] bool run(const QString& program, const QStringList& arguments);
    void prepare(QProcess& child) const;
    [[nodiscard]] QUrl urlOf(const QString& schema) const;

    QTemporaryDir directory;
    QString programs;
    QProcess server;
    QString trouble;
    int databases = 0;
};

} // namespace quibel::inbox::testing
