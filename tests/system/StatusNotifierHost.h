#pragma once

#include "tests/platform/StatusNotifierWatcher.h"

#include <QDBusMessage>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

#include <optional>
#include <vector>

namespace quibel::testing {

/// What a desktop's shell knows of the items in its status area and of their menus, which it draws
/// itself. Items that appear while it lives are found.
///
/// Thread: main; the calls run the event loop while they wait.
/// Source: StatusNotifierItem, and the interface com.canonical.dbusmenu.
class StatusNotifierHost : public QObject
{
    Q_OBJECT

public:
    struct MenuItem
    {
        int id = 0;
        QString label;
        bool isSeparator = false;
        bool isVisible = true;
        bool isEnabled = true;
        QStringList shortcut; ///< Modifiers and a key; empty for none.
    };

    StatusNotifierHost();

    [[nodiscard]] bool hasItem() const { return !watcher.registeredItems().isEmpty(); }

    /// The user clicks the icon.
    [[nodiscard]] bool activate();

    /// The menu as it is now, with what is hidden; nullopt if it does not tell.
    [[nodiscard]] std::optional<std::vector<MenuItem>> menu();
    /// What a person would see: labels of visible items, "---" for separators.
    [[nodiscard]] QStringList visibleMenu();
    /// The user chooses an item; false if it is not to be had.
    [[nodiscard]] bool choose(const QString& label);

    /// How often the menu has said that it changed.
    [[nodiscard]] int changes() const { return changeCount; }

private Q_SLOTS:
    void noteChange() { ++changeCount; }

private:
    [[nodiscard]] std::optional<QVariantList> call(const QString& path,
                                                   const QString& interface,
                                                   const QString& method,
                                                   const QVariantList& arguments);
    [[nodiscard]] QString menuPath();

    StatusNotifierWatcher watcher;
    int changeCount = 0;
};

} // namespace quibel::testing
