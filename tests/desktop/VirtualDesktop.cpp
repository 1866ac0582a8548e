#include "tests/desktop/VirtualDesktop.h"

#include "tests/desktop/WindowManager.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include <csignal>
#include <cstdio>

#include <sys/prctl.h>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

constexpr int patienceMs = 30'000;

bool fail(const QString& what)
{
    std::fprintf(stderr, "virtual desktop: %s\n", qPrintable(what));
    return false;
}

/// A process that ends with this one, also when a crash leaves nobody to end it.
std::unique_ptr<QProcess> makeProcess()
{
    auto process = std::make_unique<QProcess>();
    process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    return process;
}

} // namespace

VirtualDesktop::VirtualDesktop(Options wanted)
    : options(std::move(wanted))
    , surroundings(QProcessEnvironment::systemEnvironment())
{
    const QDir home(directory.path());
    const auto make = [&](const QString& name) {
        home.mkpath(name);
        QString path = home.filePath(name);
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return path;
    };
    surroundings.insert(u"HOME"_s, directory.path());
    surroundings.insert(u"XDG_RUNTIME_DIR"_s, make(u"run"_s));
    surroundings.insert(u"XDG_CONFIG_HOME"_s, make(u"config"_s));
    surroundings.insert(u"XDG_DATA_HOME"_s, make(u"data"_s));
    surroundings.insert(u"XDG_CACHE_HOME"_s, make(u"cache"_s));
    for (const auto& name : { u"WAYLAND_DISPLAY"_s,
                              u"XAUTHORITY"_s,
                              u"XDG_CURRENT_DESKTOP"_s,
                              u"QT_QPA_PLATFORM"_s,
                              u"QT_QPA_PLATFORMTHEME"_s,
                              u"SESSION_MANAGER"_s,
                              u"QUIBEL_API_KEY"_s,
                              u"QUIBEL_API_BASE_URL"_s,
                              u"http_proxy"_s,
                              u"https_proxy"_s,
                              u"all_proxy"_s,
                              u"HTTP_PROXY"_s,
                              u"HTTPS_PROXY"_s })
        surroundings.remove(name);
    surroundings.insert(u"QT_QPA_PLATFORM"_s, u"xcb"_s);
    surroundings.insert(u"NO_AT_BRIDGE"_s, u"1"_s);
    surroundings.insert(u"GSETTINGS_BACKEND"_s, u"memory"_s);
    surroundings.insert(u"LC_ALL"_s, u"C.UTF-8"_s);
}

VirtualDesktop::~VirtualDesktop()
{
    // In the reverse order: clients before the bus and the X server, which would take them along.
    while (!processes.empty())
        stop(processes.back().get());
}

bool VirtualDesktop::start()
{
    return startServer() && startBus() && (options.windowManager.isEmpty() || startWindowManager())
        && (!options.keyRing || startKeyRing()) && (!options.tray || startTray())
        && (!options.accessibility || startAccessibility());
}

void VirtualDesktop::enter() const
{
    const QStringList here = QProcessEnvironment::systemEnvironment().keys();
    for (const QString& name : here)
        if (!surroundings.contains(name))
            qunsetenv(name.toLocal8Bit().constData());
    const QStringList names = surroundings.keys();
    for (const QString& name : names)
        qputenv(name.toLocal8Bit().constData(), surroundings.value(name).toLocal8Bit());
}

QProcess* VirtualDesktop::launch(const QString& program, const QStringList& arguments)
{
    auto process = makeProcess();
    process->setProcessEnvironment(surroundings);
    process->start(program, arguments);
    if (!process->waitForStarted(patienceMs)) {
        fail(program + u" does not start"_s);
        return nullptr;
    }
    processes.push_back(std::move(process));
    return processes.back().get();
}

std::optional<QByteArray> VirtualDesktop::output(const QString& program,
                                                 const QStringList& arguments,
                                                 const QByteArray& input) const
{
    QProcess process;
    process.setProcessEnvironment(surroundings);
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(patienceMs) || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0)
        return std::nullopt;
    return process.readAllStandardOutput();
}

