#pragma once

#include <QString>

#include <variant>

namespace quibel::inbox {

/// Why a password is not taken: it is too short or too long, or the two differ.
struct PasswordProblem
{
    QString reason;
};

/// Asks for a new password: on a terminal twice and without showing it, otherwise the first line
/// of standard input.
///
/// Errors: why there is none, for a person.
[[nodiscard]] std::variant<QString, PasswordProblem> readNewPassword();

} // namespace quibel::inbox
