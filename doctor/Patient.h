#pragma once

#include "platform/DesktopFacts.h"
#include "platform/HotKeyChoice.h"
#include "platform/HotKeyService.h"

#include <QProcessEnvironment>

#include <optional>
#include <vector>

namespace quibel {

class HttpSession;
class Preferences;
class ScreenCapture;
class Screens;
class SecretItems;
class StatusArea;
class Workspace;

/// The desktop that is examined, as far as there is one.
struct Patient
{
    struct Display
    {
        DisplayFacts facts;
        HotKeyChoice hotKey;
        std::vector<HotKeyBinding> hotKeyBindings; ///< Of that key, by programs that tell.
        HotKeyService& hotKeys;
        StatusArea& statusArea;
        Workspace& workspace;
        Screens& screens;
        ScreenCapture& screenCapture;
    };

    std::optional<Display> display;
    SessionBusFacts sessionBus;
    PreferencesFacts preferencesFile;
    Preferences& preferences;
    SecretItems& secretItems;
    HttpSession& session;
    QProcessEnvironment environment;
};

} // namespace quibel
