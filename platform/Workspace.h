#pragma once

#include <QRectF>
#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace quibel {

using ProcessIdentifier = std::int32_t;
using WindowNumber = std::uint32_t;

/// An application that owns windows, as the desktop knows it.
struct RunningApplication
{
    QString localizedName;    ///< Empty when the desktop has none for it.
    QString bundleIdentifier; ///< Empty when the desktop has none for it.
    std::optional<ProcessIdentifier> processIdentifier;
    WindowNumber keyWindow = 0; ///< The window that activation gives the keyboard to; 0 for none.

    bool operator==(const RunningApplication&) const = default;
};

/// One entry of the on-screen window list. What the window system did not tell is absent.
struct WindowInfo
{
    std::optional<WindowNumber> number;
    std::optional<ProcessIdentifier> ownerProcess;
    std::optional<QString> name;
    std::optional<int> layer;     ///< 0 for ordinary windows; others float above or lie below them.
    std::optional<QRectF> bounds; ///< Points, in the coordinates of `Screen::frame`.

    bool operator==(const WindowInfo&) const = default;
};

enum class ActivationPolicy { regular, accessory };

/// The applications and windows of the desktop session.
///
/// Thread: main.
class Workspace
{
public:
    Workspace() = default;
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;
    virtual ~Workspace() = default;

    /// Decides whether this program is offered in task bars and switchers.
    virtual void setActivationPolicy(ActivationPolicy policy) = 0;

    /// The application that has the keyboard; this program itself while one of its windows has it.
    ///
    /// Errors: none when no window is active or the window system does not answer.
    [[nodiscard]] virtual std::optional<RunningApplication> frontmostApplication() = 0;

    /// Gives the keyboard to `application`, ignoring which application has it now.
    virtual void activate(const RunningApplication& application) = 0;

    /// The windows on screen, front to back, without desktop elements.
    ///
    /// Errors: none when the window system gives no list.
    [[nodiscard]] virtual std::optional<std::vector<WindowInfo>> onScreenWindows() = 0;
};

} // namespace quibel
