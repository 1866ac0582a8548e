#pragma once

#include "platform/StatusArea.h"
#include "ui/TemplateImage.h"

#include <QAction>
#include <QCoreApplication>
#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>

#include <functional>
#include <memory>
#include <optional>

namespace quibel {

/// The agent's item in the status area, with its menu.
///
/// Thread: main.
class StatusBarController : public QObject
{
    Q_OBJECT

public:
    /// What the commands of the menu do.
    struct Actions
    {
        std::function<void()> sendBranch;
        std::function<void()> connectAccount;
        std::function<void()> terminate = QCoreApplication::quit;
    };

    /// `hotKey` is what the menu says beside "Send Branch".
    StatusBarController(StatusArea& statusArea, QKeyCombination hotKey, Actions actions);

    /// Shows `message` as a line at the top of the menu; none, or an empty one, removes the line.
    void setStatusMessage(const std::optional<QString>& message);

    /// Null until the status area has appeared once.
    [[nodiscard]] QSystemTrayIcon* statusItem() const { return item.get(); }
    [[nodiscard]] QMenu& menu() { return statusMenu; }
    [[nodiscard]] QAction& statusMessageItem() { return *messageItem; }
    [[nodiscard]] QAction& statusMessageSeparator() { return *messageSeparator; }

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void addItems(QKeyCombination hotKey, Actions actions);
    void showStatusItem();
    void updateImage();
    void popUpMenu();

    StatusArea& area;
    TemplateImage logo;
    QMenu statusMenu;
    QAction* messageItem;
    QAction* messageSeparator;
    QAction* quitItem = nullptr;
    std::unique_ptr<QSystemTrayIcon> item;
};

} // namespace quibel
