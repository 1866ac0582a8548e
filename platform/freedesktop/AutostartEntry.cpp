#include "platform/freedesktop/AutostartEntry.h"

#include "platform/freedesktop/DurableFile.h"
#include "platform/glib/GLibHandles.h"

#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>
#include <cerrno>
#include <utility>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

constexpr const char* group = G_KEY_FILE_DESKTOP_GROUP;

/// A user looks at these files, so they keep the order in which their keys are set.
class KeyFile
{
public:
    [[nodiscard]] bool load(const QString& path)
    {
        GLibError error;
        return g_key_file_load_from_file(file.get(),
                                         QFile::encodeName(path).constData(),
                                         G_KEY_FILE_NONE,
                                         error.receiver())
            != FALSE;
    }
    /// Errors: `otherwise` when there is no such key, or no such value.
    [[nodiscard]] bool flag(const char* key, bool otherwise) const
    {
        GLibError error;
        const bool value
            = g_key_file_get_boolean(file.get(), group, key, error.receiver()) != FALSE;
        return error ? otherwise : value;
    }
    void set(const char* key, const QString& value)
    {
        g_key_file_set_string(file.get(), group, key, value.toUtf8().constData());
    }
    [[nodiscard]] QByteArray content() const
    {
        gsize size = 0;
        const std::unique_ptr<gchar, decltype(&g_free)> text(
            g_key_file_to_data(file.get(), &size, nullptr), g_free);
        return { text.get(), static_cast<qsizetype>(size) };
    }

private:
    std::unique_ptr<GKeyFile, decltype(&g_key_file_unref)> file { g_key_file_new(),
                                                                  g_key_file_unref };
};

bool isEnabled(const QString& path)
{
    KeyFile file;
    return file.load(path) && !file.flag("Hidden", false)
        && file.flag("X-GNOME-Autostart-enabled", true);
}

/// Whether the first entry that there is has something started.
bool startsSomething(const QStringList& entries)
{
    const auto entry
        = std::ranges::find_if(entries, [](const QString& path) { return QFile::exists(path); });
    return entry != entries.end() && isEnabled(*entry);
}

/// Source: Desktop Entry Specification 1.5, "The Exec key".
QString quotedForExec(const QString& argument)
{
    QString quoted;
    for (const QChar character : argument) {
        if (u"\"`$\\"_s.contains(character))
            quoted += u'\\';
        quoted += character;
        if (character == u'%')
            quoted += u'%';
    }
    return u'"' + quoted + u'"';
}

/// The name alone when the program is what that name starts: such an entry outlives a move.
QString commandFor(const QString& program)
{
    const QString name = QFileInfo(program).fileName();
    const QString found = QStandardPaths::findExecutable(name);
    const bool same = !found.isEmpty()
        && QFileInfo(found).canonicalFilePath() == QFileInfo(program).canonicalFilePath();
    return same ? name : quotedForExec(program);
}

QString complaint(const QString& path, const QString& reason)
{
    return u"%1: %2"_s.arg(path, reason);
}

} // namespace

AutostartEntry::AutostartEntry(QString startedProgram)
    : program(std::move(startedProgram))
{
    const auto folders = QStandardPaths::standardLocations(QStandardPaths::GenericConfigLocation);
    for (const QString& folder : folders)
        entries.append(folder + u"/autostart/org.quibel.CaptureAgent.desktop"_s);
}

bool AutostartEntry::isOn() const
{
    return startsSomething(entries);
}

std::optional<QString> AutostartEntry::turnOn()
{
    KeyFile file;
    file.set("Type", u"Application"_s);
    file.set("Name", u"Quibel"_s);
    file.set("Comment", u"Branches off a thought with one keystroke"_s);
    file.set("Icon", u"org.quibel.CaptureAgent"_s);
    file.set("Exec", commandFor(program));
    file.set("Terminal", u"false"_s);
    file.set("X-GNOME-Autostart-enabled", u"true"_s);
    // GNOME starts what names no phase after its panel.
    file.set("X-KDE-autostart-after", u"panel"_s);
    return write(file.content());
}

std::optional<QString> AutostartEntry::turnOff()
{
    if (startsSomething(entries.mid(1))) {
        KeyFile file;
        file.set("Type", u"Application"_s);
        file.set("Name", u"Quibel"_s);
        file.set("Hidden", u"true"_s);
        return write(file.content());
    }
    if (::unlink(QFile::encodeName(userEntry()).constData()) == 0 || errno == ENOENT)
        return std::nullopt;
    return complaint(userEntry(), qt_error_string(errno));
}

QString AutostartEntry::thisProgram()
{
    return QFile::symLinkTarget(u"/proc/self/exe"_s);
}

std::optional<QString> AutostartEntry::write(const QByteArray& content) const
{
    const auto result = replaceDurably(QFile::encodeName(userEntry()).toStdString(), content);
    if (const auto* error = std::get_if<std::error_code>(&result))
        return complaint(userEntry(), QString::fromStdString(error->message()));
    return std::nullopt;
}

} // namespace quibel
