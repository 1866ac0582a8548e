#pragma once

#include <QtGlobal>

#include <functional>

namespace quibel {

/// Something that is asked of the Secret Service, call by call, while the context is iterated.
class SecretTask
{
    Q_DISABLE_COPY_MOVE(SecretTask)

public:
    SecretTask() = default;
    virtual ~SecretTask() = default;

    [[nodiscard]] bool hasEnded() const { return ended; }

    /// Called once it has ended, from within the context.
    std::function<void()> onEnd;

protected:
    void end()
    {
        ended = true;
        if (onEnd)
            onEnd();
    }

private:
    bool ended = false;
};

} // namespace quibel
