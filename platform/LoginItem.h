#pragma once

#include <QString>

#include <optional>

namespace quibel {

/// Whether this program is started when the user logs in.
///
/// Thread: any one; needs no display.
class LoginItem
{
public:
    LoginItem() = default;
    LoginItem(const LoginItem&) = delete;
    LoginItem& operator=(const LoginItem&) = delete;
    virtual ~LoginItem() = default;

    [[nodiscard]] virtual bool isOn() const = 0;

    /// Errors: what is in the way, in words for a person; none when it is done.
    [[nodiscard]] virtual std::optional<QString> turnOn() = 0;
    [[nodiscard]] virtual std::optional<QString> turnOff() = 0;
};

} // namespace quibel
