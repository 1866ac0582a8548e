#include "account/EscapeDismissPanel.h"

#include "platform/PanelWindows.h"

#include <QKeyEvent>
#include <QWindow>

namespace quibel {

EscapeDismissPanel::EscapeDismissPanel(PanelWindows& panelWindows)
    : PanelPart(nullptr,
                Qt::Dialog | Qt::WindowTitleHint | Qt::WindowSystemMenuHint
                    | Qt::WindowCloseButtonHint)
    , windows(panelWindows)
{
    create();
    windowHandle()->installEventFilter(this);
    windows.prepare(*windowHandle(), PanelKind::dialog);
}

void EscapeDismissPanel::orderOut()
{
    windows.orderOut(*windowHandle());
}

bool EscapeDismissPanel::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != windowHandle() || event->type() != QEvent::Close)
        return QWidget::eventFilter(watched, event);
    // Qt would destroy the native window, and with it what was prepared. Refusing the event instead
    // would keep the program from quitting.
    orderOut();
    return true;
}

void EscapeDismissPanel::keyPressEvent(QKeyEvent* event)
{
    if (event->matches(QKeySequence::Cancel))
        orderOut();
    else
        QWidget::keyPressEvent(event);
}

} // namespace quibel
