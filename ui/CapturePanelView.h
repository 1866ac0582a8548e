#pragma once

#include "account/Project.h"
#include "ui/CapturePanelState.h"
#include "ui/ScreenshotMode.h"

#include <QLineEdit>
#include <QWidget>

#include <functional>

class QBoxLayout;

namespace quibel {

class TransitionLabel;

/// The content of the capture panel: what a branch is about, its project and its screenshot.
///
/// Follows the state that it was made over, in the turn of the event loop after a change. The text
/// starts empty and has the keyboard as soon as the view appears.
///
/// Thread: main.
class CapturePanelView : public QWidget
{
    Q_OBJECT

public:
    using OnSubmit
        = std::function<void(const QString& text, const Project& project, ScreenshotMode mode)>;
    using OnCancel = std::function<void()>;

    CapturePanelView(const CapturePanelState& panelState, OnSubmit submitted, OnCancel cancelled);

    /// What Escape does.
    void cancel() const;

protected:
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    [[nodiscard]] QBoxLayout* projectRow();
    [[nodiscard]] QBoxLayout* screenshotRow();
    void prepareTextField();
    void colorTextField();

    void refreshSoon();
    void refresh();
    void submit() const;

    const CapturePanelState& state;
    OnSubmit onSubmit;
    OnCancel onCancel;

    TransitionLabel* projectName;
    TransitionLabel* projectHint;
    TransitionLabel* offlineLine;
    TransitionLabel* noScreenshot;
    TransitionLabel* takeScreenshot;
    QLineEdit* text;
    bool refreshPending = false;
};

} // namespace quibel
