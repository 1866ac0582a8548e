#pragma once

#include "app/AppDelegate.h"
#include "platform/SingleInstance.h"

#include <optional>

namespace quibel {

/// The application: no main window, one delegate.
// NOLINTNEXTLINE(readability-identifier-naming): the program's name, as everywhere else.
class Quibel_Capture_AgentApp
{
public:
    explicit Quibel_Capture_AgentApp(const Platform& platform)
        : appDelegate(platform)
    {
    }

    /// Runs the program to its end and returns its exit code.
    static int main(int argc, char* argv[]); // NOLINT(modernize-avoid-c-arrays)

private:
    // NOLINTNEXTLINE(modernize-avoid-c-arrays)
    static int runAgent(int argc, char* argv[], std::optional<AgentCommand> command);

    AppDelegate appDelegate;
};

} // namespace quibel
