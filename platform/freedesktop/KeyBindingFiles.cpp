#include "platform/freedesktop/KeyBindingFiles.h"

#include "platform/freedesktop/KeySymbols.h"

#include <QFile>
#include <QHash>
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
    QString pattern; ///< A key binding: captures the key as it is spelt, and what it is to do.
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
    static const QRegularExpression setting(uR"(^\s*set\s+\$mod\s+(\S+)\s*$)"_s,
                                            QRegularExpression::MultilineOption);
    const auto mod = setting.match(config);
    return mod.hasMatch() ? config.replace(u"$mod"_s, mod.captured(1)) : config;
}

std::optional<Qt::KeyboardModifier> modifierNamed(const QString& name)
{
    static const QHash<QString, Qt::KeyboardModifier> known {
        { u"s"_s, Qt::ShiftModifier },         { u"shift"_s, Qt::ShiftModifier },
        { u"c"_s, Qt::ControlModifier },       { u"ctrl"_s, Qt::ControlModifier },
        { u"control"_s, Qt::ControlModifier }, { u"primary"_s, Qt::ControlModifier },
        { u"a"_s, Qt::AltModifier },           { u"alt"_s, Qt::AltModifier },
        { u"mod1"_s, Qt::AltModifier },        { u"w"_s, Qt::MetaModifier },
        { u"super"_s, Qt::MetaModifier },      { u"mod4"_s, Qt::MetaModifier },
    };
    const auto found = known.constFind(name.toLower());
    return found == known.cend() ? std::nullopt : std::optional(*found);
}

/// Whether `text` is `key` as some program spells it: "W-S-b", "Mod4+Shift+b", "super + shift + b",
/// or "<Super><Shift>b" as XML has it.
bool spells(const QString& text, QKeyCombination key)
{
    static const QRegularExpression separators(uR"((?:&lt;|&gt;|[-+\s])+)"_s);
    QStringList parts = text.split(separators, Qt::SkipEmptyParts);
    if (parts.isEmpty() || keySymbolNamed(parts.takeLast()) != keySymbol(key.key()))
        return false;
    Qt::KeyboardModifiers modifiers;
    for (const QString& part : parts) {
        const auto modifier = modifierNamed(part);
        if (!modifier)
            return false;
        modifiers |= *modifier;
    }
    return modifiers == key.keyboardModifiers();
}

std::optional<QString> readText(const QString& path)
{
    QFile file(QStandardPaths::locate(QStandardPaths::GenericConfigLocation, path));
    if (file.fileName().isEmpty() || !file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return QString::fromUtf8(file.readAll());
}

std::optional<HotKeyBinding> bindingIn(const KeyBindingFile& settings, QKeyCombination hotKey)
{
    static const QRegularExpression agent(uR"(quibel-capture-agent["']?\s+--capture\b)"_s);
    std::optional<QString> text = readText(settings.path);
    if (!text)
        return std::nullopt;
    if (settings.prepare != nullptr)
        text = settings.prepare(*std::move(text));
    static constexpr auto options
        = QRegularExpression::CaseInsensitiveOption | QRegularExpression::MultilineOption;
    std::optional<HotKeyBinding> found;
    auto bindings = QRegularExpression(settings.pattern, options).globalMatch(*text);
    while (bindings.hasNext()) {
        const auto binding = bindings.next();
        if (!spells(binding.captured(1), hotKey))
            continue;
        if (!found)
            found = { .program = settings.program, .isToAgent = true };
        found->isToAgent = binding.captured(2).contains(agent) && found->isToAgent;
    }
    return found;
}

} // namespace

std::vector<HotKeyBinding> bindingsOf(QKeyCombination hotKey)
{
    const std::vector<KeyBindingFile> known {
        { .program = u"Openbox"_s,
          .path = u"openbox/rc.xml"_s,
          .pattern = uR"re(<keybind key="([^"]+)"((?s).*?)(?=</?keybind|\z))re"_s,
          .prepare = withoutComments },
        { .program = u"Xfce"_s,
          .path = u"xfce4/xfconf/xfce-perchannel-xml/xfce4-keyboard-shortcuts.xml"_s,
          .pattern = uR"re(name="(&lt;[^"]+)"([^>]*))re"_s,
          .prepare = withoutComments },
        { .program = u"i3"_s,
          .path = u"i3/config"_s,
          .pattern = uR"(^\s*bindsym\s+(?:--\S+\s+)*(\S+)\s(.*))"_s,
          .prepare = withModReplaced },
        { .program = u"sxhkd"_s, .path = u"sxhkd/sxhkdrc"_s, .pattern = uR"(^(\w.*)\n\s+(.*))"_s },
    };
    std::vector<HotKeyBinding> bindings;
    for (const KeyBindingFile& settings : known)
        if (auto binding = bindingIn(settings, hotKey))
            bindings.push_back(*std::move(binding));
    return bindings;
}

} // namespace quibel
