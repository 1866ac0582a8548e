#pragma once

#include "account/APIKeyPanelController.h"
#include "account/KeychainService.h"
#include "account/LaunchFetch.h"
#include "account/ProjectStore.h"
#include "app/CaptureFlow.h"
#include "platform/Platform.h"
#include "platform/SingleInstance.h"
#include "ui/HotKeyManager.h"
#include "ui/PaletteController.h"
#include "ui/StatusBarController.h"

#include <QKeyCombination>
#include <QObject>

#include <memory>

namespace quibel {

/// Owns every controller for the whole run, builds them in a fixed order at launch, and connects
/// the account to the menu.
///
/// Thread: main.
class AppDelegate : public QObject
{
    Q_OBJECT

public:
    explicit AppDelegate(Platform desktop);

    void applicationDidFinishLaunching();

    /// The menu's "Send Branch": always opens the panel.
    void sendBranch();

    /// What the hot key does: the first time after a failure, sends the kept branch again instead.
    void capture();

    /// The menu's "Connect Account…". Does nothing before launch has finished.
    void connectAccount();

    /// The hot key that works, as portable text; empty if another program has it.
    [[nodiscard]] QString heldHotKey() const;

    /// What another start of the program asks.
    void carryOut(AgentCommand command);

private:
    void fetchProjectsOnce();
    void createStatusBar(QKeyCombination hotKey);
    void installAccountCallbacks();
    void registerHotKey(QKeyCombination hotKey);

    Platform platform;
    PaletteController paletteController;
    ProjectStore projectStore;
    LaunchFetch launchFetch;
    KeychainService keychain;
    CaptureFlow captureFlow;
    std::unique_ptr<StatusBarController> statusBarController;
    std::unique_ptr<APIKeyPanelController> apiKeyPanelController;
    std::unique_ptr<HotKeyManager> hotKeyManager;
};

} // namespace quibel
