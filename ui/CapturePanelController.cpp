#include "ui/CapturePanelController.h"

#include "platform/TracePoint.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPointer>
#include <QWindow>

#include <algorithm>
#include <utility>

namespace quibel {

namespace {

qsizetype startingIndex(const ProjectList& projects, const std::optional<QString>& id)
{
    if (!id)
        return 0;
    const auto found = std::ranges::find(projects, *id, &Project::id);
    return found == projects.end() ? 0 : found - projects.begin();
}

QLineEdit* firstTextField(QWidget& root)
{
    if (auto* field = qobject_cast<QLineEdit*>(&root))
        return field;
    for (auto* child : root.findChildren<QWidget*>(Qt::FindDirectChildrenOnly))
        if (QLineEdit* field = firstTextField(*child))
            return field;
    return nullptr;
}

/// Makes `window` the toolkit's active window without asking the window system.
void makeActive(QWidget& window)
{
    // activateWindow() would ask for a keyboard that the window has already: no event would come.
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    QApplication::setActiveWindow(&window);
    QT_WARNING_POP
}

bool isArrowKey(int key)
{
    return key == Qt::Key_Left || key == Qt::Key_Right || key == Qt::Key_Down || key == Qt::Key_Up;
}

/// Where a panel of `size` has its centre on `point`, or as near to it as `visible` allows.
///
/// A panel that is too wide keeps its right edge in sight, one that is too high its top edge.
QPoint fittingOrigin(QSizeF size, QPointF point, const QRectF& visible)
{
    const double x = std::min(std::max(point.x() - size.width() / 2, visible.left()),
                              visible.right() - size.width());
    const double y = std::max(
        std::min(point.y() - size.height() / 2, visible.bottom() - size.height()), visible.top());
    return QPointF(x, y).toPoint();
}

} // namespace

CapturePanelController::CapturePanelController(PanelWindows& windows, Screens& desktopScreens)
    : panelWindows(windows)
    , screens(desktopScreens)
{
    connect(&windows,
            &PanelWindows::translucencyChanged,
            this,
            &CapturePanelController::followTranslucency);
}

void CapturePanelController::prepare()
{
    static_cast<void>(existingPanel());
    const CapturePanelState nothing({}, 0, true, ScreenshotMode::off);
    CapturePanelView rehearsal(nothing, {}, {});
    rehearsal.grab();
}

void CapturePanelController::show(ShowRequest request)
{
    CapturePanel& window = existingPanel();
    onScreenshotModeChanged = std::move(request.onScreenshotModeChanged);
    fillState(request);
    auto cancel = [controller = QPointer(this), onCancel = std::move(request.onCancel)] {
        if (controller)
            controller->close();
        onCancel();
    };
    auto view = std::make_unique<CapturePanelView>(
        *state, std::move(request.onSubmit), std::move(cancel));
    CapturePanelView& root = *view;
    window.setContentView(std::move(view));
    tracePoint("view");
    positionPanel();
    panelWindows.setFrame(*window.windowHandle(), window.frame());
    panelWindows.makeKeyAndOrderFront(*window.windowHandle());
    installKeyMonitor();
    const auto focus = [this, &root] { focusTextField(root); };
    QMetaObject::invokeMethod(&root, focus, Qt::QueuedConnection);
}

void CapturePanelController::focusTextField(QWidget& root)
{
    // When the panel is shown again before the window system has told of its loss of the keyboard,
    // hiding has made it inactive and no event makes it active again.
    if (QGuiApplication::focusWindow() == panel->windowHandle())
        makeActive(*panel);
    if (QLineEdit* field = firstTextField(root))
        field->setFocus();
}

void CapturePanelController::setSyncWarning(bool shown)
{
    if (state)
        state->setShowSyncWarning(shown);
}

void CapturePanelController::close()
{
    if (panel)
        panelWindows.orderOut(*panel->windowHandle());
    if (std::exchange(eventMonitor, false))
        QCoreApplication::instance()->removeEventFilter(this);
}

CapturePanel& CapturePanelController::existingPanel()
{
    if (!panel) {
        panel = std::make_unique<CapturePanel>();
        panel->setFloating(panelWindows.areTranslucent());
        panelWindows.prepare(*panel->windowHandle(), PanelKind::capture);
    }
    return *panel;
}

void CapturePanelController::fillState(ShowRequest& request)
{
    const qsizetype index = startingIndex(request.projects, request.preferredProjectID);
    if (!state) {
        state = std::make_unique<CapturePanelState>(
            std::move(request.projects), index, request.showSyncWarning, request.screenshotMode);
        return;
    }
    state->setProjects(std::move(request.projects));
    state->setSelectedIndex(index);
    state->setShowSyncWarning(request.showSyncWarning);
    state->setScreenshotMode(request.screenshotMode);
}

void CapturePanelController::positionPanel()
{
    const QPoint pointer = screens.pointerLocation();
    std::optional<Screen> screen = screenAt(pointer, screens.all());
    if (!screen)
        screen = screens.main();
    if (!screen)
        return;
    const QRectF visible = screen->visibleFrame;
    const QPointF point = screen->frame.contains(pointer) ? pointer : visible.center();
    placeFrame(fittingOrigin(panel->frame().size(), point, visible));
}

void CapturePanelController::placeFrame(QPoint origin)
{
    const QSize size = panel->size();
    panelWindows.place(*panel->windowHandle(), origin - panel->frame().topLeft());
    // Qt 6.8 tells a window its widget's size only when it is shown; a window that changes its
    // screen before gives the widget its own former size back.
    panel->resize(size);
}

void CapturePanelController::followTranslucency()
{
    if (!panel)
        return;
    const QPoint origin = panel->windowHandle()->position() + panel->frame().topLeft();
    panel->setFloating(panelWindows.areTranslucent());
    placeFrame(origin);
    panelWindows.setFrame(*panel->windowHandle(), panel->frame());
}

void CapturePanelController::installKeyMonitor()
{
    if (!std::exchange(eventMonitor, true))
        QCoreApplication::instance()->installEventFilter(this);
}

bool CapturePanelController::eventFilter(QObject* /*watched*/, QEvent* event)
{
    const bool press = event->type() == QEvent::KeyPress;
    if (!press && event->type() != QEvent::ShortcutOverride)
        return false;
    const int key = static_cast<QKeyEvent*>(event)->key();
    // An open menu has the keyboard to itself.
    if (!isArrowKey(key) || QApplication::activePopupWidget())
        return false;
    event->accept();
    if (press)
        handleArrowKey(key);
    return true;
}

void CapturePanelController::handleArrowKey(int key)
{
    if (key == Qt::Key_Left)
        chooseScreenshotMode(ScreenshotMode::off);
    else if (key == Qt::Key_Right)
        chooseScreenshotMode(ScreenshotMode::on);
    else if (key == Qt::Key_Down)
        state->selectNext();
    else
        state->selectPrevious();
}

void CapturePanelController::chooseScreenshotMode(ScreenshotMode mode)
{
    state->setScreenshotMode(mode);
    // The receiver may show the panel anew, which replaces the stored callback.
    if (const auto changed = onScreenshotModeChanged)
        changed(mode);
}

} // namespace quibel
