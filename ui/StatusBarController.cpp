#include "ui/StatusBarController.h"

#include "platform/HotKeyChoice.h"
#include "ui/TreeLogo.h"

#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QPalette>

#include <utility>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

/// A title that shows `text` as it is: a menu takes a single & for the mark of a mnemonic.
QString title(QString text)
{
    return text.replace(u'&', u"&&"_s);
}

} // namespace

StatusBarController::StatusBarController(StatusArea& statusArea,
                                         QKeyCombination hotKey,
                                         Actions actions)
    : area(statusArea)
    , logo(treeLogo())
    , messageItem(statusMenu.addAction(QString()))
    , messageSeparator(statusMenu.addSeparator())
{
    messageItem->setEnabled(false);
    setStatusMessage(std::nullopt);
    addItems(hotKey, std::move(actions));
    statusMenu.installEventFilter(this);
    connect(&area, &StatusArea::appeared, this, &StatusBarController::showStatusItem);
    connect(&area, &StatusArea::foregroundChanged, this, &StatusBarController::updateImage);
    if (area.isPresent())
        showStatusItem();
}

void StatusBarController::addItems(QKeyCombination hotKey, Actions actions)
{
    statusMenu.addAction(
        title(u"Send Branch\t"_s + hotKeyText(hotKey)), this, std::move(actions.sendBranch));
    statusMenu.addSeparator();
    statusMenu.addAction(u"Connect Account…"_s, this, std::move(actions.connectAccount));
    statusMenu.addSeparator();
    quitItem = statusMenu.addAction(u"Quit"_s, this, std::move(actions.terminate));
    quitItem->setShortcut(Qt::META | Qt::Key_Q);
}

void StatusBarController::setStatusMessage(const std::optional<QString>& message)
{
    const QString shown = message.value_or(QString());
    messageItem->setText(title(shown));
    messageItem->setVisible(!shown.isEmpty());
    messageSeparator->setVisible(!shown.isEmpty());
}

void StatusBarController::showStatusItem()
{
    // Qt decides once, when the first tray icon is made, which protocol it speaks; so none is made
    // before there is a status area.
    if (!item) {
        item = std::make_unique<QSystemTrayIcon>();
        item->setContextMenu(&statusMenu);
        connect(item.get(),
                &QSystemTrayIcon::activated,
                this,
                [this](QSystemTrayIcon::ActivationReason reason) {
                    if (reason == QSystemTrayIcon::Trigger)
                        popUpMenu();
                });
        updateImage();
    }
    // An area that came again knows nothing of an item that was shown in the former one.
    item->hide();
    item->show();
}

void StatusBarController::updateImage()
{
    if (!item)
        return;
    const QString themedName = u"quibel-tree-logo-symbolic"_s;
    if (const std::optional<QColor> foreground = area.foreground())
        item->setIcon(logo.icon(*foreground));
    else if (area.colorsThemedIcons() && QIcon::hasThemeIcon(themedName))
        item->setIcon(QIcon::fromTheme(themedName));
    else
        item->setIcon(logo.outlinedIcon(QGuiApplication::palette().color(QPalette::WindowText)));
}

void StatusBarController::popUpMenu()
{
    const QRect place = item->geometry();
    statusMenu.popup(place.isValid() ? place.bottomLeft() : QCursor::pos());
}

bool StatusBarController::eventFilter(QObject* /*watched*/, QEvent* event)
{
    if (event->type() == QEvent::PaletteChange)
        updateImage();
    if (event->type() != QEvent::KeyPress
        || QKeySequence(static_cast<QKeyEvent*>(event)->keyCombination()) != quitItem->shortcut())
        return false;
    // A menu without a window of its own takes no shortcuts while it is open.
    statusMenu.close();
    quitItem->trigger();
    return true;
}

} // namespace quibel
