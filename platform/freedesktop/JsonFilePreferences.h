#pragma once

#include "platform/DesktopFacts.h"
#include "platform/Preferences.h"
#include "platform/freedesktop/DurableFile.h"

#include <QJsonObject>
#include <QJsonValue>

#include <map>
#include <optional>

namespace quibel {

/// Preferences in one JSON object in a file that the user may edit, also while the program runs.
///
/// A text is a string, a list of texts an array, bytes are `{"base64": "…"}`; everything else in
/// the file stays as it is. Errors: a file that cannot be read as an object is set aside as
/// `<file>.damaged`, unless told otherwise; a change that cannot be written counts for this run.
/// Standard error tells either once.
class JsonFilePreferences final : public Preferences
{
public:
    /// What becomes of a file that cannot be read as an object.
    enum class Damaged {
        setAside,
        leave, ///< For a look only: the file stays, and only `describe` tells of it.
    };

    explicit JsonFilePreferences(const QString& path, Damaged damagedFile = Damaged::setAside);

    [[nodiscard]] static QString defaultPath();

    [[nodiscard]] PreferencesFacts describe() const;

    [[nodiscard]] std::optional<QString> text(const QString& key) const override;
    [[nodiscard]] std::optional<QStringList> textList(const QString& key) const override;
    [[nodiscard]] std::optional<QByteArray> data(const QString& key) const override;

    void setText(const QString& key, const QString& value) override;
    void setTextList(const QString& key, const QStringList& value) override;
    void setData(const QString& key, const QByteArray& value) override;
    void remove(const QString& key) override;

private:
    [[nodiscard]] QJsonValue value(const QString& key) const;
    void change(const QString& key, const QJsonValue& value);
    void readIfChanged() const;
    void setAside(const QString& why) const;

    std::filesystem::path file;
    Damaged whenDamaged;
    mutable std::optional<QString> reason; ///< Why the file is left unread.
    mutable FileState seen;                ///< Of the file, when `stored` was its content.
    mutable QJsonObject stored;
    std::map<QString, QJsonValue> unwritten; ///< Undefined for removed keys.
    bool failureTold = false;
};

} // namespace quibel
