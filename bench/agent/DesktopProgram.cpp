// Opens a private desktop, tells its environment as one line of JSON, and closes it when standard
// input ends.
//
//   quibel-bench-desktop [--screen 1280x800x24] [--tray]
#include "tests/desktop/VirtualDesktop.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

void tell(const QProcessEnvironment& surroundings)
{
    QJsonObject values;
    const QStringList names = surroundings.keys();
    for (const QString& name : names)
        values.insert(name, surroundings.value(name));
    std::puts(QJsonDocument(values).toJson(QJsonDocument::Compact).constData());
    std::fflush(stdout);
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addOptions({ { u"screen"_s, u"Size and depth."_s, u"screen"_s, u"1280x800x24"_s },
                        { u"tray"_s, u"With a tray, for a screen of the usual size."_s } });
    parser.addHelpOption();
    parser.process(application);

    quibel::testing::VirtualDesktop desktop(
        { .screen = parser.value(u"screen"_s), .keyRing = true, .tray = parser.isSet(u"tray"_s) });
    if (!desktop.start())
        return 1;
    tell(desktop.environment());
    QFile input;
    if (input.open(stdin, QIODevice::ReadOnly))
        input.readAll();
    return 0;
}
