#pragma once

#include "account/Project.h"
#include "panels/PanelPart.h"
#include "ui/CapturePanelState.h"
#include "ui/ScreenshotMode.h"

#include <QLineEdit>

#include <functional>

class QBoxLayout;

namespace quibel {

class Announcer;
class ChoiceLabel;
class TransitionLabel;

/// The content of the capture panel: what a branch is about, its project and its screenshot.
///
/// Follows the state that it was made over, in the turn of the event loop after a change. The text
/// starts empty and has the keyboard as soon as the view appears. Assistive tools are told what is
/// chosen then, and what a key changes.
///
/// Thread: main.
class CapturePanelView : public PanelPart
{
    Q_OBJECT

public:
    using OnSubmit
        = std::function<void(const QString& text, const Project& project, ScreenshotMode mode)>;
    using OnCancel = std::function<void()>;

    CapturePanelView(const CapturePanelState& panelState, OnSubmit submitted, OnCancel cancelled);

    /// What Escape does.
    void cancel() const;

    bool eventFilter(QObject* watched, QEvent* event) override;

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
    void refreshProject();
    void refreshScreenshotMode();
    void announceAll();
    void submit() const;

    const CapturePanelState& state;
    OnSubmit onSubmit;
    OnCancel onCancel;

    TransitionLabel* projectName;
    TransitionLabel* projectHint;
    TransitionLabel* offlineLine;
    ChoiceLabel* noScreenshot;
    ChoiceLabel* takeScreenshot;
    QLineEdit* text;
    Announcer* announcer;
    bool refreshPending = false;
};

} // namespace quibel
