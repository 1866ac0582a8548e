#pragma once

#include <QString>

#include <optional>

namespace quibel::inbox {

/// What a person typed as the name of a thing, without the blanks around it: one line of 1 to 100
/// characters. None when it cannot be a name; `nameRule` then says why.
[[nodiscard]] std::optional<QString> toName(const QString& typed);

inline const QString nameRule
    = QStringLiteral("1 to 100 characters without line breaks and other control characters");

} // namespace quibel::inbox
