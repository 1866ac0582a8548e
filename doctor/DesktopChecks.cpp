#include "doctor/DesktopChecks.h"

#include <QJsonArray>
#include <QKeySequence>

#include <algorithm>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

QJsonValue orNull(const std::optional<QString>& text)
{
    return text ? QJsonValue(*text) : QJsonValue();
}

QStringList programsThatBind(const Patient::Display& display, bool toAgent)
{
    QStringList programs;
    for (const HotKeyBinding& binding : display.hotKeyBindings)
        if (binding.isToAgent == toAgent)
            programs.append(binding.program);
    return programs;
}

/// An agent that does not say is taken to hold it.
bool agentHolds(QKeyCombination hotKey, const SessionBusFacts& bus)
{
    return bus.agentHotKey ? *bus.agentHotKey == QKeySequence(hotKey).toString() : bus.agentRuns;
}

Finding judgeFreeHotKeyBesideAgent(const QString& key)
{
    return { .verdict = Verdict::failure,
             .text = u"%1 is free, but the running agent does not hold it: when the agent started,"
                     " it was taken or not chosen yet"_s.arg(key),
             .advice = u"Quit the agent and start it again."_s,
             .details = { { u"state"_s, u"freeBesideAgent"_s } } };
}

Finding judgeTakenHotKey(const SessionBusFacts& bus, const Patient::Display& display)
{
    const QString key = hotKeyText(display.hotKey.key);
    if (agentHolds(display.hotKey.key, bus))
        return { .text = u"%1 is held by the running agent"_s.arg(key),
                 .details = { { u"state"_s, u"heldByAgent"_s } } };
    const QStringList toAgent = programsThatBind(display, true);
    const QStringList others = programsThatBind(display, false);
    // A key binding hands its command over on the session bus.
    if (!toAgent.isEmpty() && others.isEmpty() && bus.state == SessionBusFacts::State::answers)
        return { .text = u"%1 is bound to the agent by %2"_s.arg(key, toAgent.join(u", "_s)),
                 .details = { { u"state"_s, u"boundToAgent"_s },
                              { u"boundBy"_s, QJsonArray::fromStringList(toAgent) } } };
    const QJsonObject details { { u"state"_s, u"taken"_s },
                                { u"boundBy"_s, QJsonArray::fromStringList(others) } };
    if (!others.isEmpty()) {
        const QString programs = others.join(u", "_s);
        return { .verdict = Verdict::failure,
                 .text = u"%1 is taken; the settings of %2 bind it"_s.arg(key, programs),
                 .advice = u"Remove that key binding of %1, or choose another hot key by the"
                           " preference quibel.hotKey, then start the agent again."_s.arg(programs),
                 .details = details };
    }
    if (bus.state != SessionBusFacts::State::answers)
        return { .verdict = Verdict::warning,
                 .text
                 = u"%1 is taken, perhaps by the agent, which cannot be asked without a session"
                   " bus"_s.arg(key),
                 .advice = u"Press it: when no panel opens, another program has it."_s,
                 .details = details };
    return { .verdict = Verdict::failure,
             .text = u"%1 is taken by another program; the X server does not tell which"_s.arg(key),
             .advice
             = u"Look for it in the key bindings of %1 and of programs that wait for hot"
               " keys and free it there, or choose another by the preference quibel.hotKey;"
               " then start the agent again. Until then the tray menu's \"Send Branch\""
               " does the same."_s.arg(display.facts.windowManager.value_or(u"the desktop"_s)),
             .details = details };
}

Finding judgeChosenHotKey(HotKeyAvailability availability,
                          const SessionBusFacts& bus,
                          const Patient::Display& display)
{
    const QString key = hotKeyText(display.hotKey.key);
    if (availability == HotKeyAvailability::taken)
        return judgeTakenHotKey(bus, display);
    if (bus.agentRuns)
        return judgeFreeHotKeyBesideAgent(key);
    if (availability == HotKeyAvailability::partlyTaken)
        return { .verdict = Verdict::warning,
                 .text = u"%1 is taken by another program for some combinations of Caps Lock and"
                         " Num Lock"_s.arg(key),
                 .advice = u"Free it in that program, then start the agent again."_s,
                 .details = { { u"state"_s, u"partlyTaken"_s } } };
    return { .text = u"%1 could be grabbed; the agent is not running"_s.arg(key),
             .details = { { u"state"_s, u"free"_s } } };
}

} // namespace

Finding needsDisplay(Verdict verdict)
{
    return { .verdict = verdict,
             .text = u"not tried, there is no display"_s,
             .advice = u"See \"display\"."_s,
             .details = { { u"state"_s, u"noDisplay"_s } } };
}

