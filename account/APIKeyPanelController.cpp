#include "account/APIKeyPanelController.h"

#include "panels/Announcer.h"
#include "panels/LegibleColor.h"
#include "platform/PanelWindows.h"
#include "platform/Screens.h"
#include "platform/Workspace.h"

#include <QFontInfo>
#include <QPointer>
#include <QVBoxLayout>
#include <QWindow>

#include <algorithm>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

constexpr QSize contentSize { 360, 140 };
constexpr int margin = 16;
constexpr int spacing = 8;
constexpr double smallFontScale = 11.0 / 13.0;
constexpr QColor systemRed { 255, 59, 48 };

/// Where to get a key; empty for a base URL without a host, of which there is no such page.
QString hintFor(const QUrl& base)
{
    if (base.host().isEmpty())
        return {};
    QUrl shown = base.adjusted(QUrl::RemoveUserInfo);
    if (shown.port() == (shown.scheme() == u"https"_s ? 443 : 80))
        shown.setPort(-1);
    return u"Generate an API key at %1/settings"_s.arg(shown.authority());
}

void makeSmallPrint(QLabel& label, const QColor& color, const QPalette& surroundings)
{
    QFont font;
    font.setPointSizeF(QFontInfo(font).pointSizeF() * smallFontScale);
    label.setFont(font);

    QPalette palette;
    palette.setColor(QPalette::WindowText, legibleColor(color, surroundings));
    label.setPalette(palette);
    label.setMinimumHeight(label.fontMetrics().size(Qt::TextSingleLine, u"x"_s).height());
}

void prepareLine(QLabel& label, const QString& name)
{
    label.setObjectName(name);
    label.setTextFormat(Qt::PlainText);
    QSizePolicy keepingItsPlace = label.sizePolicy();
    keepingItsPlace.setRetainSizeWhenHidden(true);
    label.setSizePolicy(keepingItsPlace);
}

void showLine(QLabel& label, const QString& text)
{
    label.setText(text);
    PanelPart::setShown(label, !text.isEmpty());
}

} // namespace

APIKeyPanelController::APIKeyPanelController(ProjectStore& store,
                                             KeychainService& keychainService,
                                             PanelWindows& panelWindows,
                                             Workspace& desktopWorkspace,
                                             Screens& desktopScreens)
    : projectStore(store)
    , keychain(keychainService)
    , windows(panelWindows)
    , workspace(desktopWorkspace)
    , screens(desktopScreens)
    , saveButton(u"Save"_s)
{
    keyField.setObjectName(u"keyField"_s);
    prepareLine(hintLabel, u"hintLabel"_s);
    prepareLine(errorLabel, u"errorLabel"_s);
    saveButton.setObjectName(u"saveButton"_s);
}

void APIKeyPanelController::show()
{
    if (!panel)
        buildPanel();
    ++showings;
    if (saving)
        saveButton.setEnabled(true);
    showError({});
    keyField.clear();
    showLine(hintLabel, hintFor(projectStore.apiBaseURL().value_or(QUrl())));
    adoptAppearance();
    centerPanel();
    windows.makeKeyAndOrderFront(*panel->windowHandle());
    keyField.setFocus();
}

void APIKeyPanelController::buildPanel()
{
    panel = std::make_unique<EscapeDismissPanel>(windows);
    panel->installEventFilter(this);
    panel->setWindowTitle(u"Connect Quibel"_s);

    auto* title = new QLabel(u"API Key"_s, panel.get());
    title->setBuddy(&keyField);
    auto* stack = new QVBoxLayout(panel.get());
    stack->setContentsMargins(margin, margin, margin, margin);
    stack->setSpacing(spacing);
    stack->addWidget(title, 0, Qt::AlignLeading);
    stack->addWidget(&keyField);
    stack->addWidget(&hintLabel, 0, Qt::AlignLeading);
    stack->addWidget(&errorLabel, 0, Qt::AlignLeading);
    stack->addWidget(&saveButton, 0, Qt::AlignLeading);
    announcer = new Announcer(panel.get());

    connect(&saveButton, &QPushButton::clicked, this, &APIKeyPanelController::savePressed);
    connect(&keyField, &QLineEdit::returnPressed, &saveButton, &QPushButton::click);
}

