#include "submission/CaptureReport.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

const QString tag = u"[Quibel] "_s;

QString rule()
{
    return { 32, QChar(0x2500) };
}

QString textOrNull(const std::optional<QString>& text)
{
    return text.value_or(u"null"_s);
}

template <typename Integer>
QString numberOrNull(const std::optional<Integer>& number)
{
    return number ? QString::number(*number) : u"null"_s;
}

QString dimensions(const ScreenshotMetadata& metadata)
{
    if (!metadata.imageWidth || !metadata.imageHeight)
        return u"null"_s;
    return u"%1 x %2"_s.arg(*metadata.imageWidth).arg(*metadata.imageHeight);
}

/// What was looked at, and when.
QStringList subject(const ScreenshotMetadata& metadata)
{
    return { u"capture_type : "_s + metadata.captureType,
             u"source       : "_s + metadata.source,
             u"captured_at  : "_s + metadata.capturedAt,
             QString(),
             u"window:"_s,
             u"  app_name   : "_s + textOrNull(metadata.appName),
             u"  bundle_id  : "_s + textOrNull(metadata.bundleID),
             u"  title      : "_s + textOrNull(metadata.windowTitle) };
}

QStringList branch(const ScreenshotMetadata& metadata)
{
    return { QString(),
             u"branch:"_s,
             u"  project    : "_s + textOrNull(metadata.projectName),
             u"  branch_id  : "_s + textOrNull(metadata.branchID) };
}

} // namespace

CaptureReport::CaptureReport(Output out)
    : output(std::move(out))
{
}

void CaptureReport::captured(const ScreenshotMetadata& metadata) const
{
    print((QStringList { tag + u"Screenshot captured"_s, rule() }
           << subject(metadata)
           << QStringList { QString(),
                            u"image:"_s,
                            u"  format     : "_s + textOrNull(metadata.imageFormat),
                            u"  dimensions : "_s + dimensions(metadata),
                            u"  byte_size  : "_s + numberOrNull(metadata.byteSize) }
           << branch(metadata)
           << QStringList { QString(), u"upload:"_s, u"  status     : pending"_s, rule() })
              .join(u'\n'));
}

void CaptureReport::captureFailed(const ScreenshotMetadata& attempt,
                                  const std::optional<QString>& message) const
{
    print((QStringList { tag + u"Screenshot capture failed"_s, rule() }
           << subject(attempt)
           << QStringList { QString(),
                            u"image:"_s,
                            u"  format     : null"_s,
                            u"  dimensions : null"_s,
                            u"  byte_size  : null"_s }
           << branch(attempt)
           << QStringList { QString(),
                            u"upload:"_s,
                            u"  status     : skipped"_s,
                            u"  reason     : capture_failed"_s,
                            u"error:"_s,
                            u"  message    : "_s + textOrNull(message),
                            rule() })
              .join(u'\n'));
}

void CaptureReport::saved(const QString& branchID,
                          const QString& captureType,
                          qint64 byteSize) const
{
    print(tag + u"Screenshot saved"_s);
    print(rule());
    print(u"branch_id    : "_s + branchID);
    print(u"capture_type : "_s + captureType);
    print(u"byte_size    : "_s + QString::number(byteSize));
    print(u"status       : stored"_s);
    print(rule());
}

void CaptureReport::uploadFailed(const QString& branchID,
                                 const QString& captureType,
                                 const QString& reason) const
{
    print(tag + u"Screenshot upload failed"_s);
    print(u"branch_id    : "_s + branchID);
    print(u"capture_type : "_s + captureType);
    print(u"reason       : "_s + reason);
}

void CaptureReport::print(const QString& line) const
{
    output(line.toUtf8() + '\n');
}

} // namespace quibel
