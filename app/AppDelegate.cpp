#include "app/AppDelegate.h"

#include "platform/HotKeyChoice.h"
#include "platform/Workspace.h"

#include <QKeySequence>
#include <QPointer>

#include <cstdio>
#include <utility>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

QKeyCombination chosenHotKey(const Platform& platform)
{
    const HotKeyChoice choice = chooseHotKey(platform.preferences, platform.hotKeys);
    if (!choice.refusal.isEmpty())
        std::fprintf(stderr,
                     "quibel-capture-agent: %s; the hot key is %s\n",
                     qUtf8Printable(choice.refusal),
                     qUtf8Printable(hotKeyText(choice.key)));
    return choice.key;
}

} // namespace

AppDelegate::AppDelegate(Platform desktop)
    : platform(std::move(desktop))
    , paletteController(platform.appearance)
    , projectStore({ .defaults = platform.preferences,
                     .secretItems = platform.secretItems,
                     .session = platform.session,
                     .environment = platform.environment,
                     .standardOutput = platform.standardOutput })
    , launchFetch(projectStore, platform.connectivity)
    , keychain(makeAgentKeychain(platform.secretItems))
    , captureFlow(platform, projectStore, keychain)
{
}

void AppDelegate::applicationDidFinishLaunching()
{
    platform.workspace.setActivationPolicy(ActivationPolicy::accessory);
    captureFlow.createPanel();
    fetchProjectsOnce();
    const QKeyCombination hotKey = chosenHotKey(platform);
    createStatusBar(hotKey);
    // The request is already on its way; its answer is applied in a later turn of the event loop,
    // when the callbacks are there.
    installAccountCallbacks();
    apiKeyPanelController = std::make_unique<APIKeyPanelController>(
        projectStore, keychain, platform.panelWindows, platform.workspace, platform.screens);
    captureFlow.loadLastFailedCapture();
    registerHotKey(hotKey);
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

QString AppDelegate::heldHotKey() const
{
    const bool isHeld = hotKeyManager && hotKeyManager->isRegistered();
    return isHeld ? QKeySequence(hotKeyManager->key()).toString() : QString();
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

void AppDelegate::createStatusBar(QKeyCombination hotKey)
{
    const QPointer self(this);
    statusBarController = std::make_unique<StatusBarController>(
        platform.statusArea,
        hotKey,
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

void AppDelegate::registerHotKey(QKeyCombination hotKey)
{
    const QPointer self(this);
    hotKeyManager = std::make_unique<HotKeyManager>(platform.hotKeys, hotKey, [self] {
        if (self)
            self->capture();
    });
    hotKeyManager->registerHotKey();
}

} // namespace quibel
