#include "app/DesktopPlatform.h"
#include "platform/StandardStreams.h"
#include "platform/freedesktop/AutostartEntry.h"
#include "platform/freedesktop/DBusSingleInstance.h"
#include "platform/freedesktop/DesktopEntries.h"
#include "platform/freedesktop/JsonFilePreferences.h"
#include "platform/freedesktop/KeyNames.h"
#include "platform/freedesktop/PortalAppearance.h"
#include "platform/freedesktop/SessionBus.h"
#include "platform/libsecret/LibsecretSecretItems.h"
#include "platform/qt/QtConnectivity.h"
#include "platform/qt/QtHttpSession.h"
#include "platform/x11/XcbHotKeyService.h"
#include "platform/x11/XcbPanelWindows.h"
#include "platform/x11/XcbScreenCapture.h"
#include "platform/x11/XcbScreens.h"
#include "platform/x11/XcbStatusArea.h"
#include "platform/x11/XcbWorkspace.h"

#include <QCoreApplication>

namespace quibel {

namespace {

constexpr std::chrono::seconds busPatience { 1 };

} // namespace

struct DesktopPlatform::Adapters
{
    explicit Adapters(std::unique_ptr<XcbConnection> opened)
        : connection(std::move(opened))
    {
        entries.prepare();
    }

    std::unique_ptr<XcbConnection> connection;
    KeyNames keyNames;
    DesktopEntries entries;
    XcbScreens screens { *connection };
    XcbWorkspace workspace { *connection, screens, entries };
    XcbHotKeyService hotKeys { *connection };
    XcbPanelWindows panelWindows { *connection };
    XcbScreenCapture screenCapture { *connection, screens };
    XcbStatusArea statusArea { *connection };
    PortalAppearance appearance;
    LibsecretSecretItems secretItems;
    JsonFilePreferences preferences { JsonFilePreferences::defaultPath() };
    QtHttpSession session;
    QtConnectivity connectivity;
};

std::unique_ptr<SingleInstance> DesktopPlatform::singleInstance()
{
    if (sessionBusIsSilent(busPatience))
        doWithoutSessionBus();
    return std::make_unique<DBusSingleInstance>();
}

std::unique_ptr<LoginItem> DesktopPlatform::loginItem()
{
    return std::make_unique<AutostartEntry>();
}

void DesktopPlatform::preferWindowSystem()
{
    // In a Wayland session the toolkit would choose Wayland, for which there are no adapters; the X
    // server of such a session serves the applications that use X11.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "xcb");
}

bool DesktopPlatform::chooseWindowSystem()
{
    preferWindowSystem();
    return XcbConnection::serverAnswers();
}

std::unique_ptr<DesktopPlatform> DesktopPlatform::connect()
{
    auto connection = XcbConnection::open();
    if (!connection)
        return nullptr;
    return std::unique_ptr<DesktopPlatform>(
        new DesktopPlatform(std::make_unique<Adapters>(std::move(connection))));
}

DesktopPlatform::DesktopPlatform(std::unique_ptr<Adapters> made)
    : adapters(std::move(made))
{
}

DesktopPlatform::~DesktopPlatform() = default;

Platform DesktopPlatform::ports()
{
    return { .workspace = adapters->workspace,
             .screens = adapters->screens,
             .hotKeys = adapters->hotKeys,
             .secretItems = adapters->secretItems,
             .screenCapture = adapters->screenCapture,
             .preferences = adapters->preferences,
             .session = adapters->session,
             .connectivity = adapters->connectivity,
             .panelWindows = adapters->panelWindows,
             .statusArea = adapters->statusArea,
             .appearance = adapters->appearance,
             .environment = QProcessEnvironment::systemEnvironment(),
             .standardOutput = writeToStandardOutput,
             .terminate = QCoreApplication::quit };
}

} // namespace quibel
