#include "inbox/storage/StoredValues.h"

#include <QRandomGenerator>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

QString newIdentifier()
{
    return u"%1"_s.arg(QRandomGenerator::system()->generate64(), 16, 16, QChar(u'0'));
}

QString storedTime(const QDateTime& time)
{
    return time.toUTC().toString(Qt::ISODateWithMs);
}

QString storedNow()
{
    return storedTime(QDateTime::currentDateTimeUtc());
}

QVariant presentText(const QString& text)
{
    return text.isNull() ? u""_s : text;
}

QVariant nullableText(const std::optional<QString>& text)
{
    return text ? presentText(*text) : QVariant(QMetaType::fromType<QString>());
}

std::optional<QString> optionalText(const QVariant& value)
{
    return value.isNull() ? std::nullopt : std::optional(value.toString());
}

} // namespace quibel::inbox
