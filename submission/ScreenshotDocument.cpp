#include "submission/ScreenshotDocument.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

template <typename Value>
QJsonValue valueOrNull(const std::optional<Value>& value)
{
    return value ? QJsonValue(*value) : QJsonValue();
}

QJsonObject metadataObject(const ScreenshotMetadata& metadata, const QString& branchID)
{
    return {
        { u"source"_s, metadata.source },
        { u"capture_type"_s, metadata.captureType },
        { u"captured_at"_s, metadata.capturedAt },
        { u"app_name"_s, valueOrNull(metadata.appName) },
        { u"bundle_id"_s, valueOrNull(metadata.bundleID) },
        { u"window_title"_s, valueOrNull(metadata.windowTitle) },
        { u"image"_s,
          QJsonObject { { u"format"_s, valueOrNull(metadata.imageFormat) },
                        { u"width"_s, valueOrNull(metadata.imageWidth) },
                        { u"height"_s, valueOrNull(metadata.imageHeight) },
                        { u"byte_size"_s, valueOrNull(metadata.byteSize) } } },
        { u"branch"_s,
          QJsonObject { { u"branch_id"_s, branchID },
                        { u"project"_s, valueOrNull(metadata.projectName) } } },
    };
}

} // namespace

std::optional<HttpBody> buildScreenshotDocument(const ScreenshotCapture& screenshot,
                                                const QString& branchID)
{
    const ScreenshotMetadata& metadata = screenshot.metadata;
    const auto texts = { metadata.appName.value_or(QString()),
                         metadata.bundleID.value_or(QString()),
                         metadata.windowTitle.value_or(QString()),
                         metadata.projectName.value_or(QString()),
                         branchID };
    if (!std::ranges::all_of(texts, &QString::isValidUtf16))
        return std::nullopt;

    // Base64 needs no escapes, so the picture can stand in the text as it is.
    HttpBody document(R"({"image_base64":")"_ba);
    document.appendAsBase64(screenshot.data);
    document.append(
        R"(","metadata":)"
        + QJsonDocument(metadataObject(metadata, branchID)).toJson(QJsonDocument::Compact) + '}');
    return document;
}

} // namespace quibel
