#include "platform/freedesktop/DesktopEntryIndex.h"

namespace quibel {

void DesktopEntryIndex::add(const DesktopEntry& entry,
                            const QString& startupWMClass,
                            bool shownInMenus)
{
    entries.insert(entry.id, entry);
    const QString folded = entry.id.toCaseFolded();
    if (!idsByFoldedId.contains(folded))
        idsByFoldedId.insert(folded, entry.id);

    if (!startupWMClass.isEmpty()) {
        Candidate& candidate = idsByStartupWMClass[startupWMClass.toCaseFolded()];
        if (candidate.id.isEmpty() || (shownInMenus && !candidate.preferred))
            candidate = { .id = entry.id, .preferred = shownInMenus };
    }

    if (const qsizetype dot = folded.lastIndexOf(u'.'); dot >= 0) {
        const QString component = folded.mid(dot + 1);
        const bool taken = idsByLastComponent.contains(component);
        idsByLastComponent.insert(component, taken ? QString() : entry.id);
    }
}

std::optional<DesktopEntry> DesktopEntryIndex::withId(const QString& id) const
{
    auto exact = entry(id);
    return exact ? exact : entry(idsByFoldedId.value(id.toCaseFolded()));
}

std::optional<DesktopEntry> DesktopEntryIndex::withStartupWMClass(const QString& name) const
{
    return entry(idsByStartupWMClass.value(name.toCaseFolded()).id);
}

std::optional<DesktopEntry> DesktopEntryIndex::withLastComponent(const QString& name) const
{
    return entry(idsByLastComponent.value(name.toCaseFolded()));
}

std::optional<DesktopEntry> DesktopEntryIndex::entry(const QString& id) const
{
    const auto found = entries.constFind(id);
    return found != entries.cend() ? std::optional(*found) : std::nullopt;
}

} // namespace quibel