Finding judgeDisplay(const std::optional<Patient::Display>& display)
{
    if (!display)
        return { .verdict = Verdict::failure,
                 .text = u"there is no X server that answers"_s,
                 .advice = u"Run this in a desktop session; over a remote shell, set DISPLAY to its"
                           " display."_s,
                 .details = { { u"server"_s, QJsonValue() } } };
    const DisplayFacts& facts = display->facts;
    Finding finding { .text = u"%1, window manager %2, %3 compositor"_s.arg(
                          facts.server,
                          facts.windowManager.value_or(u"none"_s),
                          facts.hasCompositor ? u"with a"_s : u"no"_s),
                      .details = { { u"server"_s, facts.server },
                                   { u"windowManager"_s, orNull(facts.windowManager) },
                                   { u"compositor"_s, facts.hasCompositor } } };
    if (!facts.windowManager) {
        finding.verdict = Verdict::failure;
        finding.advice = u"Start a window manager: without one nobody tells which window is in"
                         " front, and there is no screenshot."_s;
    } else if (facts.isInsideWayland) {
        finding.verdict = Verdict::warning;
        finding.advice = u"In a Wayland session the hot key and screenshots reach X11 windows only."
                         " Log in to an X11 session, or bind \"quibel-capture-agent --capture\" to"
                         " a key in the desktop's settings."_s;
    }
    return finding;
}

Finding judgeHotKey(HotKeyAvailability availability,
                    const SessionBusFacts& bus,
                    const Patient::Display& display)
{
    Finding finding = judgeChosenHotKey(availability, bus, display);
    if (!display.hotKey.refusal.isEmpty()) {
        finding.verdict = std::max(finding.verdict, Verdict::warning);
        finding.text = display.hotKey.refusal + u"; "_s + finding.text;
        if (finding.advice.isEmpty())
            finding.advice = u"Mend that preference, then start the agent again."_s;
    }
    finding.details.insert(u"key"_s, QKeySequence(display.hotKey.key).toString());
    return finding;
}

Finding judgeTray(StatusAreaKind kind, const DisplayFacts& display)
{
    switch (kind) {
    case StatusAreaKind::statusNotifier:
        return { .text = u"there is one, it speaks StatusNotifier"_s,
                 .details = { { u"kind"_s, u"statusNotifier"_s } } };
    case StatusAreaKind::embedding:
        return { .text = u"there is one, it embeds icons (XEmbed)"_s,
                 .details = { { u"kind"_s, u"xEmbed"_s } } };
    case StatusAreaKind::none:
        break;
    }
    const bool isGnome = display.windowManager
        && (display.windowManager->contains(u"gnome"_s, Qt::CaseInsensitive)
            || display.windowManager->contains(u"mutter"_s, Qt::CaseInsensitive));
    return { .verdict = Verdict::warning,
             .text = u"there is none, so there is no icon and no menu; the hot key works all the"
                     " same"_s,
             .advice = isGnome ? u"Install and switch on the GNOME Shell extension AppIndicator"
                                 " (package gnome-shell-extension-appindicator)."_s
                               : u"Start a panel with a tray, such as xfce4-panel or tint2."_s,
             .details = { { u"kind"_s, u"none"_s } } };
}

Finding judgePreferences(const PreferencesFacts& file)
{
    Finding finding { .text = file.path,
                      .details = { { u"path"_s, file.path },
                                   { u"exists"_s, file.exists },
                                   { u"damage"_s, orNull(file.damage) },
                                   { u"writable"_s, file.canBeWritten } } };
    if (file.damage) {
        finding.verdict = Verdict::warning;
        finding.text += u" is damaged: "_s + *file.damage;
        finding.advice = u"Mend it; else the agent sets it aside as %1.damaged and begins with"
                         " fresh ones."_s.arg(file.path);
    } else if (!file.canBeWritten) {
        finding.verdict = Verdict::warning;
        finding.text += u" cannot be written"_s;
        finding.advice = u"Make its folder writable; else what you chose last, and a branch that"
                         " could not be sent, are lost when the agent ends."_s;
    } else {
        finding.text += file.exists ? u", in order"_s : u", none stored yet"_s;
    }
    return finding;
}

Finding judgeTrial(const std::optional<TrialPicture>& picture, const DisplayFacts& display)
{
    if (!picture)
        return { .verdict = Verdict::failure,
                 .text = u"neither the front window nor the display gave a picture"_s,
                 .advice = u"Branches go without a screenshot; bring a window to the front and look"
                           " again."_s,
                 .details = { { u"way"_s, QJsonValue() } } };
    const bool isWindow = picture->source == TrialPicture::Source::frontWindow;
    Finding finding {
        .text = u"%1, %2 × %3 pixels, %4 ms to grab; %5 ms to encode, %6 kB"_s.arg(
            isWindow ? u"front window"_s : u"display, since no window in front gave a picture"_s,
            QString::number(picture->size.width()),
            QString::number(picture->size.height()),
            QString::number(picture->grabbing.count()),
            QString::number(picture->encoding.count()),
            QString::number((picture->encodedBytes + 999) / 1'000)),
        .details = { { u"way"_s, isWindow ? u"window"_s : u"display"_s },
                     { u"width"_s, picture->size.width() },
                     { u"height"_s, picture->size.height() },
                     { u"grabMilliseconds"_s, qint64 { picture->grabbing.count() } },
                     { u"encodeMilliseconds"_s, qint64 { picture->encoding.count() } },
                     { u"encodedWidth"_s, picture->encodedSize.width() },
                     { u"encodedHeight"_s, picture->encodedSize.height() },
                     { u"encodedBytes"_s, picture->encodedBytes },
                     { u"coveredWindows"_s, display.keepsCoveredWindows } }
    };
    if (!display.keepsCoveredWindows) {
        finding.verdict = Verdict::warning;
        finding.advice = u"Windows are pictured without what lies under others; switch the X"
                         " server's Composite extension on."_s;
    }
    return finding;
}

} // namespace quibel
