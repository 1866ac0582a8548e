#include "app/Quibel_Capture_AgentApp.h"

#include "app/DesktopPlatform.h"

#include <QApplication>
#include <QCommandLineParser>

#include <csignal>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace quibel {

int Quibel_Capture_AgentApp::main(int argc, char* argv[]) // NOLINT(modernize-avoid-c-arrays)
{
    // Whoever watched the reports may have gone; that must not end the agent.
    std::signal(SIGPIPE, SIG_IGN);
    DesktopPlatform::chooseWindowSystem();

    const QApplication application(argc, argv);
    QApplication::setApplicationName(u"quibel-capture-agent"_s);
    QApplication::setApplicationDisplayName(u"Quibel"_s);
    QApplication::setApplicationVersion(QUIBEL_VERSION);
    QApplication::setDesktopFileName(u"org.quibel.CaptureAgent"_s);

    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Branches off a thought with one keystroke: press Super+Shift+B, type, press Return."_s);
    parser.addHelpOption();
    parser.addVersionOption();
    parser.process(application);

    const auto desktop = DesktopPlatform::connect();
    if (!desktop) {
        std::fputs("quibel-capture-agent: this desktop is not an X11 one, or its X server does not"
                   " answer; is DISPLAY set?\n",
                   stderr);
        return 1;
    }
    Quibel_Capture_AgentApp agent(desktop->ports());
    agent.appDelegate.applicationDidFinishLaunching();
    return QApplication::exec();
}

} // namespace quibel
