#pragma once

#include <QDateTime>
#include <QString>
#include <QVariant>

#include <optional>

namespace quibel::inbox {

/// 64 random bits in hexadecimal digits.
[[nodiscard]] QString newIdentifier();

/// A moment as it is kept: UTC with milliseconds, so that the order of texts is that of time.
[[nodiscard]] QString storedTime(const QDateTime& time);
[[nodiscard]] QString storedNow();

/// A text that is never null: Qt SQL would bind a null QString as NULL.
[[nodiscard]] QVariant presentText(const QString& text);
[[nodiscard]] QVariant nullableText(const std::optional<QString>& text);
[[nodiscard]] std::optional<QString> optionalText(const QVariant& value);

} // namespace quibel::inbox
