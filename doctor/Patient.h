#pragma once

#include "platform/DesktopFacts.h"

#include <QProcessEnvironment>
#include <QStringList>

#include <optional>

namespace quibel {

class HotKeyService;
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
        QStringList hotKeyBoundBy; ///< The programs whose settings bind the hot key.
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
