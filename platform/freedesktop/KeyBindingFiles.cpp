#include "platform/freedesktop/KeyBindingFiles.h"

#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

struct KeyBindingFile
{
    QString program;
    QString path;    ///< Below a folder for settings.
    QString pattern; ///< How it spells the key.
};

bool binds(const KeyBindingFile& settings)
{
    const QString path
        = QStandardPaths::locate(QStandardPaths::GenericConfigLocation, settings.path);
    QFile file(path);
    if (path.isEmpty() || !file.open(QIODevice::ReadOnly))
        return false;
    static constexpr auto options
        = QRegularExpression::CaseInsensitiveOption | QRegularExpression::MultilineOption;
    return QString::fromUtf8(file.readAll())
        .contains(QRegularExpression(settings.pattern, options));
}

} // namespace

QStringList programsThatBindTheHotKey()
{
    const QList<KeyBindingFile> known {
        { u"Openbox"_s, u"openbox/rc.xml"_s, uR"(<keybind key="(W-S|S-W)-b")"_s },
        { u"Xfce"_s,
          u"xfce4/xfconf/xfce-perchannel-xml/xfce4-keyboard-shortcuts.xml"_s,
          uR"(name="(&lt;Shift&gt;&lt;Super&gt;|&lt;Super&gt;&lt;Shift&gt;)b")"_s },
        { u"i3"_s, u"i3/config"_s, uR"(^\s*bindsym\s.*(Mod4|\$mod)\+Shift\+b\s)"_s },
        { u"sxhkd"_s, u"sxhkd/sxhkdrc"_s, uR"(^super \+ shift \+ b\s)"_s },
    };
    QStringList programs;
    for (const KeyBindingFile& settings : known)
        if (binds(settings))
            programs.append(settings.program);
    return programs;
}

} // namespace quibel
