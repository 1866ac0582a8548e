#pragma once

#include <QJsonValue>
#include <QString>

#include <optional>

namespace quibel::inbox {

/// A text, or null where there is none: the field is there in either case.
[[nodiscard]] inline QJsonValue orNull(const std::optional<QString>& text)
{
    return text ? QJsonValue(*text) : QJsonValue(QJsonValue::Null);
}

} // namespace quibel::inbox
