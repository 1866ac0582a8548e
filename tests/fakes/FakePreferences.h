#pragma once

#include "platform/Preferences.h"
#include "tests/fakes/Journal.h"

#include <QHash>
#include <QVariant>

namespace quibel {

/// Preferences in memory. Put a value of any type into `values` to have a damaged entry.
class FakePreferences final : public Preferences
{
public:
    [[nodiscard]] std::optional<QString> text(const QString& key) const override
    {
        return valueOf<QString>(key, QMetaType::QString);
    }

    [[nodiscard]] std::optional<QStringList> textList(const QString& key) const override
    {
        return valueOf<QStringList>(key, QMetaType::QStringList);
    }

    [[nodiscard]] std::optional<QByteArray> data(const QString& key) const override
    {
        note(journal, QStringLiteral("read ") + key);
        return valueOf<QByteArray>(key, QMetaType::QByteArray);
    }

    void setText(const QString& key, const QString& value) override { store(key, value); }
    void setTextList(const QString& key, const QStringList& value) override { store(key, value); }
    void setData(const QString& key, const QByteArray& value) override { store(key, value); }

    void remove(const QString& key) override
    {
        values.remove(key);
        changes << QStringLiteral("remove ") + key;
    }

    QHash<QString, QVariant> values;
    QStringList changes; ///< "set <key>" and "remove <key>", in order.
    Journal* journal = nullptr;

private:
    template <typename Value>
    [[nodiscard]] std::optional<Value> valueOf(const QString& key, QMetaType::Type type) const
    {
        const QVariant value = values.value(key);
        return value.typeId() == type ? std::optional(value.value<Value>()) : std::nullopt;
    }

    void store(const QString& key, const QVariant& value)
    {
        values.insert(key, value);
        changes << QStringLiteral("set ") + key;
    }
};

} // namespace quibel
