#include "inbox/program/Commands.h"

#include "inbox/program/BranchListing.h"
#include "inbox/program/Export.h"
#include "inbox/program/PageOpener.h"
#include "inbox/program/PasswordInput.h"
#include "inbox/program/Service.h"
#include "inbox/storage/SecretToken.h"
#include "inbox/storage/Storage.h"
#include "inbox/web/PasswordHash.h"

#include <QSaveFile>

#include <cstdio>

#include <unistd.h>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

using Failure = std::optional<QString>;

Failure print(const QByteArray& bytes)
{
    const auto size = static_cast<std::size_t>(bytes.size());
    if (std::fwrite(bytes.constData(), 1, size, stdout) == size && std::fflush(stdout) == 0)
        return {};
    return u"cannot write to standard output"_s;
}

Failure writeFile(const QString& path, const QByteArray& bytes)
{
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit())
        return {};
    return u"%1: %2"_s.arg(path, file.errorString());
}

/// The account of this name, or why there is none.
std::variant<Account, QString> findAccount(Storage& storage, const QString& name)
{
    const auto found = storage.accounts.named(name);
    if (const auto* error = std::get_if<StorageError>(&found))
        return error->reason;
    const auto& account = std::get<std::optional<Account>>(found);
    if (!account)
        return u"there is no account \"%1\"; quibel-inbox accounts list shows them"_s.arg(name);
    return *account;
}

Failure startService(Database& database, Storage& storage, const CommandLine& line)
{
    const auto anyKey = storage.keys.any();
    if (const auto* error = std::get_if<StorageError>(&anyKey))
        return error->reason;
    if (!std::get<bool>(anyKey))
        std::fputs("quibel-inbox: there is no key yet; make one on the page, or with: "
                   "quibel-inbox keys create\n",
                   stderr);
    return serve(database,
                 storage,
                 { .listen = line.listen,
                   .certificateFile = line.certificateFile,
                   .privateKeyFile = line.privateKeyFile,
                   .behindProxy = line.behindProxy });
}

Failure openPage(Storage& storage, const Account& account, const CommandLine& line)
{
    const auto made = makeSignInLink(storage, account.id);
    if (const auto* reason = std::get_if<QString>(&made))
        return *reason;
    const auto& link = std::get<QUrl>(made);
    if (!line.printOnly && openInBrowser(link))
        return {};
    return print(link.toEncoded() + '\n');
}

Failure addAccount(Storage& storage, const QString& name)
{
    const auto added = storage.accounts.add(name);
    if (const auto* error = std::get_if<StorageError>(&added))
        return error->reason;
    if (!std::get<std::optional<QString>>(added))
        return u"there is an account \"%1\" already"_s.arg(name);
    return {};
}

Failure listAccounts(Storage& storage)
{
    const auto found = storage.accounts.all();
    if (const auto* error = std::get_if<StorageError>(&found))
        return error->reason;
    QByteArray lines;
    for (const auto& account : std::get<QList<Account>>(found))
        lines += account.name.toUtf8() + (account.hasPassword ? "\n" : "  (no password)\n");
    return print(lines);
}

Failure setPassword(Storage& storage, const Account& account)
{
    const auto read = readNewPassword();
    if (const auto* problem = std::get_if<PasswordProblem>(&read))
        return problem->reason;
    const auto hash = hashPassword(std::get<QString>(read));
    if (!hash)
        return u"there is not enough memory to hash the password"_s;
    if (const auto error = storage.accounts.setPasswordHash(account.id, *hash))
        return error->reason;
    if (const auto error = storage.sessions.endAll(account.id))
        return error->reason;
    return {};
}

Failure createKey(Storage& storage, const Account& account, const CommandLine& line)
{
    const auto key = generateApiKey();
    const auto added = storage.keys.add(account.id, line.keyName, hashSecret(key));
    if (const auto* error = std::get_if<StorageError>(&added))
        return error->reason;
    return print(key + '\n');
}

Failure listKeys(Storage& storage, const Account& account)
{
    const auto found = storage.keys.ofAccount(account.id);
    if (const auto* error = std::get_if<StorageError>(&found))
        return error->reason;
    QByteArray lines;
    for (const auto& key : std::get<QList<StoredKey>>(found))
        lines += u"%1  %2  %3\n"_s
                     .arg(key.id, key.lastUsedAt.value_or(u"never used"_s).left(19), key.name)
                     .toUtf8();
    return print(lines);
}

Failure revokeKey(Storage& storage, const Account& account, const CommandLine& line)
{
    const auto revoked = storage.keys.revoke(account.id, line.operand);
    if (const auto* error = std::get_if<StorageError>(&revoked))
        return error->reason;
    if (!std::get<bool>(revoked))
        return u"there is no key %1; quibel-inbox keys list shows them"_s.arg(line.operand);
    return {};
}

