#include "account/APIKeyPanelController.h"

#include "panels/Announcer.h"
#include "panels/LegibleColor.h"
#include "platform/PanelWindows.h"
#include "platform/Screens.h"

#include <QFontInfo>
#include <QPointer>
#include <QVBoxLayout>
#include <QWindow>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

constexpr QSize contentSize { 360, 140 };
constexpr int margin = 16;
constexpr int spacing = 8;
constexpr double smallFontScale = 11.0 / 13.0;
constexpr QColor systemRed { 255, 59, 48 };

QString settingsPage(const QUrl& base)
{
    QUrl shown = base.adjusted(QUrl::RemoveUserInfo);
    if (shown.port() == (shown.scheme() == u"https"_s ? 443 : 80))
        shown.setPort(-1);
    return shown.authority() + u"/settings"_s;
}

void makeSmallPrint(QLabel& label, const QColor& color, const QPalette& surroundings)
{
    QFont font;
    font.setPointSizeF(QFontInfo(font).pointSizeF() * smallFontScale);
    label.setFont(font);

    QPalette palette;
    palette.setColor(QPalette::WindowText, legibleColor(color, surroundings));
    label.setPalette(palette);
}

} // namespace

APIKeyPanelController::APIKeyPanelController(ProjectStore& store,
                                             KeychainService& keychainService,
                                             PanelWindows& panelWindows,
                                             Screens& desktopScreens)
    : projectStore(store)
    , keychain(keychainService)
    , windows(panelWindows)
    , screens(desktopScreens)
    , saveButton(u"Save"_s)
{
    keyField.setObjectName(u"keyField"_s);
    hintLabel.setObjectName(u"hintLabel"_s);
    hintLabel.setTextFormat(Qt::PlainText);
    errorLabel.setObjectName(u"errorLabel"_s);
    errorLabel.setTextFormat(Qt::PlainText);
    QSizePolicy keepingItsPlace = errorLabel.sizePolicy();
    keepingItsPlace.setRetainSizeWhenHidden(true);
    errorLabel.setSizePolicy(keepingItsPlace);
    saveButton.setObjectName(u"saveButton"_s);
}

void APIKeyPanelController::show()
{
    if (!panel)
        buildPanel();
    showError({});
    keyField.clear();
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
    if (const std::optional<QUrl> base = projectStore.apiBaseURL())
        hintLabel.setText(u"Generate an API key at "_s + settingsPage(*base));

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
    errorLabel.setMinimumHeight(hintLabel.sizeHint().height());
    panel->setFixedSize(contentSize.expandedTo(panel->sizeHint()));
}

void APIKeyPanelController::showError(const QString& error)
{
    errorLabel.setText(error);
    PanelPart::setShown(errorLabel, !error.isEmpty());
    announcer->announce(error);
}

void APIKeyPanelController::centerPanel()
{
    std::optional<Screen> screen = screens.ofKeyWindow();
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

void APIKeyPanelController::savePressed()
{
    const QString key = keyField.text().trimmed();
    if (key.isEmpty()) {
        showError(u"API key is required."_s);
        return;
    }

    saveButton.setEnabled(false);
    showError({});
    projectStore.requestProjects(
        key, [controller = QPointer(this), key](const ProjectsResult& result) {
            if (!controller)
                return;
            const auto finish = [controller, key, result] { controller->finishCheck(key, result); };
            QMetaObject::invokeMethod(controller, finish, Qt::QueuedConnection);
        });
}

void APIKeyPanelController::finishCheck(const QString& key, const ProjectsResult& result)
{
    if (const auto* error = std::get_if<APIError>(&result)) {
        saveButton.setEnabled(true);
        showError(*error == APIError::unauthorized ? u"Invalid API key."_s
                                                   : u"Unable to connect."_s);
        return;
    }
    keychain.save(key, *this, [this, projects = std::get<ProjectList>(result)](bool isSaved) {
        saveButton.setEnabled(true);
        if (isSaved)
            install(projects);
        else
            showError(u"Unable to save API key."_s);
    });
}

void APIKeyPanelController::install(const ProjectList& projects)
{
    projectStore.applyFetchedProjects(projects);
    projectStore.didAttemptFetch = true;
    projectStore.apiKey([&store = projectStore](const KeyResult& stored) {
        if (const auto* key = std::get_if<QString>(&stored))
            store.fetchProjects(*key);
    });
    panel->orderOut();
}

} // namespace quibel
