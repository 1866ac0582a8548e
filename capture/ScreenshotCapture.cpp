#include "capture/ScreenshotCapture.h"

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

std::optional<QString> unlessEmpty(const QString& text)
{
    return text.isEmpty() ? std::nullopt : std::optional(text);
}

} // namespace

ScreenshotMetadata
describeAttempt(const CaptureContext& context, const Project& project, const QDateTime& when)
{
    return { .source = u"desktop"_s,
             .captureType = u"active_window"_s,
             .capturedAt = when.toUTC().toString(Qt::ISODate),
             .appName = unlessEmpty(context.appName),
             .bundleID = unlessEmpty(context.bundleID),
             .windowTitle = unlessEmpty(context.windowTitle.value_or(QString())),
             .imageFormat = {},
             .imageWidth = {},
             .imageHeight = {},
             .byteSize = {},
             .branchID = {},
             .projectName = project.isMock ? std::nullopt : std::optional(project.name) };
}

} // namespace quibel
