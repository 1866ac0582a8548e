#include "platform/freedesktop/DesktopEntries.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QSet>

#include <algorithm>
#include <utility>

#include <gio/gdesktopappinfo.h>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

const QString suffix = u".desktop"_s;

// A step keeps a hot key waiting at most this long and one entry more.
constexpr qint64 stepMilliseconds = 1;

using AppInfo = GLibHandle<GDesktopAppInfo>;

AppInfo readEntry(const QString& id)
{
    return AppInfo(g_desktop_app_info_new((id + suffix).toUtf8().constData()));
}

DesktopEntry describe(const QString& id, const AppInfo& info)
{
    return { .id = id,
             .localizedName = QString::fromUtf8(g_app_info_get_name(G_APP_INFO(info.get()))) };
}

/// The folders with desktop entries, the most important first.
QStringList entryFolders()
{
    QStringList folders { QFile::decodeName(g_get_user_data_dir()) };
    for (const char* const* folder = g_get_system_data_dirs(); *folder != nullptr; ++folder)
        folders.append(QFile::decodeName(*folder));
    for (QString& folder : folders)
        folder = QDir::cleanPath(folder + u"/applications"_s) + u'/';
    return folders;
}

QString withoutSuffix(const QString& name)
{
    return name.endsWith(suffix) ? name.chopped(suffix.size()) : name;
}

/// An entry in a folder of the folder has that folder's name in its id.
QString idOfFile(const QString& path, const QStringList& folders)
{
    for (const QString& folder : folders)
        if (path.startsWith(folder))
            return withoutSuffix(path.mid(folder.size()).replace(u'/', u'-'));
    return withoutSuffix(path.mid(path.lastIndexOf(u'/') + 1));
}

QStringList allIds()
{
    const QStringList folders = entryFolders();
    QStringList ids;
    QSet<QString> known;
    for (const QString& folder : folders) {
        QStringList files;
        // Without a name filter, whose regular expression is the program's only one: the engine for
        // it takes 500 KiB.
        QDirIterator entries(
            folder, QDir::Files, QDirIterator::Subdirectories | QDirIterator::FollowSymlinks);
        while (entries.hasNext())
            if (const QString file = entries.next(); file.endsWith(suffix))
                files.append(file);
        files.sort();
        for (const QString& file : std::as_const(files))
            if (const QString id = idOfFile(file, folders); !known.contains(id)) {
                known.insert(id);
                ids.append(id);
            }
    }
    return ids;
}

/// The entry file that a process was started from.
///
/// Errors: none for processes that inherited the mark of another, and for those of other users.
QString launchedFile(ProcessIdentifier process)
{
    QFile environment(u"/proc/%1/environ"_s.arg(process));
    if (!environment.open(QIODevice::ReadOnly))
        return {};
    const QByteArray ownMark = "GIO_LAUNCHED_DESKTOP_FILE_PID=" + QByteArray::number(process);
    const QByteArray fileMark = "GIO_LAUNCHED_DESKTOP_FILE=";
    QString file;
    bool own = false;
    for (const QByteArray& variable : environment.readAll().split('\0')) {
        own = own || variable == ownMark;
        if (variable.startsWith(fileMark))
            file = QFile::decodeName(variable.mid(fileMark.size()));
    }
    return own ? file : QString();
}

} // namespace

DesktopEntries::DesktopEntries()
    : monitor(g_app_info_monitor_get())
    , changedHandler(
          g_signal_connect_swapped(monitor.get(),
                                   "changed",
                                   G_CALLBACK(+[](DesktopEntries* entries) { entries->prepare(); }),
                                   this))
{
    whenIdle.setInterval(0);
    connect(&whenIdle, &QTimer::timeout, this, &DesktopEntries::readSome);
}

DesktopEntries::~DesktopEntries()
{
    g_signal_handler_disconnect(monitor.get(), changedHandler);
}

void DesktopEntries::prepare()
{
    unread = allIds();
    std::ranges::reverse(unread);
    growing = DesktopEntryIndex();
    whenIdle.start();
}

void DesktopEntries::readSome()
{
    QElapsedTimer timer;
    timer.start();
    while (!unread.isEmpty() && timer.elapsed() < stepMilliseconds) {
        const QString id = unread.takeLast();
        if (const AppInfo info = readEntry(id))
            growing.add(describe(id, info),
                        QString::fromUtf8(g_desktop_app_info_get_startup_wm_class(info.get())),
                        g_desktop_app_info_get_nodisplay(info.get()) == FALSE);
    }
    if (!unread.isEmpty())
        return;
    whenIdle.stop();
    index = std::exchange(growing, DesktopEntryIndex());
    prepared = true;
    Q_EMIT prepareFinished();
}

std::optional<DesktopEntry> DesktopEntries::find(const WindowOwner& window) const
{
    // Some toolkits give the whole file instead of its id.
    const QString applicationId
        = withoutSuffix(window.applicationId.mid(window.applicationId.lastIndexOf(u'/') + 1));
    QStringList names { applicationId, window.classInstance, window.className };
    names.removeAll(QString());
    for (const QString& name : std::as_const(names))
        if (auto entry = findByName(name))
            return entry;
    if (window.processIdentifier)
        if (auto entry = findByProcess(*window.processIdentifier))
            return entry;
    for (const QString& name : std::as_const(names))
        if (auto entry = index.withLastComponent(name))
            return entry;
    return std::nullopt;
}

std::optional<DesktopEntry> DesktopEntries::findByName(const QString& name) const
{
    if (auto entry = index.withId(name))
        return entry;
    if (prepared)
        return index.withStartupWMClass(name);
    for (const QString& id : { name, name.toLower() })
        if (const AppInfo info = readEntry(id))
            return describe(id, info);
    return std::nullopt;
}

std::optional<DesktopEntry> DesktopEntries::findByProcess(ProcessIdentifier process) const
{
    const QString file = launchedFile(process);
    if (file.isEmpty())
        return std::nullopt;
    const QString id = idOfFile(QDir::cleanPath(file), entryFolders());
    if (auto entry = index.withId(id))
        return entry;
    const AppInfo info(g_desktop_app_info_new_from_filename(QFile::encodeName(file).constData()));
    return info ? std::optional(describe(id, info)) : std::nullopt;
}

} // namespace quibel