void VirtualDesktop::stop(QProcess* process)
{
    const auto found = std::ranges::find(processes, process, &std::unique_ptr<QProcess>::get);
    if (found == processes.end())
        return;
    process->terminate();
    if (!process->waitForFinished(5'000)) {
        process->kill();
        process->waitForFinished(5'000);
    }
    processes.erase(found);
}

bool VirtualDesktop::startServer()
{
    auto server = makeProcess();
    // The server picks a free display itself and tells its number on standard output, so that any
    // number of desktops can run side by side.
    const QStringList arguments { u"-displayfd"_s, u"1"_s,         u"-screen"_s, u"0"_s,
                                  options.screen,  u"-nolisten"_s, u"tcp"_s,     u"-noreset"_s };
    server->start(u"Xvfb"_s, arguments + options.serverArguments);
    QByteArray number;
    while (!number.contains('\n'))
        if (server->waitForReadyRead(patienceMs))
            number += server->readAllStandardOutput();
        else
            return fail(u"no X server: "_s
                        + QString::fromLocal8Bit(server->readAllStandardError()));
    surroundings.insert(u"DISPLAY"_s, u":"_s + QString::fromLatin1(number.trimmed()));
    processes.push_back(std::move(server));
    return true;
}

bool VirtualDesktop::startBus()
{
    // A bus of the system's configuration would start services by itself, such as a second key
    // ring.
    const QString configuration = home() + u"/bus.conf"_s;
    QFile file(configuration);
    if (!file.open(QIODevice::WriteOnly))
        return fail(u"cannot write "_s + configuration);
    QDir(home()).mkpath(u"services"_s);
    file.write("<busconfig><type>session</type><listen>unix:dir="
               + surroundings.value(u"XDG_RUNTIME_DIR"_s).toUtf8() + "</listen><servicedir>"
               + home().toUtf8()
               + "/services</servicedir><policy context='default'><allow send_destination='*' "
                 "eavesdrop='true'/>"
                 "<allow eavesdrop='true'/><allow own='*'/></policy></busconfig>\n");
    file.close();
    bus = launch(u"dbus-daemon"_s,
                 { u"--config-file="_s + configuration,
                   u"--nofork"_s,
                   u"--nopidfile"_s,
                   u"--print-address=1"_s });
    if (bus == nullptr)
        return false;
    QByteArray address;
    while (!address.contains('\n'))
        if (bus->waitForReadyRead(patienceMs))
            address += bus->readAllStandardOutput();
        else
            return fail(u"no session bus"_s);
    surroundings.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, QString::fromLatin1(address.trimmed()));
    return true;
}

QString VirtualDesktop::busServiceFile(const QString& name) const
{
    return home() + u"/services/%1.service"_s.arg(name);
}

bool VirtualDesktop::installBusService(const QString& name, const QString& program) const
{
    QFile file(busServiceFile(name));
    if (!file.open(QIODevice::WriteOnly))
        return fail(u"cannot write "_s + file.fileName());
    file.write("[D-BUS Service]\nName=" + name.toUtf8() + "\nExec=" + program.toUtf8() + '\n');
    file.close();
    return reloadBus();
}

bool VirtualDesktop::removeBusService(const QString& name) const
{
    return QFile::remove(busServiceFile(name)) && reloadBus();
}

bool VirtualDesktop::reloadBus() const
{
    return output(u"gdbus"_s,
                  { u"call"_s,
                    u"--session"_s,
                    u"--dest"_s,
                    u"org.freedesktop.DBus"_s,
                    u"--object-path"_s,
                    u"/org/freedesktop/DBus"_s,
                    u"--method"_s,
                    u"org.freedesktop.DBus.ReloadConfig"_s })
        .has_value();
}

void VirtualDesktop::stopBus()
{
    bus->kill();
    bus->waitForFinished(patienceMs);
    stop(bus);
    bus = nullptr;
}

bool VirtualDesktop::startWindowManager()
{
    const WindowManager manager(options.windowManager, home());
    surroundings.insert(WindowManager::environment());
    if (!manager.prepare())
        return fail(u"cannot write settings for "_s + manager.program());
    if (launch(manager.program(), manager.arguments()) == nullptr
        || !waitUntilOutput(u"xprop"_s, { u"-root"_s, u"_NET_SUPPORTING_WM_CHECK"_s }, "window id"))
        return false;
    // Openbox shows itself before it listens, and leaves a window that comes in between unmanaged
    // until something else happens. It listens once it has done something that it was asked for.
    return !manager.takesNumberOfDesktops()
        || waitUntilOutput(
            u"sh"_s,
            { u"-c"_s, u"xdotool set_num_desktops 6; xprop -root _NET_NUMBER_OF_DESKTOPS"_s },
            " = 6\n");
}

bool VirtualDesktop::startKeyRing()
{
    if (keyRing != nullptr)
        return true;
    keyRing = launch(u"gnome-keyring-daemon"_s,
                     { u"--foreground"_s, u"--unlock"_s, u"--components=secrets"_s });
    if (keyRing == nullptr)
        return false;
    keyRing->write("password");
    if (!keyRing->waitForBytesWritten(patienceMs))
        return fail(u"the key ring reads no password"_s);
    keyRing->closeWriteChannel();
    // The name comes before the login collection is open; the alias tells when that is done.
    return waitUntilOutput(u"gdbus"_s,
                           { u"call"_s,
                             u"--session"_s,
                             u"--dest"_s,
                             u"org.freedesktop.secrets"_s,
                             u"--object-path"_s,
                             u"/org/freedesktop/secrets"_s,
                             u"--method"_s,
                             u"org.freedesktop.Secret.Service.ReadAlias"_s,
                             u"default"_s },
                           "/collection/");
}

void VirtualDesktop::stopKeyRing()
{
    if (keyRing == nullptr)
        return;
    keyRing->kill();
    keyRing->waitForFinished(patienceMs);
    stop(keyRing);
    keyRing = nullptr;
}

bool VirtualDesktop::startTray()
{
    if (tray != nullptr)
        return true;
    const QString configuration = home() + u"/tint2rc"_s;
    QFile file(configuration);
    if (!file.open(QIODevice::WriteOnly))
        return fail(u"cannot write "_s + configuration);
    file.write("rounded = 0\nbackground_color = #202020 100\n"
               "panel_items = S\npanel_size = 100% 32\npanel_position = bottom center horizontal\n"
               "panel_background_id = 1\nstrut_policy = follow_size\n");
    file.close();
    tray = launch(u"tint2"_s, { u"-c"_s, configuration });
    return tray != nullptr
        && waitUntilOutput(u"xprop"_s, { u"-root"_s, u"_NET_WORKAREA"_s }, "768");
}

void VirtualDesktop::stopTray()
{
    stop(tray);
    tray = nullptr;
}

bool VirtualDesktop::startAccessibility()
{
    const auto call = [](const QString& method, const QStringList& arguments) {
        return QStringList { u"call"_s,          u"--session"_s,
                             u"--dest"_s,        u"org.a11y.Bus"_s,
                             u"--object-path"_s, u"/org/a11y/bus"_s,
                             u"--method"_s,      method }
        + arguments;
    };
    return launch(u"/usr/libexec/at-spi-bus-launcher"_s, { u"--launch-immediately"_s }) != nullptr
        && waitUntilOutput(u"gdbus"_s, call(u"org.a11y.Bus.GetAddress"_s, {}), "unix:")
        && waitUntilOutput(u"gdbus"_s,
                           call(u"org.freedesktop.DBus.Properties.Set"_s,
                                { u"org.a11y.Status"_s, u"IsEnabled"_s, u"<true>"_s }),
                           "()");
}

bool VirtualDesktop::waitUntilOutput(const QString& program,
                                     const QStringList& arguments,
                                     const QByteArray& expected) const
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < patienceMs) {
        if (output(program, arguments).value_or(QByteArray()).contains(expected))
            return true;
        QThread::msleep(20);
    }
    return fail(program + u" never told "_s + QString::fromLatin1(expected));
}

} // namespace quibel::testing
