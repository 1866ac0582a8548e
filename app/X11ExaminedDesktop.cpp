#include "app/DesktopPlatform.h"
#include "app/ExaminedDesktop.h"
#include "platform/freedesktop/DesktopEntries.h"
#include "platform/freedesktop/JsonFilePreferences.h"
#include "platform/freedesktop/KeyBindingFiles.h"
#include "platform/freedesktop/KeyNames.h"
#include "platform/freedesktop/SessionBus.h"
#include "platform/libsecret/LibsecretSecretItems.h"
#include "platform/qt/QtHttpSession.h"
#include "platform/x11/XcbDisplayFacts.h"
#include "platform/x11/XcbHotKeyService.h"
#include "platform/x11/XcbScreenCapture.h"
#include "platform/x11/XcbScreens.h"
#include "platform/x11/XcbStatusArea.h"
#include "platform/x11/XcbWorkspace.h"

using namespace std::chrono_literals;

namespace quibel {

namespace {

constexpr auto patience = 1500ms;
constexpr auto idleTimeout = 10s; // The diagnosis ends before.

} // namespace

struct ExaminedDesktop::Adapters
{
    KeyNames keyNames;
    LibsecretSecretItems secretItems;
    JsonFilePreferences preferences { JsonFilePreferences::defaultPath(),
                                      JsonFilePreferences::Damaged::leave };
    QtHttpSession session { { .idle = idleTimeout } };
};

struct ExaminedDesktop::DisplayAdapters
{
    explicit DisplayAdapters(std::unique_ptr<XcbConnection> opened)
        : connection(std::move(opened))
    {
    }

    std::unique_ptr<XcbConnection> connection;
    DesktopEntries entries;
    XcbScreens screens { *connection };
    XcbWorkspace workspace { *connection, screens, entries };
    XcbHotKeyService hotKeys { *connection };
    XcbScreenCapture screenCapture { *connection, screens };
    XcbStatusArea statusArea { *connection };
};

ExaminedDesktop::ExaminedDesktop()
    : sessionBus(lookAtSessionBus(patience))
    , displayAnswers(XcbConnection::serverAnswersWithin(patience))
{
    DesktopPlatform::preferWindowSystem();
    if (sessionBus.state != SessionBusFacts::State::answers)
        doWithoutSessionBus();
    // No session is to remember this program, and none that hangs is to hold it up.
    qunsetenv("SESSION_MANAGER");
}

ExaminedDesktop::~ExaminedDesktop() = default;

Patient ExaminedDesktop::patient()
{
    adapters = std::make_unique<Adapters>();
    Patient made { .display = {},
                   .sessionBus = sessionBus,
                   .preferencesFile = adapters->preferences.describe(),
                   .preferences = adapters->preferences,
                   .secretItems = adapters->secretItems,
                   .session = adapters->session,
                   .environment = QProcessEnvironment::systemEnvironment() };
    auto connection = displayAnswers ? XcbConnection::open() : nullptr;
    if (!connection)
        return made;
    displayAdapters = std::make_unique<DisplayAdapters>(std::move(connection));
    const HotKeyChoice hotKey = chooseHotKey(adapters->preferences, displayAdapters->hotKeys);
    made.display.emplace(Patient::Display { .facts = describeDisplay(*displayAdapters->connection),
                                            .hotKey = hotKey,
                                            .hotKeyBindings = bindingsOf(hotKey.key),
                                            .hotKeys = displayAdapters->hotKeys,
                                            .statusArea = displayAdapters->statusArea,
                                            .workspace = displayAdapters->workspace,
                                            .screens = displayAdapters->screens,
                                            .screenCapture = displayAdapters->screenCapture });
    return made;
}

} // namespace quibel
