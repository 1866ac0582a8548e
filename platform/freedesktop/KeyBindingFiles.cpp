#include "platform/freedesktop/KeyBindingFiles.h"

#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>

#include <optional>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

struct KeyBindingFile
{
    QString program;
    QString path;    ///< Below a folder for settings.
    QString pattern; ///< How it spells the key, and behind that, captured, what it is to do.
    QString (*prepare)(QString text) = nullptr; ///< What is done to the text first.
};

QString withoutComments(QString xml)
{
    static const QRegularExpression comment(u"<!--.*?-->"_s,
                                            QRegularExpression::DotMatchesEverythingOption);
    return xml.remove(comment);
}

QString withModReplaced(QString config)
{
    static const QRegularExpression modIsSuper(uR"(^\s*set\s+\$mod\s+Mod4\s*$)"_s,
                                               QRegularExpression::MultilineOption);
    return config.contains(modIsSuper) ? config.replace(u"$mod"_s, u"Mod4"_s) : config;
}

std::optional<QString> readText(const QString& path)
{
    QFile file(QStandardPaths::locate(QStandardPaths::GenericConfigLocation, path));
    if (file.fileName().isEmpty() || !file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return QString::fromUtf8(file.readAll());
}

std::optional<HotKeyBinding> bindingIn(const KeyBindingFile& settings)
{
    static const QRegularExpression agent(uR"(quibel-capture-agent["']?\s+--capture\b)"_s);
    std::optional<QString> text = readText(settings.path);
    if (!text)
        return std::nullopt;
    if (settings.prepare != nullptr)
        text = settings.prepare(*std::move(text));
    static constexpr auto options
        = QRegularExpression::CaseInsensitiveOption | QRegularExpression::MultilineOption;
    auto bindings = QRegularExpression(settings.pattern, options).globalMatch(*text);
    if (!bindings.hasNext())
        return std::nullopt;
    HotKeyBinding found { .program = settings.program, .isToAgent = true };
    while (bindings.hasNext())
        found.isToAgent = bindings.next().captured(1).contains(agent) && found.isToAgent;
    return found;
}

} // namespace

std::vector<HotKeyBinding> bindingsOfTheHotKey()
{
    const std::vector<KeyBindingFile> known {
        { .program = u"Openbox"_s,
          .path = u"openbox/rc.xml"_s,
          .pattern = uR"(<keybind key="(?:W-S|S-W)-b"((?s).*?)(?=</?keybind|\z))"_s,
          .prepare = withoutComments },
        { .program = u"Xfce"_s,
          .path = u"xfce4/xfconf/xfce-perchannel-xml/xfce4-keyboard-shortcuts.xml"_s,
          .pattern
          = uR"(name="(?:&lt;Shift&gt;&lt;Super&gt;|&lt;Super&gt;&lt;Shift&gt;)b"([^>]*))"_s,
          .prepare = withoutComments },
        { .program = u"i3"_s,
          .path = u"i3/config"_s,
          .pattern = uR"(^\s*bindsym\s+(?:--\S+\s+)*(?:Mod4\+Shift|Shift\+Mod4)\+b\s(.*))"_s,
          .prepare = withModReplaced },
        { .program = u"sxhkd"_s,
          .path = u"sxhkd/sxhkdrc"_s,
          .pattern = uR"(^super \+ shift \+ b\s+(.*))"_s },
    };
    std::vector<HotKeyBinding> bindings;
    for (const KeyBindingFile& settings : known)
        if (auto binding = bindingIn(settings))
            bindings.push_back(*std::move(binding));
    return bindings;
}

} // namespace quibel
