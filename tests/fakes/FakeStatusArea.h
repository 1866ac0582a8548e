#pragma once

#include "platform/StatusArea.h"
#include "tests/fakes/Journal.h"

namespace quibel {

/// A status area that comes, goes and changes its colour as the test says.
class FakeStatusArea final : public StatusArea
{
public:
    [[nodiscard]] bool isPresent() const override
    {
        note(journal, QStringLiteral("look for the status area"));
        return present;
    }
    void identify(std::function<void(StatusAreaKind)> completion) override
    {
        QMetaObject::invokeMethod(
            this,
            [this, completion = std::move(completion)] {
                if (answers)
                    completion(kind);
            },
            Qt::QueuedConnection);
    }
    [[nodiscard]] std::optional<QColor> foreground() const override { return color; }
    [[nodiscard]] bool colorsThemedIcons() const override
    {
        return kind == StatusAreaKind::statusNotifier;
    }

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

    StatusAreaKind kind = StatusAreaKind::none;
    bool answers = true; ///< Whether it is ever identified.
    Journal* journal = nullptr;

private:
    bool present = false;
    std::optional<QColor> color;
};

} // namespace quibel
