#include "account/EscapeDismissPanel.h"

#include "platform/PanelWindows.h"

#include <QKeyEvent>
#include <QWindow>

namespace quibel {

EscapeDismissPanel::EscapeDismissPanel(PanelWindows& panelWindows)
    : QWidget(nullptr,
              Qt::Dialog | Qt::WindowTitleHint | Qt::WindowSystemMenuHint
                  | Qt::WindowCloseButtonHint)
    , windows(panelWindows)
{
    setAttribute(Qt::WA_QuitOnClose, false);
    create();
    windows.prepare(*windowHandle(), PanelKind::dialog);
}

void EscapeDismissPanel::orderOut()
{
    windows.orderOut(*windowHandle());
}

void EscapeDismissPanel::keyPressEvent(QKeyEvent* event)
{
    if (event->matches(QKeySequence::Cancel))
        orderOut();
    else
        QWidget::keyPressEvent(event);
}

} // namespace quibel
