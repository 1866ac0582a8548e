#pragma once

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <vector>

#include <sys/types.h>

namespace quibel::testing {

/// A private desktop with fresh directories: X server, session bus and, as asked for, a window
/// manager, a key ring, a panel with a tray and a bus for assistive tools. Everything it started
/// ends with it.
///
/// Thread: the one that made it; the calls wait.
class VirtualDesktop
{
public:
    struct Options
    {
        QString screen = QStringLiteral("1280x800x24");
        QStringList serverArguments {}; ///< More of them, such as an extension to leave out.
        /// Empty for none; else one that `WindowManager` knows.
        QString windowManager = QStringLiteral("openbox");
        bool keyRing = false;
        bool tray = false;
        bool accessibility = false; ///< A bus for assistive tools, and one that wants to be served.
    };

    explicit VirtualDesktop(Options wanted);
    VirtualDesktop(const VirtualDesktop&) = delete;
    VirtualDesktop& operator=(const VirtualDesktop&) = delete;
    ~VirtualDesktop();

    /// Errors: false, with the reason on standard error.
    [[nodiscard]] bool start();

    /// What a program of this desktop runs in.
    [[nodiscard]] QProcessEnvironment environment() const { return surroundings; }

    /// Makes this process a program of the desktop; before any QGuiApplication is made.
    void enter() const;

    [[nodiscard]] QString home() const { return directory.path(); }

    /// Starts a program on the desktop; it ends with the desktop. Null when it does not start.
    QProcess* launch(const QString& program, const QStringList& arguments = {});

    /// Runs a program on the desktop to its end and returns what it wrote; none when it failed.
    [[nodiscard]] std::optional<QByteArray> output(const QString& program,
                                                   const QStringList& arguments = {},
                                                   const QByteArray& input = {}) const;

    /// Ends one program that `launch` started.
    void stop(QProcess* process);

    /// Has the session bus start `program` for calls to `name`.
    [[nodiscard]] bool installBusService(const QString& name, const QString& program) const;
    [[nodiscard]] bool removeBusService(const QString& name) const;
    /// Ends the session bus, as a crash would.
    void stopBus();
    [[nodiscard]] pid_t busProcess() const { return static_cast<pid_t>(bus->processId()); }
    bool startWindowManager();
    /// Does nothing while there is one.
    bool startKeyRing();
    /// Ends the key ring, as a crash would.
    void stopKeyRing();
    [[nodiscard]] pid_t keyRingProcess() const { return static_cast<pid_t>(keyRing->processId()); }
    /// Does nothing while there is one.
    bool startTray();
    /// Ends the panel with its tray.
    void stopTray();

private:
    bool startServer();
    bool startBus();
    [[nodiscard]] QString busServiceFile(const QString& name) const;
    [[nodiscard]] bool reloadBus() const;
    bool startAccessibility();
    [[nodiscard]] bool waitUntilOutput(const QString& program,
                                       const QStringList& arguments,
                                       const QByteArray& expected) const;

    Options options;
    QTemporaryDir directory;
    QProcessEnvironment surroundings;
    std::vector<std::unique_ptr<QProcess>> processes;
    QProcess* bus = nullptr;
    QProcess* keyRing = nullptr;
    QProcess* tray = nullptr;
};

} // namespace quibel::testing