Failure addProject(Storage& storage, const Account& account, const CommandLine& line)
{
    const auto added = storage.projects.add(account.id, line.operand);
    if (const auto* error = std::get_if<StorageError>(&added))
        return error->reason;
    return print(std::get<QString>(added).toUtf8() + '\n');
}

Failure listProjects(Storage& storage, const Account& account)
{
    const auto found = storage.projects.ofAccount(account.id);
    if (const auto* error = std::get_if<StorageError>(&found))
        return error->reason;
    QByteArray lines;
    for (const auto& project : std::get<QList<StoredProject>>(found))
        lines += project.id.toUtf8() + "  " + project.name.toUtf8()
            + (project.archived ? "  (archived)\n" : "\n");
    return print(lines);
}

Failure listBranches(Storage& storage, const Account& account, const CommandLine& line)
{
    QList<StoredBranch> list;
    const auto collect = [&list](const StoredBranch& branch) { list.append(branch); };
    if (const auto error = visitBranches(storage.branches, account.id, collect))
        return error->reason;
    return print(line.json ? toJson(list) : toTable(list));
}

Failure writeScreenshot(Storage& storage, const Account& account, const CommandLine& line)
{
    const auto found = storage.branches.one(account.id, line.operand);
    if (const auto* error = std::get_if<StorageError>(&found))
        return error->reason;
    const auto& branch = std::get<std::optional<StoredBranch>>(found);
    if (!branch || branch->screenshots.isEmpty())
        return u"there is no screenshot of a branch %1"_s.arg(line.operand);

    const auto read = storage.screenshots.picture(account.id, branch->screenshots.last().sha256);
    if (const auto* error = std::get_if<StorageError>(&read))
        return error->reason;
    const auto picture = std::get<std::optional<QByteArray>>(read).value_or(QByteArray());
    if (line.outputFile)
        return writeFile(*line.outputFile, picture);
    if (::isatty(STDOUT_FILENO) == 1)
        return u"a picture is not for a terminal; give --output FILE or redirect"_s;
    return print(picture);
}

Failure backUp(Database& database, const QString& path)
{
    if (const auto error = database.backupTo(path))
        return error->reason;
    return {};
}

/// The commands that are about one account.
Failure runForAccount(Storage& storage, const Account& account, const CommandLine& line)
{
    switch (line.command) {
    case CommandLine::Command::openPage:
        return openPage(storage, account, line);
    case CommandLine::Command::setPassword:
        return setPassword(storage, account);
    case CommandLine::Command::createKey:
        return createKey(storage, account, line);
    case CommandLine::Command::listKeys:
        return listKeys(storage, account);
    case CommandLine::Command::revokeKey:
        return revokeKey(storage, account, line);
    case CommandLine::Command::addProject:
        return addProject(storage, account, line);
    case CommandLine::Command::listProjects:
        return listProjects(storage, account);
    case CommandLine::Command::listBranches:
        return listBranches(storage, account, line);
    case CommandLine::Command::writeScreenshot:
        return writeScreenshot(storage, account, line);
    default:
        Q_UNREACHABLE();
    }
}

Failure dispatch(Database& database, const CommandLine& line)
{
    Storage storage(database);
    switch (line.command) {
    case CommandLine::Command::serve:
        return startService(database, storage, line);
    case CommandLine::Command::addAccount:
        return addAccount(storage, line.operand);
    case CommandLine::Command::listAccounts:
        return listAccounts(storage);
    case CommandLine::Command::backUp:
        return backUp(database, line.operand);
    case CommandLine::Command::exportAll:
        return exportAll(storage, line.operand);
    default:
        break;
    }
    const auto& name
        = line.command == CommandLine::Command::setPassword ? line.operand : line.account;
    const auto account = findAccount(storage, name);
    if (const auto* reason = std::get_if<QString>(&account))
        return *reason;
    return runForAccount(storage, std::get<Account>(account), line);
}

int fail(const QString& reason)
{
    std::fprintf(stderr, "quibel-inbox: %s\n", qUtf8Printable(reason));
    return 1;
}

} // namespace

int run(const CommandLine& line)
{
    const auto opened = Database::open(line.database);
    if (const auto* error = std::get_if<StorageError>(&opened))
        return fail(u"cannot open the database: %1"_s.arg(error->reason));
    const auto failure = dispatch(*std::get<std::unique_ptr<Database>>(opened), line);
    return failure ? fail(*failure) : 0;
}

} // namespace quibel::inbox
