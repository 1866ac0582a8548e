#pragma once

#include "account/APIKeyField.h"
#include "account/EscapeDismissPanel.h"
#include "account/ProjectStore.h"

#include <QLabel>
#include <QPushButton>

#include <memory>
#include <optional>

namespace quibel {

class Announcer;
class PanelWindows;
class Screens;
class Workspace;
struct Screen;

/// Lets the user paste the API key of their account and keeps it once the service accepted it.
///
/// Thread: main.
class APIKeyPanelController final : public QObject
{
    Q_OBJECT

public:
    /// `keychain` has the same identity as the store's own.
    APIKeyPanelController(ProjectStore& store,
                          KeychainService& keychain,
                          PanelWindows& panelWindows,
                          Workspace& workspace,
                          Screens& screens);

    /// Presents the panel, emptied, in the middle of the screen of the window that has the
    /// keyboard, else of the pointer's screen.
    ///
    /// An accepted key that still waits for the key ring is saved when the ring is unlocked, unless
    /// the user tries another key first; the panel shown anew does not wait for it.
    void show();

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildPanel();
    void adoptAppearance();
    void showError(const QString& error);
    void centerPanel();
    [[nodiscard]] std::optional<Screen> screenOfKeyWindow();
    void savePressed();
    void finishCheck(const SecretText& key, const ProjectsResult& result);
    void finishSaving(bool isSaved, const ProjectList& projects, int showing);
    void install(const ProjectList& projects);
    void hide();

    ProjectStore& projectStore;
    KeychainService& keychain;
    PanelWindows& windows;
    Workspace& workspace;
    Screens& screens;
    std::unique_ptr<EscapeDismissPanel> panel;
    APIKeyField keyField;
    QLabel hintLabel;
    QLabel errorLabel;
    Announcer* announcer = nullptr; ///< A part of the panel.
    QPushButton saveButton;
    std::unique_ptr<QObject> saving; ///< While the key ring may be asking the user.
    int showings = 0;
};

} // namespace quibel
