#include "app/Quibel_Capture_AgentApp.h"

#include "app/DesktopPlatform.h"
#include "app/DoctorCommand.h"

#include <QApplication>

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

} // namespace

int Quibel_Capture_AgentApp::main(int argc, char* argv[]) // NOLINT(modernize-avoid-c-arrays)
{
    // Whoever watched the reports may have gone; that must not end the agent.
    std::signal(SIGPIPE, SIG_IGN);
    const auto parsed = CommandLine::parse(arguments(argc, argv));
    if (const auto* notice = std::get_if<CommandLine::Notice>(&parsed))
        return say(*notice);
    const auto& line = *std::get_if<CommandLine>(&parsed);
    if (line.command == CommandLine::Command::doctor)
        return runDoctor(argc, argv, line.json ? DoctorReport::json : DoctorReport::table);
    if (!DesktopPlatform::chooseWindowSystem())
        return reportNoDesktop();

    const QApplication application(argc, argv);
    QApplication::setApplicationName(u"quibel-capture-agent"_s);
    QApplication::setApplicationDisplayName(u"Quibel"_s);
    QApplication::setDesktopFileName(u"org.quibel.CaptureAgent"_s);
    const auto desktop = DesktopPlatform::connect();
    if (!desktop)
        return reportNoDesktop();
    Quibel_Capture_AgentApp agent(desktop->ports());
    agent.appDelegate.applicationDidFinishLaunching();
    agent.carryOut(line.command);
    return QApplication::exec();
}

void Quibel_Capture_AgentApp::carryOut(CommandLine::Command command)
{
    using enum CommandLine::Command;
    switch (command) {
    case start:
    case doctor:
        break;
    case sendBranch:
        appDelegate.sendBranch();
        break;
    case capture:
        appDelegate.capture();
        break;
    case connectAccount:
        appDelegate.connectAccount();
        break;
    }
}

} // namespace quibel
