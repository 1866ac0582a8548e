#pragma once

#include "capture/ScreenshotCapture.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>

namespace quibel {

/// Tells the developer who watches standard output what became of each screenshot, in blocks of a
/// fixed layout.
class CaptureReport
{
public:
    /// Takes one piece of output: whole lines, the last one ended too.
    using Output = std::function<void(const QByteArray& text)>;

    explicit CaptureReport(Output output);

    /// A screenshot was taken and encoded.
    void captured(const ScreenshotMetadata& metadata) const;

    /// A screenshot was asked for and could not be taken.
    void captureFailed(const ScreenshotMetadata& attempt,
                       const std::optional<QString>& message) const;

    /// The service has stored a screenshot of `byteSize` bytes.
    void saved(const QString& branchID, const QString& captureType, qint64 byteSize) const;

    /// An upload failed.
    void
    uploadFailed(const QString& branchID, const QString& captureType, const QString& reason) const;

private:
    void print(const QString& line) const;

    Output output;
};

} // namespace quibel
