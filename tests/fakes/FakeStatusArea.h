#pragma once

#include "platform/StatusArea.h"

namespace quibel {

/// A status area that comes, goes and changes its colour as the test says.
class FakeStatusArea final : public StatusArea
{
public:
    [[nodiscard]] bool isPresent() const override { return present; }
    [[nodiscard]] std::optional<QColor> foreground() const override { return color; }

    void appear()
    {
        present = true;
        Q_EMIT appeared();
    }

    void disappear() { present = false; }

    void setForeground(std::optional<QColor> foreground)
    {
        color = foreground;
        Q_EMIT foregroundChanged();
    }

private:
    bool present = false;
    std::optional<QColor> color;
};

} // namespace quibel
