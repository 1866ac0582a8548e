#include "tests/inbox/program/InboxProcess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

#include <csignal>
#include <cstdio>
#include <utility>

#include <sys/prctl.h>

namespace quibel::inbox::testing {

using namespace Qt::StringLiterals;

namespace {

constexpr int patience = 30'000;

} // namespace

InboxProcess::InboxProcess(QStringList place)
    : program(qEnvironmentVariable("QUIBEL_TEST_BIN_DIR") + u"/quibel-inbox"_s)
    , placeOptions(std::move(place))
{
}

InboxProcess::~InboxProcess()
{
    kill();
}

Outcome InboxProcess::run(const QStringList& words, const QByteArray& input) const
{
    QProcess process;
    process.start(program, words + placeOptions);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(patience) || process.exitStatus() != QProcess::NormalExit)
        return { .output = process.readAllStandardOutput(),
                 .errors = process.readAllStandardError() };
    return { .exitCode = process.exitCode(),
             .output = process.readAllStandardOutput(),
             .errors = process.readAllStandardError() };
}

QUrl InboxProcess::serve(const QStringList& options)
{
    service = std::make_unique<QProcess>();
    // It must not outlive a test that crashes.
    service->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    service->start(program, QStringList { u"serve"_s } + options + placeOptions);
    said.clear();
    (void)QTest::qWaitFor(
        [this] {
            said += service->readAllStandardOutput();
            return said.contains('\n') || service->state() == QProcess::NotRunning;
        },
        patience);
    if (said.isEmpty())
        std::fprintf(stderr, "%s\n", service->readAllStandardError().constData());
    return { QString::fromUtf8(said.trimmed()).section(u' ', -1) };
}

bool InboxProcess::stop()
{
    if (!service)
        return false;
    service->terminate();
    return waitForEnd() && service->exitStatus() == QProcess::NormalExit
        && service->exitCode() == 0;
}

void InboxProcess::kill()
{
    if (!service)
        return;
    service->kill();
    (void)waitForEnd();
}

void InboxProcess::signal(int number) const
{
    ::kill(static_cast<pid_t>(service->processId()), number);
}

bool InboxProcess::waitForEnd()
{
    return service->state() == QProcess::NotRunning || service->waitForFinished(patience);
}

QHash<QString, QString> InboxProcess::keptBranches() const
{
    QHash<QString, QString> branches;
    const auto listed = run({ u"branches"_s, u"--json"_s });
    for (const auto& branch : QJsonDocument::fromJson(listed.output).array())
        branches.insert(branch[u"id"_s].toString(), branch[u"title"_s].toString());
    return branches;
}

QByteArray InboxProcess::createKey() const
{
    return run({ u"keys"_s, u"create"_s }).output.trimmed();
}

} // namespace quibel::inbox::testing
