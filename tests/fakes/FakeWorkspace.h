#pragma once

#include "platform/Workspace.h"
#include "tests/fakes/Journal.h"

namespace quibel {

/// A session whose applications and windows the test sets.
class FakeWorkspace final : public Workspace
{
public:
    void setActivationPolicy(ActivationPolicy wanted) override
    {
        note(journal, QStringLiteral("setActivationPolicy"));
        policy = wanted;
    }

    [[nodiscard]] std::optional<RunningApplication> frontmostApplication() override
    {
        ++frontmostAsked;
        return frontmost;
    }

    void activate(const RunningApplication& application) override
    {
        activated.push_back(application);
        frontmost = application;
    }

    [[nodiscard]] std::optional<std::vector<WindowInfo>> onScreenWindows() override
    {
        return windows;
    }

    std::optional<RunningApplication> frontmost;
    int frontmostAsked = 0;
    std::optional<std::vector<WindowInfo>> windows = std::vector<WindowInfo> {};
    std::optional<ActivationPolicy> policy;
    std::vector<RunningApplication> activated; ///< In order.
    Journal* journal = nullptr;
};

} // namespace quibel
