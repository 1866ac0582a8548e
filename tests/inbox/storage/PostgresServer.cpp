#include "tests/inbox/storage/PostgresServer.h"

#include <QDir>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QUrlQuery>

#include <algorithm>
#include <array>
#include <csignal>
#include <optional>

#include <pwd.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace quibel::inbox::testing {

using namespace Qt::StringLiterals;

namespace {

constexpr int patience = 30'000;

/// The directory with the programs of the newest PostgreSQL; empty when there is none.
QString findPrograms()
{
    const QDir versions(u"/usr/lib/postgresql"_s);
    auto names = versions.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    std::ranges::sort(names, {}, [](const QString& name) { return name.toInt(); });
    return names.isEmpty() ? QString() : versions.filePath(names.last() + u"/bin/"_s);
}

struct User
{
    uid_t id;
    gid_t group;
};

/// Who the server runs as: the test's own user, or "postgres" for root, whom it refuses.
std::optional<User> serverUser()
{
    if (::geteuid() != 0)
        return User { ::geteuid(), ::getegid() };
    std::array<char, 4096> texts {};
    passwd entry {};
    passwd* found = nullptr;
    ::getpwnam_r("postgres", &entry, texts.data(), texts.size(), &found);
    return found != nullptr ? std::optional(User { entry.pw_uid, entry.pw_gid }) : std::nullopt;
}

} // namespace

PostgresServer::~PostgresServer()
{
    stop();
}

bool PostgresServer::start()
{
    if (server.state() != QProcess::NotRunning)
        return true;
    trouble.clear();
    programs = findPrograms();
    if (programs.isEmpty()) {
        trouble = u"PostgreSQL is not installed; scripts/setup does that"_s;
        return false;
    }
    const auto data = directory.filePath(u"data"_s);
    if (!QDir(data).exists()) {
        const auto user = serverUser();
        if (!user
            || ::chown(QFile::encodeName(directory.path()).constData(), user->id, user->group)
                != 0) {
            trouble = u"there is no user postgres to run the server as"_s;
            return false;
        }
        if (!run(u"initdb"_s,
                 { u"--pgdata"_s,
                   data,
                   u"--auth=trust"_s,
                   u"--username=postgres"_s,
                   u"--encoding=UTF8"_s,
                   u"--locale=C.UTF-8"_s,
                   u"--no-sync"_s }))
            return false;
    }
    prepare(server);
    server.setProcessChannelMode(QProcess::MergedChannels);
    server.start(programs + u"postgres"_s,
                 { u"-D"_s,
                   data,
                   u"-k"_s,
                   directory.path(),
                   u"-c"_s,
                   u"listen_addresses="_s,
                   u"-c"_s,
                   u"fsync=off"_s,
                   u"-c"_s,
                   u"shared_buffers=16MB"_s });
    QByteArray output;
    while (!output.contains("ready to accept connections")) {
        if (!server.waitForReadyRead(patience)) {
            trouble = u"the server did not start: "_s + QString::fromUtf8(output);
            return false;
        }
        output += server.readAll();
    }
    return true;
}

void PostgresServer::stop()
{
    if (server.state() == QProcess::NotRunning)
        return;
    ::kill(static_cast<pid_t>(server.processId()), SIGINT);
    if (!server.waitForFinished(patience)) {
        server.kill();
        server.waitForFinished();
    }
}

QUrl PostgresServer::newDatabase()
{
    const auto name = u"test%1"_s.arg(++databases);
    {
        auto connection = QSqlDatabase::addDatabase(u"QPSQL"_s, name);
        connection.setHostName(directory.path());
        connection.setDatabaseName(u"postgres"_s);
        connection.setUserName(u"postgres"_s);
        QSqlQuery query(connection);
        if (!connection.open() || !query.exec(u"CREATE SCHEMA "_s + name))
            trouble = connection.lastError().text() + query.lastError().text();
    }
    QSqlDatabase::removeDatabase(name);
    return trouble.isEmpty() ? urlOf(name) : QUrl();
}

bool PostgresServer::run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    prepare(process);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(programs + program, arguments);
    if (process.waitForFinished(patience) && process.exitStatus() == QProcess::NormalExit
        && process.exitCode() == 0)
        return true;
    trouble = program + u": "_s + QString::fromUtf8(process.readAll()) + process.errorString();
    return false;
}

void PostgresServer::prepare(QProcess& child) const
{
    // The directory that the test is in may be one that the other user must not enter.
    child.setWorkingDirectory(directory.path());
    child.setChildProcessModifier([user = serverUser()] {
        if (!user || (::geteuid() == 0 && (::setgid(user->group) != 0 || ::setuid(user->id) != 0)))
            ::_exit(1);
        // After the change of user, which forgets it: whoever dies takes its server along.
        ::prctl(PR_SET_PDEATHSIG, SIGINT);
    });
}

QUrl PostgresServer::urlOf(const QString& schema) const
{
    QUrlQuery query;
    query.addQueryItem(u"host"_s, directory.path());
    query.addQueryItem(u"user"_s, u"postgres"_s);
    query.addQueryItem(u"options"_s, u"-csearch_path="_s + schema);
    QUrl url(u"postgresql:///postgres"_s);
    url.setQuery(query);
    return url;
}

} // namespace quibel::inbox::testing
