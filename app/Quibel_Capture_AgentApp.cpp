#include "app/Quibel_Capture_AgentApp.h"

#include "app/DesktopPlatform.h"

#include <QApplication>
#include <QCommandLineParser>

#include <csignal>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

/// Ends the program when the command line asks for no more than a text.
void obeyCommandLine(const QCoreApplication& application)
{
    QCoreApplication::setApplicationName(u"quibel-capture-agent"_s);
    QCoreApplication::setApplicationVersion(QUIBEL_VERSION);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Branches off a thought with one keystroke: press Super+Shift+B, type, press Return."_s);
    parser.addHelpOption();
    parser.addVersionOption();
    parser.process(application);
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
    if (!DesktopPlatform::chooseWindowSystem()) {
        const QCoreApplication application(argc, argv);
        obeyCommandLine(application);
        return reportNoDesktop();
    }

    const QApplication application(argc, argv);
    obeyCommandLine(application);
    QApplication::setApplicationDisplayName(u"Quibel"_s);
    QApplication::setDesktopFileName(u"org.quibel.CaptureAgent"_s);
    const auto desktop = DesktopPlatform::connect();
    if (!desktop)
        return reportNoDesktop();
    Quibel_Capture_AgentApp agent(desktop->ports());
    agent.appDelegate.applicationDidFinishLaunching();
    return QApplication::exec();
}

} // namespace quibel
