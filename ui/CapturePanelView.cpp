#include "ui/CapturePanelView.h"

#include "panels/Announcer.h"
#include "ui/ChoiceLabel.h"
#include "ui/OneLineValidator.h"

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

bool isOff(const CapturePanelState& state)
{
    return state.screenshotMode() == ScreenshotMode::off;
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
    , noScreenshot(new ChoiceLabel(u"No screenshot"_s, u"screenshot-off"_s, isOff(state)))
    , takeScreenshot(new ChoiceLabel(u"Take screenshot"_s, u"screenshot-on"_s, !isOff(state)))
    , text(new QLineEdit)
    , announcer(new Announcer(this))
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
    // Mirrored once more where the session is mirrored: what the left key chooses is on the left.
    auto* row = new QBoxLayout(isRightToLeft() ? QBoxLayout::RightToLeft : QBoxLayout::LeftToRight);
    row->setAlignment(Qt::AlignLeading);
    row->setSpacing(8);
    row->addWidget(noScreenshot);
    row->addWidget(takeScreenshot);
    row->addWidget(label(u"← / → to change"_s, captionStyle));
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
    text->installEventFilter(this);
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

bool CapturePanelView::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == text && event->type() == QEvent::FocusIn) {
        // Behind the news of the focus itself, which would cut this short.
        QMetaObject::invokeMethod(this, &CapturePanelView::announceAll, Qt::QueuedConnection);
    }
    return QWidget::eventFilter(watched, event);
}

void CapturePanelView::refreshSoon()
{
    if (!std::exchange(refreshPending, true))
        QMetaObject::invokeMethod(this, &CapturePanelView::refresh, Qt::QueuedConnection);
}

void CapturePanelView::refresh()
{
    refreshPending = false;
    refreshProject();
    setShown(*projectHint, state.projects().size() >= 2);
    setShown(*offlineLine, state.showSyncWarning());
    refreshScreenshotMode();
}

void CapturePanelView::refreshProject()
{
    const TransitionLabel::Content project = nameOf(state.selectedProject());
    const bool isAnother = project.identity != projectName->content().identity;
    projectName->setContent(project);
    if (isAnother)
        announcer->announce(project.text);
}

void CapturePanelView::refreshScreenshotMode()
{
    if (noScreenshot->isChosen() == isOff(state))
        return;
    noScreenshot->setChosen(isOff(state));
    takeScreenshot->setChosen(!isOff(state));
    announcer->announce((isOff(state) ? noScreenshot : takeScreenshot)->text());
}

void CapturePanelView::announceAll()
{
    QStringList facts;
    if (const std::optional<Project> project = state.selectedProject())
        facts << project->name;
    facts << (noScreenshot->isChosen() ? noScreenshot : takeScreenshot)->text();
    if (state.showSyncWarning())
        facts << offlineLine->text();
    announcer->announce(facts.join(u", "_s));
}

void CapturePanelView::submit() const
{
    if (const std::optional<Project> project = state.selectedProject())
        onSubmit(text->text(), *project, state.screenshotMode());
}

} // namespace quibel
