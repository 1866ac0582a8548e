#include "inbox/program/Commands.h"

#include "inbox/program/BranchListing.h"
#include "inbox/program/Service.h"
#include "inbox/storage/ApiKey.h"
#include "inbox/storage/BranchStorage.h"

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

Failure startService(BranchStorage& storage, const CommandLine& line)
{
    const auto anyKey = storage.hasAnyKey();
    if (const auto* error = std::get_if<StorageError>(&anyKey))
        return error->reason;
    if (!std::get<bool>(anyKey))
        std::fprintf(stderr,
                     "quibel-inbox: there is no key yet; make one with: "
                     "quibel-inbox keys create --data %s\n",
                     qUtf8Printable(line.dataDirectory));
    return serve(storage, line.listen);
}

Failure createKey(BranchStorage& storage, const CommandLine& line)
{
    const auto key = generateApiKey();
    if (const auto error = storage.addKey(line.name, hashApiKey(key)))
        return error->reason;
    return print(key + '\n');
}

Failure addProject(BranchStorage& storage, const CommandLine& line)
{
    const auto added = storage.addProject(line.name);
    if (const auto* error = std::get_if<StorageError>(&added))
        return error->reason;
    return print(std::get<QString>(added).toUtf8() + '\n');
}

Failure listProjects(BranchStorage& storage)
{
    const auto found = storage.projects();
    if (const auto* error = std::get_if<StorageError>(&found))
        return error->reason;
    QByteArray lines;
    for (const auto& project : std::get<QList<StoredProject>>(found))
        lines += project.id.toUtf8() + "  " + project.name.toUtf8() + '\n';
    return print(lines);
}

Failure listBranches(BranchStorage& storage, const CommandLine& line)
{
    const auto found = storage.branches();
    if (const auto* error = std::get_if<StorageError>(&found))
        return error->reason;
    const auto& list = std::get<QList<StoredBranch>>(found);
    return print(line.json ? toJson(list) : toTable(list));
}

Failure writeFile(const QString& path, const QByteArray& bytes)
{
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit())
        return {};
    return u"%1: %2"_s.arg(path, file.errorString());
}

Failure writeScreenshot(BranchStorage& storage, const CommandLine& line)
{
    const auto found = storage.latestPicture(line.branchID);
    if (const auto* error = std::get_if<StorageError>(&found))
        return error->reason;
    const auto& picture = std::get<std::optional<QByteArray>>(found);
    if (!picture)
        return u"there is no screenshot of a branch %1"_s.arg(line.branchID);
    if (line.outputFile)
        return writeFile(*line.outputFile, *picture);
    if (::isatty(STDOUT_FILENO) == 1)
        return u"a picture is not for a terminal; give --output FILE or redirect"_s;
    return print(*picture);
}

Failure dispatch(BranchStorage& storage, const CommandLine& line)
{
    switch (line.command) {
    case CommandLine::Command::serve:
        return startService(storage, line);
    case CommandLine::Command::createKey:
        return createKey(storage, line);
    case CommandLine::Command::addProject:
        return addProject(storage, line);
    case CommandLine::Command::listProjects:
        return listProjects(storage);
    case CommandLine::Command::listBranches:
        return listBranches(storage, line);
    case CommandLine::Command::writeScreenshot:
        return writeScreenshot(storage, line);
    }
    Q_UNREACHABLE();
}

int fail(const QString& reason)
{
    std::fprintf(stderr, "quibel-inbox: %s\n", qUtf8Printable(reason));
    return 1;
}

} // namespace

int run(const CommandLine& line)
{
    const auto opened = BranchStorage::open({ .directory = line.dataDirectory });
    if (const auto* error = std::get_if<StorageError>(&opened))
        return fail(u"cannot open the data in %1: %2"_s.arg(line.dataDirectory, error->reason));
    const auto failure = dispatch(*std::get<std::unique_ptr<BranchStorage>>(opened), line);
    return failure ? fail(*failure) : 0;
}

} // namespace quibel::inbox
