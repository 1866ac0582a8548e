#include "app/Quibel_Capture_AgentApp.h"

#include "app/AutostartCommand.h"
#include "app/CommandLine.h"
#include "app/DesktopPlatform.h"
#include "app/DoctorCommand.h"
#include "platform/StandardStreams.h"
#include "platform/TerminationSignals.h"

#include <QApplication>
#include <QLocale>
#include <QPointer>
#include <QSessionManager>

#include <csignal>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

QStringList arguments(int argc, char* argv[]) // NOLINT(modernize-avoid-c-arrays)
{
    QStringList words;
    for (int index = 0; index < argc; ++index)
        words.append(QString::fromLocal8Bit(argv[index]));
    return words;
}

int say(const CommandLine::Notice& notice)
{
    const bool answer = notice.kind == CommandLine::Notice::Kind::answer;
    std::fputs(qUtf8Printable(notice.text), answer ? stdout : stderr);
    constexpr int misused = 2;
    return answer ? 0 : misused;
}

int reportNoDesktop()
{
    std::fputs("quibel-capture-agent: this desktop is not an X11 one, or its X server does not"
               " answer; is DISPLAY set?\n",
               stderr);
    return 1;
}

/// What the agent is asked for; none when it is only to be there.
std::optional<AgentCommand> agentCommand(CommandLine::Command command)
{
    using enum CommandLine::Command;
    switch (command) {
    case start:
    case doctor:
    case autostart:
        break;
    case sendBranch:
        return AgentCommand::sendBranch;
    case capture:
        return AgentCommand::capture;
    case connectAccount:
        return AgentCommand::connectAccount;
    case quit:
        return AgentCommand::quit;
    }
    return std::nullopt;
}

/// The exit code of a start that found an agent running.
int reportAgent(SingleInstance::Role role, bool commanded)
{
    if (role == SingleInstance::Role::messenger)
        return 0;
    if (role == SingleInstance::Role::unanswered) {
        std::fputs("quibel-capture-agent: it runs already, but does not answer; end that process"
                   " and start it again\n",
                   stderr);
        return 1;
    }
    std::fputs("quibel-capture-agent: it runs already, and takes commands only on the session bus"
               " that it was started on\n",
               stderr);
    return commanded ? 1 : 0;
}

/// Whether the agent is there at the next login, autostart says; a session that is restored must
/// not start it once more.
void neverRestartWithTheSession(const QGuiApplication& application)
{
    for (const auto saving :
         { &QGuiApplication::commitDataRequest, &QGuiApplication::saveStateRequest })
        QObject::connect(
            &application,
            saving,
            &application,
            [](QSessionManager& session) { session.setRestartHint(QSessionManager::RestartNever); },
            Qt::DirectConnection);
}

/// That of the language the session is in; the toolkit goes by translations alone.
Qt::LayoutDirection readingDirection()
{
    return QLocale(QLocale::system().uiLanguages().value(0)).textDirection();
}

} // namespace

int Quibel_Capture_AgentApp::main(int argc, char* argv[]) // NOLINT(modernize-avoid-c-arrays)
{
    openMissingStandardStreams();
    // Whoever watched the reports may have gone; that must not end the agent.
    std::signal(SIGPIPE, SIG_IGN);
    const auto parsed = CommandLine::parse(arguments(argc, argv));
    if (const auto* notice = std::get_if<CommandLine::Notice>(&parsed))
        return say(*notice);
    const auto& line = *std::get_if<CommandLine>(&parsed);
    if (line.command == CommandLine::Command::doctor)
        return runDoctor(argc, argv, line.json ? DoctorReport::json : DoctorReport::table);
    if (line.command == CommandLine::Command::autostart)
        return runAutostart(*DesktopPlatform::loginItem(), line.operand);
    return runAgent(argc, argv, agentCommand(line.command));
}

// NOLINTNEXTLINE(modernize-avoid-c-arrays)
int Quibel_Capture_AgentApp::runAgent(int argc, char* argv[], std::optional<AgentCommand> command)
{
    // A start that only hands its command over needs no desktop, and has no time to look for one.
    const auto instance = DesktopPlatform::singleInstance();
    const auto role = instance->takeRole(command.value_or(AgentCommand::sendBranch));
    if (role != SingleInstance::Role::agent)
        return reportAgent(role, command.has_value());
    if (command == AgentCommand::quit) {
        std::puts("quibel-capture-agent: it is not running");
        return 0;
    }

    if (!DesktopPlatform::chooseWindowSystem())
        return reportNoDesktop();
    dropWhatNobodyReads();
    const QApplication application(argc, argv);
    QApplication::setApplicationName(u"quibel-capture-agent"_s);
    QApplication::setApplicationDisplayName(u"Quibel"_s);
    QApplication::setDesktopFileName(u"org.quibel.CaptureAgent"_s);
    QApplication::setLayoutDirection(readingDirection());
    const auto desktop = DesktopPlatform::connect();
    if (!desktop)
        return reportNoDesktop();
    const TerminationSignals termination(QApplication::quit);
    neverRestartWithTheSession(application);
    Quibel_Capture_AgentApp agent(desktop->ports());
    agent.appDelegate.applicationDidFinishLaunching();
    instance->setHotKeyQuestion([delegate = QPointer(&agent.appDelegate)] {
        return delegate ? delegate->heldHotKey() : QString();
    });
    if (command)
        agent.appDelegate.carryOut(*command);
    instance->setHandler([delegate = QPointer(&agent.appDelegate)](AgentCommand asked) {
        if (delegate)
            delegate->carryOut(asked);
    });
    return QApplication::exec();
}

} // namespace quibel
