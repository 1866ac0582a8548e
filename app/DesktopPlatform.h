#pragma once

#include "platform/LoginItem.h"
#include "platform/Platform.h"
#include "platform/SingleInstance.h"

#include <memory>

namespace quibel {

/// The adapters that answer on this desktop.
///
/// Thread: main; after the application object is made, and gone before it.
class DesktopPlatform
{
public:
    /// Before the application object is made, and whether or not there is a window system.
    [[nodiscard]] static std::unique_ptr<SingleInstance> singleInstance();
    [[nodiscard]] static std::unique_ptr<LoginItem> loginItem();

    /// Before the application object is made: has the toolkit use the window system whose adapters
    /// there are.
    static void preferWindowSystem();
    /// The same, and asks whether that answers. Waits for a server that is silent.
    ///
    /// Errors: false when it does not answer; the toolkit would end the program.
    [[nodiscard]] static bool chooseWindowSystem();

    /// Errors: null when the window system does not answer.
    [[nodiscard]] static std::unique_ptr<DesktopPlatform> connect();

    DesktopPlatform(const DesktopPlatform&) = delete;
    DesktopPlatform& operator=(const DesktopPlatform&) = delete;
    ~DesktopPlatform();

    [[nodiscard]] Platform ports();

private:
    struct Adapters;

    explicit DesktopPlatform(std::unique_ptr<Adapters> made);

    std::unique_ptr<Adapters> adapters;
};

} // namespace quibel
