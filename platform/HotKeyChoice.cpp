#include "platform/HotKeyChoice.h"

#include "platform/HotKeyService.h"
#include "platform/Preferences.h"

#include <QKeySequence>

#include <optional>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

bool isModifierOrLock(Qt::Key key)
{
    return key >= Qt::Key_Shift && key <= Qt::Key_ScrollLock;
}

/// Shift alone would take a capital letter from everything that is typed.
bool suffice(Qt::KeyboardModifiers modifiers, Qt::Key key)
{
    const bool typesText = key < Qt::Key_Escape;
    return modifiers != Qt::NoModifier && (modifiers != Qt::ShiftModifier || !typesText);
}

std::optional<QKeyCombination> keyWithModifier(const QString& portableText)
{
    const auto sequence = QKeySequence::fromString(portableText, QKeySequence::PortableText);
    if (sequence.count() != 1)
        return std::nullopt;
    const QKeyCombination key = sequence[0];
    const bool canBe = key.key() != Qt::Key_unknown && !isModifierOrLock(key.key())
        && !key.keyboardModifiers().testFlag(Qt::KeypadModifier)
        && suffice(key.keyboardModifiers(), key.key());
    return canBe ? std::optional(key) : std::nullopt;
}

HotKeyChoice refuse(const QString& wanted, const QString& reason)
{
    return { .refusal = u"quibel.hotKey: \"%1\" %2"_s.arg(wanted, reason) };
}

} // namespace

HotKeyChoice chooseHotKey(const Preferences& preferences, const HotKeyService& hotKeys)
{
    const std::optional<QString> wanted = preferences.text(u"quibel.hotKey"_s);
    if (!wanted)
        return {};
    const std::optional<QKeyCombination> key = keyWithModifier(*wanted);
    if (!key)
        return refuse(*wanted, u"is not one key with a modifier, such as \"Meta+Shift+B\""_s);
    if (!hotKeys.hasKey(key->key()))
        return refuse(*wanted, u"is not on this keyboard"_s);
    return { .key = *key };
}

QString hotKeyText(QKeyCombination key)
{
    return QKeySequence(key).toString(QKeySequence::NativeText);
}

} // namespace quibel
