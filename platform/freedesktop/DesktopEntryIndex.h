#pragma once

#include <QHash>
#include <QString>

#include <optional>

namespace quibel {

/// An application as its desktop entry presents it.
struct DesktopEntry
{
    QString id; ///< Without ".desktop".
    QString localizedName;

    bool operator==(const DesktopEntry&) const = default;
};

/// Finds desktop entries by the names that windows go by, whatever their letter case.
class DesktopEntryIndex
{
public:
    /// Of two entries with the same `startupWMClass` the first one shown in menus wins.
    void add(const DesktopEntry& entry, const QString& startupWMClass, bool shownInMenus);

    /// Prefers the id in the letter case given.
    [[nodiscard]] std::optional<DesktopEntry> withId(const QString& id) const;
    [[nodiscard]] std::optional<DesktopEntry> withStartupWMClass(const QString& name) const;
    /// Such as `org.mozilla.firefox` for `firefox`. None when several ids end so.
    [[nodiscard]] std::optional<DesktopEntry> withLastComponent(const QString& name) const;

private:
    struct Candidate
    {
        QString id;
        bool preferred = false;
    };

    [[nodiscard]] std::optional<DesktopEntry> entry(const QString& id) const;

    QHash<QString, DesktopEntry> entries;
    QHash<QString, QString> idsByFoldedId;
    QHash<QString, Candidate> idsByStartupWMClass;
    QHash<QString, QString> idsByLastComponent; ///< Empty for several.
};

} // namespace quibel
