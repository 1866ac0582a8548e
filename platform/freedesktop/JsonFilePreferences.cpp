#include "platform/freedesktop/JsonFilePreferences.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QStandardPaths>

#include <algorithm>
#include <cstdio>

#include <unistd.h>

namespace quibel {

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

void tell(const fs::path& file, const QString& what)
{
    std::fprintf(stderr, "quibel: preferences %s: %s\n", file.c_str(), qPrintable(what));
}

/// Whether a file can be put in the place of this one, folders that are missing included.
bool canBeReplaced(const fs::path& file)
{
    std::error_code ignored;
    fs::path folder = behindLinks(file).parent_path();
    while (folder.has_relative_path() && !fs::exists(folder, ignored))
        folder = folder.parent_path();
    return fs::is_directory(folder, ignored) && ::access(folder.c_str(), W_OK | X_OK) == 0;
}

bool isText(const QJsonValue& value)
{
    return value.isString();
}

} // namespace

JsonFilePreferences::JsonFilePreferences(const QString& path, Damaged damagedFile)
    : file(QFile::encodeName(path).toStdString())
    , whenDamaged(damagedFile)
{
}

PreferencesFacts JsonFilePreferences::describe() const
{
    readIfChanged();
    return { .path = QFile::decodeName(file.c_str()),
             .exists = seen != FileState(),
             .damage = reason,
             .canBeWritten = canBeReplaced(file) };
}

QString JsonFilePreferences::defaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + u"/quibel/preferences.json"_s;
}

std::optional<QString> JsonFilePreferences::text(const QString& key) const
{
    const QJsonValue found = value(key);
    return isText(found) ? std::optional(found.toString()) : std::nullopt;
}

std::optional<QStringList> JsonFilePreferences::textList(const QString& key) const
{
    const QJsonValue found = value(key);
    const QJsonArray array = found.toArray();
    if (!found.isArray() || !std::ranges::all_of(array, isText))
        return std::nullopt;
    QStringList texts;
    for (const auto& text : array)
        texts.append(text.toString());
    return texts;
}

std::optional<QByteArray> JsonFilePreferences::data(const QString& key) const
{
    const QJsonObject object = value(key).toObject();
    const QJsonValue encoded = object.value(u"base64"_s);
    if (object.size() != 1 || !encoded.isString())
        return std::nullopt;
    const auto bytes = QByteArray::fromBase64Encoding(encoded.toString().toUtf8(),
                                                      QByteArray::AbortOnBase64DecodingErrors);
    return bytes ? std::optional(*bytes) : std::nullopt;
}

void JsonFilePreferences::setText(const QString& key, const QString& value)
{
    change(key, value);
}

void JsonFilePreferences::setTextList(const QString& key, const QStringList& value)
{
    change(key, QJsonArray::fromStringList(value));
}

void JsonFilePreferences::setData(const QString& key, const QByteArray& value)
{
    change(key, QJsonObject { { u"base64"_s, QString::fromLatin1(value.toBase64()) } });
}

void JsonFilePreferences::remove(const QString& key)
{
    change(key, QJsonValue::Undefined);
}

QJsonValue JsonFilePreferences::value(const QString& key) const
{
    readIfChanged();
    const auto found = unwritten.find(key);
    return found != unwritten.end() ? found->second : stored.value(key);
}

void JsonFilePreferences::change(const QString& key, const QJsonValue& value)
{
    readIfChanged();
    if (unwritten.empty() && stored.value(key) == value)
        return;
    unwritten.insert_or_assign(key, value);
    QJsonObject changed = stored;
    for (const auto& [name, wanted] : unwritten)
        changed.insert(name, wanted);

    const auto outcome = replaceDurably(file, QJsonDocument(changed).toJson());
    if (const auto* const error = std::get_if<std::error_code>(&outcome)) {
        if (!failureTold)
            tell(file,
                 u"changes count for this run only, they cannot be written: "_s
                     + QString::fromStdString(error->message()));
        failureTold = true;
        return;
    }
    seen = std::get<FileState>(outcome);
    stored = changed;
    unwritten.clear();
    failureTold = false;
}

void JsonFilePreferences::readIfChanged() const
{
    if (FileState::of(file) == seen)
        return;
    stored = QJsonObject();
    reason.reset();
    QFile opened(file);
    if (!opened.open(QIODevice::ReadOnly)) {
        seen = FileState::of(file);
        if (seen != FileState())
            setAside(opened.errorString());
        return;
    }
    seen = FileState::of(opened.handle());
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(opened.readAll(), &error);
    if (document.isObject())
        stored = document.object();
    else
        setAside(error.error == QJsonParseError::NoError ? u"not an object"_s
                                                         : error.errorString());
}

void JsonFilePreferences::setAside(const QString& why) const
{
    if (whenDamaged == Damaged::leave) {
        reason = why;
        return;
    }
    const fs::path damaged = behindLinks(file);
    fs::path aside = damaged;
    aside += ".damaged";
    std::error_code error;
    for (int number = 1; fs::exists(fs::symlink_status(aside, error)); ++number) {
        aside = damaged;
        aside += ".damaged." + std::to_string(number);
    }
    fs::rename(damaged, aside, error);
    if (error) {
        tell(file, why + u"; it cannot be set aside: "_s + QString::fromStdString(error.message()));
        return;
    }
    seen = FileState();
    tell(file, why + u"; set aside as "_s + QFile::decodeName(aside.c_str()));
}

} // namespace quibel