bool APIKeyPanelController::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == panel.get() && event->type() == QEvent::PaletteChange)
        adoptAppearance();
    return QObject::eventFilter(watched, event);
}

void APIKeyPanelController::adoptAppearance()
{
    const QPalette palette = panel->palette();
    makeSmallPrint(hintLabel, palette.color(QPalette::PlaceholderText), palette);
    makeSmallPrint(errorLabel, systemRed, palette);
    QPalette fieldColors;
    fieldColors.setColor(QPalette::PlaceholderText,
                         legibleFieldColor(palette.color(QPalette::PlaceholderText), palette));
    keyField.setPalette(fieldColors);
    panel->setFixedSize(contentSize.expandedTo(panel->sizeHint()));
}

void APIKeyPanelController::showError(const QString& error)
{
    showLine(errorLabel, error);
    announcer->announce(error);
}

void APIKeyPanelController::centerPanel()
{
    std::optional<Screen> screen = screenOfKeyWindow();
    if (!screen)
        screen = screenAt(screens.pointerLocation(), screens.all());
    if (!screen)
        screen = screens.main();
    if (!screen)
        return;

    // Not with the frame: only from the first showing on does the toolkit know how wide it is, and
    // the panel would move from one showing to the next.
    const QSize free = screen->visibleFrame.size() - panel->size();
    windows.place(*panel->windowHandle(),
                  screen->visibleFrame.topLeft() + QPoint(free.width() / 2, free.height() / 2));
}

std::optional<Screen> APIKeyPanelController::screenOfKeyWindow()
{
    const auto frontmost = workspace.frontmostApplication();
    const auto windowList = workspace.onScreenWindows();
    if (!frontmost || !windowList)
        return std::nullopt;
    const std::optional<WindowNumber> number = frontmost->keyWindow;
    const auto keyWindow = std::ranges::find(*windowList, number, &WindowInfo::number);
    if (keyWindow == windowList->end() || !keyWindow->bounds)
        return std::nullopt;
    return screenAt(keyWindow->bounds->center().toPoint(), screens.all());
}

void APIKeyPanelController::savePressed()
{
    const SecretText key(keyField.text().trimmed());
    if (key->isEmpty()) {
        showError(u"API key is required."_s);
        return;
    }

    saving.reset();
    saveButton.setEnabled(false);
    showError({});
    projectStore.requestProjects(
        key, [controller = QPointer(this), key](const ProjectsResult& result) {
            if (!controller)
                return;
            QMetaObject::invokeMethod(
                controller,
                [controller, key, result] { controller->finishCheck(key, result); },
                Qt::QueuedConnection);
        });
}

void APIKeyPanelController::finishCheck(const SecretText& key, const ProjectsResult& result)
{
    if (const auto* error = std::get_if<APIError>(&result)) {
        saveButton.setEnabled(true);
        showError(*error == APIError::unauthorized ? u"Invalid API key."_s
                                                   : u"Unable to connect."_s);
        return;
    }
    saving = std::make_unique<QObject>();
    const auto finish = [this, projects = std::get<ProjectList>(result), showing = showings](
                            bool isSaved) { finishSaving(isSaved, projects, showing); };
    keychain.save(key, *saving, finish);
}

void APIKeyPanelController::finishSaving(bool isSaved, const ProjectList& projects, int showing)
{
    saving.reset();
    if (isSaved)
        install(projects);
    if (showing != showings)
        return;
    saveButton.setEnabled(true);
    if (isSaved)
        hide();
    else
        showError(u"Unable to save API key."_s);
}

void APIKeyPanelController::install(const ProjectList& projects)
{
    projectStore.abandonFetches();
    projectStore.applyFetchedProjects(projects);
    projectStore.didAttemptFetch = true;
    projectStore.apiKey([&store = projectStore](const KeyResult& stored) {
        if (const auto* key = std::get_if<SecretText>(&stored))
            store.fetchProjects(*key);
    });
}

void APIKeyPanelController::hide()
{
    const SecretText typed(keyField.text()); // To be overwritten, once it is here alone.
    keyField.setText({});
    panel->orderOut();
}

} // namespace quibel
