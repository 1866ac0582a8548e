#pragma once

#include "capture/PngEncoder.h"

#include <QByteArray>
#include <QImage>
#include <QSize>

#include <optional>

namespace quibel {

/// The largest screenshot that needs no shrinking. Units: encoded bytes.
constexpr qsizetype screenshotLimit = 512'000;

struct EncodedFrame
{
    QByteArray data;
    QSize size; ///< Pixels.

    bool operator==(const EncodedFrame&) const = default;
};

/// Encodes a frame so that it fits an upload: at its full size when that is within
/// `screenshotLimit`, else at the largest of five smaller sizes that is. The smallest is kept even
/// when it does not fit either; an attempt that fails leaves the one before it.
///
/// Errors: none when the frame cannot be encoded at all.
/// Thread: any; takes up to some hundred milliseconds for 33 megapixels.
[[nodiscard]] std::optional<EncodedFrame> encodeFrame(const QImage& frame,
                                                      const PngEncoder& encode = encodePng);

} // namespace quibel
