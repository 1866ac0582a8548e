#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

namespace quibel {

/// The user's preferences: one flat table from keys to texts, lists of texts and bytes.
///
/// A value of another type than the one asked for reads as none. A change is on disk when the call
/// that makes it returns.
///
/// Thread: main.
class Preferences
{
public:
    Preferences() = default;
    Preferences(const Preferences&) = delete;
    Preferences& operator=(const Preferences&) = delete;
    virtual ~Preferences() = default;

    [[nodiscard]] virtual std::optional<QString> text(const QString& key) const = 0;
    /// None as well when a single element of the stored list is not a text.
    [[nodiscard]] virtual std::optional<QStringList> textList(const QString& key) const = 0;
    [[nodiscard]] virtual std::optional<QByteArray> data(const QString& key) const = 0;

    virtual void setText(const QString& key, const QString& value) = 0;
    virtual void setTextList(const QString& key, const QStringList& value) = 0;
    virtual void setData(const QString& key, const QByteArray& value) = 0;
    virtual void remove(const QString& key) = 0;
};

} // namespace quibel
