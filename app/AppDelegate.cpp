#include "app/AppDelegate.h"

#include "platform/Workspace.h"

#include <QPointer>

#include <utility>

using namespace Qt::StringLiterals;

namespace quibel {

AppDelegate::AppDelegate(Platform desktop)
    : platform(std::move(desktop))
    , paletteController(platform.appearance)
    , projectStore({ .defaults = platform.preferences,
                     .secretItems = platform.secretItems,
                     .session = platform.session,
                     .environment = platform.environment,
                     .standardOutput = platform.standardOutput })
    , launchFetch(projectStore)
    , keychain(makeAgentKeychain(platform.secretItems))
    , captureFlow(platform, projectStore, keychain)
{
}

void AppDelegate::applicationDidFinishLaunching()
{
    platform.workspace.setActivationPolicy(ActivationPolicy::accessory);
    captureFlow.createPanel();
    fetchProjectsOnce();
    createStatusBar();
    // The request is already on its way; its answer is applied in a later turn of the event loop,
    // when the callbacks are there.
    installAccountCallbacks();
    apiKeyPanelController = std::make_unique<APIKeyPanelController>(
        projectStore, keychain, platform.panelWindows, platform.screens);
    captureFlow.loadLastFailedCapture();
    registerHotKey();
    captureFlow.preparePanel();
}

void AppDelegate::sendBranch()
{
    captureFlow.beginCapture(CaptureFlow::Trigger::menu);
}

void AppDelegate::capture()
{
    captureFlow.beginCapture(CaptureFlow::Trigger::hotKey);
}

void AppDelegate::connectAccount()
{
    if (apiKeyPanelController)
        apiKeyPanelController->show();
}

bool AppDelegate::holdsHotKey() const
{
    return hotKeyManager && hotKeyManager->isRegistered();
}

void AppDelegate::carryOut(AgentCommand command)
{
    switch (command) {
    case AgentCommand::sendBranch:
        sendBranch();
        break;
    case AgentCommand::capture:
        capture();
        break;
    case AgentCommand::connectAccount:
        connectAccount();
        break;
    case AgentCommand::quit:
        platform.terminate();
        break;
    }
}

void AppDelegate::fetchProjectsOnce()
{
    if (projectStore.didAttemptFetch)
        return;
    projectStore.didAttemptFetch = true;
    launchFetch.start();
}

void AppDelegate::createStatusBar()
{
    const QPointer self(this);
    statusBarController = std::make_unique<StatusBarController>(
        platform.statusArea,
        StatusBarController::Actions { .sendBranch =
                                           [self] {
                                               if (self)
                                                   self->sendBranch();
                                           },
                                       .connectAccount =
                                           [self] {
                                               if (self)
                                                   self->connectAccount();
                                           },
                                       .terminate = platform.terminate });
}

void AppDelegate::installAccountCallbacks()
{
    const QPointer self(this);
    projectStore.onUnauthorized = [self] {
        if (!self)
            return;
        self->statusBarController->setStatusMessage(u"Connection lost — reconnect account"_s);
        self->captureFlow.accountChanged(true);
    };
    projectStore.onAuthorized = [self] {
        if (!self)
            return;
        self->statusBarController->setStatusMessage({});
        self->captureFlow.accountChanged(false);
    };
}

void AppDelegate::registerHotKey()
{
    const QPointer self(this);
    hotKeyManager = std::make_unique<HotKeyManager>(platform.hotKeys, [self] {
        if (self)
            self->capture();
    });
    hotKeyManager->registerHotKey();
}

} // namespace quibel
