#include "ui/CapturePanelView.h"

#include "ui/OneLineValidator.h"
#include "ui/TransitionLabel.h"

#include <QBoxLayout>
#include <QKeyEvent>

#include <limits>
#include <utility>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

constexpr int contentWidth = 460;
constexpr QMargins padding(12, 8, 12, 8);
constexpr int offlineLineHeight = 12;
// QLineEdit keeps this much to either side of its text; the other rows begin at the very edge.
constexpr int fieldInset = 2;

constexpr TextStyle productStyle { .size = 11, .weight = QFont::Medium };
constexpr TextStyle rowStyle { .size = 12 };
constexpr TextStyle nameStyle { .size = 12, .weight = QFont::Medium };
constexpr TextStyle captionStyle { .size = 10 };
constexpr TextStyle titleStyle { .size = 15, .foreground = Foreground::primary };

TransitionLabel* label(const QString& text, const TextStyle& style)
{
    return new TransitionLabel({ .identity = {}, .text = text, .style = style });
}

TransitionLabel::Content nameOf(const std::optional<Project>& project)
{
    const Project shown = project.value_or(Project {});
    return { .identity = shown.id, .text = shown.name, .style = nameStyle };
}

TransitionLabel::Content choice(const QString& text, const QString& identity, bool chosen)
{
    if (chosen) {
        const TextStyle style { .weight = QFont::Medium, .foreground = Foreground::primary };
        return { .identity = identity, .text = text, .style = style };
    }
    return { .identity = identity + u"-inactive"_s, .text = text, .style = rowStyle };
}

TransitionLabel::Content noScreenshotChoice(ScreenshotMode mode)
{
    return choice(u"No screenshot"_s, u"screenshot-off"_s, mode == ScreenshotMode::off);
}

TransitionLabel::Content takeScreenshotChoice(ScreenshotMode mode)
{
    return choice(u"Take screenshot"_s, u"screenshot-on"_s, mode == ScreenshotMode::on);
}

} // namespace

CapturePanelView::CapturePanelView(const CapturePanelState& panelState,
                                   OnSubmit submitted,
                                   OnCancel cancelled)
    : state(panelState)
    , onSubmit(std::move(submitted))
    , onCancel(std::move(cancelled))
    , projectName(new TransitionLabel(nameOf(state.selectedProject())))
    , projectHint(label(u"↑↓"_s, captionStyle))
    , offlineLine(label(u"Offline — not syncing"_s, captionStyle))
    , noScreenshot(new TransitionLabel(noScreenshotChoice(state.screenshotMode())))
    , takeScreenshot(new TransitionLabel(takeScreenshotChoice(state.screenshotMode())))
    , text(new QLineEdit)
{
    QSizePolicy keepingItsPlace = offlineLine->sizePolicy();
    keepingItsPlace.setRetainSizeWhenHidden(true);
    offlineLine->setSizePolicy(keepingItsPlace);
    offlineLine->setFixedHeight(offlineLineHeight);
    prepareTextField();

    auto* rows = new QVBoxLayout(this);
    rows->setContentsMargins(padding);
    rows->setSpacing(3);
    rows->addWidget(label(u"Quibel"_s, productStyle));
    rows->addLayout(projectRow());
    rows->addWidget(offlineLine);
    rows->addLayout(screenshotRow());
    rows->addWidget(text);
    setFixedWidth(contentWidth + padding.left() + padding.right());

    connect(&state, &CapturePanelState::willChange, this, &CapturePanelView::refreshSoon);
    refresh();
}

QBoxLayout* CapturePanelView::projectRow()
{
    auto* row = new QHBoxLayout;
    row->setSpacing(6);
    projectName->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    row->addWidget(label(u"Project:"_s, rowStyle));
    row->addWidget(projectName);
    row->addWidget(projectHint);
    row->addStretch();
    return row;
}

QBoxLayout* CapturePanelView::screenshotRow()
{
    auto* row = new QHBoxLayout;
    row->setSpacing(8);
    row->addWidget(noScreenshot);
    row->addWidget(takeScreenshot);
    row->addWidget(label(u"← / → to change"_s, captionStyle));
    row->addStretch();
    return row;
}

void CapturePanelView::prepareTextField()
{
    const QString question = u"What do you want to branch?"_s;
    text->setPlaceholderText(question);
    text->setAccessibleName(question);
    text->setFrame(false);
    text->setTextMargins(-fieldInset, 0, -fieldInset, 0);
    text->setAttribute(Qt::WA_MacSmallSize);
    text->setFont(titleStyle.font());
    text->setMaxLength(std::numeric_limits<int>::max());
    text->setValidator(new OneLineValidator(text));
    colorTextField();
    connect(text, &QLineEdit::returnPressed, this, &CapturePanelView::submit);
}

void CapturePanelView::colorTextField()
{
    QPalette colors = palette();
    colors.setColor(QPalette::Base, Qt::transparent);
    colors.setColor(QPalette::Text, titleStyle.color(palette()));
    colors.setColor(QPalette::PlaceholderText, captionStyle.color(palette()));
    text->setPalette(colors);
}

void CapturePanelView::cancel() const
{
    onCancel();
}

void CapturePanelView::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        colorTextField();
}

void CapturePanelView::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape)
        cancel();
    else
        QWidget::keyPressEvent(event);
}

void CapturePanelView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    text->setFocus();
}

void CapturePanelView::refreshSoon()
{
    if (!std::exchange(refreshPending, true))
        QMetaObject::invokeMethod(this, &CapturePanelView::refresh, Qt::QueuedConnection);
}

void CapturePanelView::refresh()
{
    refreshPending = false;
    projectName->setContent(nameOf(state.selectedProject()));
    projectHint->setVisible(state.projects().size() >= 2);
    offlineLine->setVisible(state.showSyncWarning());
    noScreenshot->setContent(noScreenshotChoice(state.screenshotMode()));
    takeScreenshot->setContent(takeScreenshotChoice(state.screenshotMode()));
}

void CapturePanelView::submit() const
{
    if (const std::optional<Project> project = state.selectedProject())
        onSubmit(text->text(), *project, state.screenshotMode());
}

} // namespace quibel
