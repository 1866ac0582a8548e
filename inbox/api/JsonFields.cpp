#include "inbox/api/JsonFields.h"

#include "inbox/api/Name.h"

#include <QDateTime>
#include <QRegularExpression>

#include <cmath>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

constexpr auto largestNumber = 2147483647;

/// The whole number of at least `smallest` that a field holds.
std::optional<qint64> wholeNumber(const QJsonValue& value, qint64 smallest)
{
    const auto number = value.toDouble(-1);
    if (number < static_cast<double>(smallest) || number > largestNumber
        || std::trunc(number) != number)
        return {};
    return static_cast<qint64>(number);
}

/// Whether a database can keep the text as it is: no NUL, no half of a surrogate pair.
bool isStorable(const QString& text)
{
    return text.isValidUtf16() && !text.contains(QChar::Null);
}

} // namespace

JsonFields::JsonFields(QJsonObject source,
                       QString pathToSource,
                       std::optional<QString>& firstProblem)
    : fields(std::move(source))
    , path(std::move(pathToSource))
    , problem(firstProblem)
{
}

QString JsonFields::text(const QString& key)
{
    const auto value = take(key);
    require(value.isString() && isStorable(value.toString()),
            key,
            u"must be a string of Unicode text without NUL"_s);
    return value.toString();
}

std::optional<QString> JsonFields::optionalText(const QString& key)
{
    const auto value = take(key);
    if (value.isNull())
        return {};
    require(value.isString() && isStorable(value.toString()),
            key,
            u"must be null or a string of Unicode text without NUL"_s);
    return value.toString();
}

QString JsonFields::oneOf(const QString& key, const QStringList& values)
{
    const auto value = take(key);
    require(value.isString() && values.contains(value.toString()),
            key,
            u"must be \"%1\""_s.arg(values.join(u"\" or \""_s)));
    return value.toString();
}

void JsonFields::nullOr(const QString& key, const QString& value)
{
    const auto found = take(key);
    require(found.isNull() || found == value, key, u"must be null or \"%1\""_s.arg(value));
}

void JsonFields::null(const QString& key)
{
    require(take(key).isNull(), key, u"must be null"_s);
}

bool JsonFields::has(const QString& key)
{
    known.append(key);
    return fields.contains(key);
}

bool JsonFields::flag(const QString& key)
{
    const auto value = take(key);
    require(value.isBool(), key, u"must be true or false"_s);
    return value.toBool();
}

QString JsonFields::name(const QString& key)
{
    const auto value = take(key);
    auto name = toName(value.toString());
    require(value.isString() && name, key, u"must be "_s + nameRule);
    return std::move(name).value_or(QString());
}

qint64 JsonFields::place(const QString& key)
{
    const auto number = wholeNumber(take(key), 0);
    require(number.has_value(), key, u"must be a whole number from 0 to 2147483647"_s);
    return number.value_or(0);
}

std::optional<qint64> JsonFields::optionalCount(const QString& key)
{
    const auto value = take(key);
    if (value.isNull())
        return {};
    const auto number = wholeNumber(value, 1);
    require(number.has_value(), key, u"must be null or a whole number from 1 to 2147483647"_s);
    return number;
}

QString JsonFields::utcTime(const QString& key)
{
    static const QRegularExpression form(
        uR"(\A[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z\z)"_s);
    auto time = take(key).toString();
    require(form.match(time).hasMatch() && QDateTime::fromString(time, Qt::ISODate).isValid(),
            key,
            u"must be a time in UTC such as 2026-11-15T22:24:38Z"_s);
    return time;
}

QByteArray JsonFields::base64(const QString& key)
{
    const auto value = take(key);
    const auto encoded = value.toString().toLatin1();
    auto bytes = QByteArray::fromBase64(encoded);
    require(value.isString() && bytes.toBase64() == encoded,
            key,
            u"must be a string in standard Base64 with padding and without line breaks"_s);
    return bytes;
}

JsonFields JsonFields::object(const QString& key)
{
    const auto value = take(key);
    require(value.isObject(), key, u"must be an object"_s);
    return { value.toObject(), path + key + u'.', problem };
}

void JsonFields::nothingElse()
{
    constexpr qsizetype longestName = 64;
    const auto keys = fields.keys();
    for (const auto& key : keys)
        require(known.contains(key),
                key.left(longestName),
                u"is not a field of this document; leave it out"_s);
}

QJsonValue JsonFields::take(const QString& key)
{
    known.append(key);
    auto value = fields.value(key);
    require(!value.isUndefined(), key, u"is missing"_s);
    return value;
}

void JsonFields::require(bool holds, const QString& key, const QString& rule)
{
    if (!holds && !problem)
        problem = path + key + u' ' + rule;
}

} // namespace quibel::inbox
