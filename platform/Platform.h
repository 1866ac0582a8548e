#pragma once

#include <QByteArray>
#include <QProcessEnvironment>

#include <functional>

namespace quibel {

class Appearance;
class Connectivity;
class HotKeyService;
class HttpSession;
class PanelWindows;
class Preferences;
class ScreenCapture;
class Screens;
class SecretItems;
class StatusArea;
class Workspace;

/// One desktop: an adapter for every port, and what the process was started with.
struct Platform
{
    Workspace& workspace;
    Screens& screens;
    HotKeyService& hotKeys;
    SecretItems& secretItems;
    ScreenCapture& screenCapture;
    Preferences& preferences;
    HttpSession& session;
    Connectivity& connectivity;
    PanelWindows& panelWindows;
    StatusArea& statusArea;
    Appearance& appearance;
    QProcessEnvironment environment;
    /// Writes one piece of text on standard output, at once.
    std::function<void(const QByteArray&)> standardOutput;
    /// Ends the program after the current turn of the event loop.
    std::function<void()> terminate;
};

} // namespace quibel
