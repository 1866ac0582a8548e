#pragma once

#include "platform/Workspace.h"
#include "platform/freedesktop/DesktopEntryIndex.h"
#include "platform/glib/GLibHandles.h"

#include <QObject>
#include <QStringList>
#include <QTimer>

namespace quibel {

/// What a window tells about the application it belongs to; empty where it is silent.
struct WindowOwner
{
    QString applicationId;
    QString classInstance;
    QString className;
    std::optional<ProcessIdentifier> processIdentifier; ///< Of this machine.
};

/// The applications installed for the user, as their desktop entries present them.
///
/// Thread: main, whose event loop has to be GLib's for changes to be noticed; Qt's is where both
/// are installed.
class DesktopEntries : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DesktopEntries)

public:
    DesktopEntries();
    ~DesktopEntries() override;

    /// Reads all entries in small steps while the program is idle, now and whenever they change.
    void prepare();

    /// Whether all entries have been read once; until then only ids are found.
    [[nodiscard]] bool isPrepared() const { return prepared; }

    /// The entry whose id or `StartupWMClass` is a name of the window, else the one that its
    /// process was started from, else the only one whose id ends in such a name.
    [[nodiscard]] std::optional<DesktopEntry> find(const WindowOwner& window) const;

Q_SIGNALS:
    void prepareFinished();

private:
    void readSome();
    [[nodiscard]] std::optional<DesktopEntry> findByName(const QString& name) const;
    [[nodiscard]] std::optional<DesktopEntry> findByProcess(ProcessIdentifier process) const;

    GLibHandle<GAppInfoMonitor> monitor;
    gulong changedHandler;
    QTimer whenIdle;
    QStringList unread; ///< Ids, the last one next.
    DesktopEntryIndex growing;
    DesktopEntryIndex index;
    bool prepared = false;
};

} // namespace quibel
