#pragma once

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QtEndian>

#include <array>

namespace quibel::inbox::testing {

using namespace Qt::StringLiterals;

/// A branch as the agent sends it.
inline QJsonObject sampleBranch(const QJsonValue& projectID = QJsonValue::Null)
{
    return {
        { u"title"_s, u"Look at the cache"_s },
        { u"summary"_s, u"Captured a branch to revisit: Look at the cache."_s },
        { u"why_forked"_s, u"Later."_s },
        { u"expected_future_value"_s, QJsonValue::Null },
        { u"project_id"_s, projectID },
        { u"context_snapshot"_s,
          QJsonObject {
              { u"source"_s, u"desktop-capture"_s },
              { u"captured_text"_s, u"Look at the cache"_s },
              { u"active_app"_s,
                QJsonObject { { u"name"_s, u"Éditeur"_s }, { u"bundle_id"_s, u"org.editor"_s } } },
              { u"active_window_title"_s, u"notes.txt"_s },
              { u"captured_at"_s, u"2026-11-15T22:24:38Z"_s },
          } },
    };
}

/// The checksum of a PNG chunk (CRC-32 of ISO/IEC 15948, annex D).
inline quint32 pngChecksum(const QByteArray& bytes)
{
    static const auto table = [] {
        std::array<quint32, 256> sums {};
        for (quint32 index = 0; index < 256; ++index) {
            auto sum = index;
            for (int bit = 0; bit < 8; ++bit)
                sum = (sum & 1U) != 0 ? 0xedb88320U ^ (sum >> 1U) : sum >> 1U;
            sums.at(index) = sum;
        }
        return sums;
    }();
    quint32 sum = 0xffffffffU;
    for (const auto byte : bytes)
        sum = table.at((sum ^ static_cast<quint8>(byte)) & 0xffU) ^ (sum >> 8U);
    return ~sum;
}

inline QByteArray bigEndian(quint32 number)
{
    const auto swapped = qToBigEndian(number);
    return { reinterpret_cast<const char*>(&swapped), sizeof swapped };
}

inline QByteArray pngChunk(const QByteArray& type, const QByteArray& data)
{
    return bigEndian(static_cast<quint32>(data.size())) + type + data
        + bigEndian(pngChecksum(type + data));
}

/// A PNG of this size with `filling` bytes in place of its packed pixels, which no service
/// unpacks.
inline QByteArray samplePng(QSize size, qsizetype filling = 10)
{
    const auto side = [](int length) { return bigEndian(static_cast<quint32>(length)); };
    return QByteArray("\x89PNG\r\n\x1a\n", 8)
        + pngChunk("IHDR",
                   side(size.width()) + side(size.height()) + QByteArray("\x08\x06\0\0\0", 5))
        + pngChunk("IDAT", QByteArray(filling, 'x')) + pngChunk("IEND", {});
}

/// A screenshot as the agent sends it, with metadata that fit the picture.
inline QJsonObject sampleScreenshot(const QString& branchID, const QByteArray& picture, QSize size)
{
    const QJsonObject image { { u"format"_s, u"png"_s },
                              { u"width"_s, size.width() },
                              { u"height"_s, size.height() },
                              { u"byte_size"_s, picture.size() } };
    const QJsonObject branch { { u"branch_id"_s, branchID }, { u"project"_s, u"Garden"_s } };
    return {
        { u"image_base64"_s, QString::fromLatin1(picture.toBase64()) },
        { u"metadata"_s,
          QJsonObject {
              { u"source"_s, u"desktop"_s },
              { u"capture_type"_s, u"active_window"_s },
              { u"captured_at"_s, u"2026-11-15T22:24:39Z"_s },
              { u"app_name"_s, u"Éditeur"_s },
              { u"bundle_id"_s, u"org.editor"_s },
              { u"window_title"_s, QJsonValue::Null },
              { u"image"_s, image },
              { u"branch"_s, branch },
          } },
    };
}

/// The object with the field at `path` ("metadata.image.width") set, or removed for Undefined.
inline QJsonObject changed(QJsonObject object, const QString& path, const QJsonValue& value)
{
    const auto dot = path.indexOf(u'.');
    const auto key = path.left(dot);
    if (dot >= 0)
        object.insert(key, changed(object.value(key).toObject(), path.mid(dot + 1), value));
    else if (value.isUndefined())
        object.remove(key);
    else
        object.insert(key, value);
    return object;
}

/// The paths of all fields, objects before what is in them.
inline QStringList allPaths(const QJsonObject& object, const QString& prefix = {})
{
    QStringList paths;
    for (auto field = object.begin(); field != object.end(); ++field) {
        paths.append(prefix + field.key());
        if (field->isObject())
            paths.append(allPaths(field->toObject(), prefix + field.key() + u'.'));
    }
    return paths;
}

inline QByteArray toBytes(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace quibel::inbox::testing
