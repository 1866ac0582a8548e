#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>

namespace quibel::inbox {

/// Reads one JSON object field by field and remembers the first thing that is wrong with it.
///
/// A reader can so be written straight through: after a problem the rest reads as empty.
class JsonFields
{
public:
    /// `pathToSource` is empty for the document itself, else ends with a dot; `firstProblem` is
    /// shared by all objects of one document and outlives them.
    JsonFields(QJsonObject source, QString pathToSource, std::optional<QString>& firstProblem);

    [[nodiscard]] QString text(const QString& key);
    [[nodiscard]] std::optional<QString> optionalText(const QString& key);
    [[nodiscard]] QString oneOf(const QString& key, const QStringList& values);
    void nullOr(const QString& key, const QString& value);
    void null(const QString& key);

    /// Whether the object has this field; a field that need not be there is asked for first.
    [[nodiscard]] bool has(const QString& key);
    [[nodiscard]] bool flag(const QString& key);
    /// What a person calls a thing: one line of 1 to 100 characters, without blanks around it.
    [[nodiscard]] QString name(const QString& key);
    /// A whole number that counts from 0.
    [[nodiscard]] qint64 place(const QString& key);

    /// A whole number of at least 1, or null.
    [[nodiscard]] std::optional<qint64> optionalCount(const QString& key);

    /// A time in UTC with seconds, as in 2026-11-15T22:24:38Z; returned as it stands.
    [[nodiscard]] QString utcTime(const QString& key);

    /// Bytes in standard Base64 with padding and without line breaks.
    [[nodiscard]] QByteArray base64(const QString& key);

    [[nodiscard]] JsonFields object(const QString& key);

    /// Ends the reading: a field that nobody asked for is a problem.
    void nothingElse();

private:
    QJsonValue take(const QString& key);
    void require(bool holds, const QString& key, const QString& rule);

    QJsonObject fields;
    QString path;
    std::optional<QString>& problem;
    QStringList known;
};

} // namespace quibel::inbox
