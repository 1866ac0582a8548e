#pragma once

#include <QByteArray>
#include <QImage>

#include <functional>
#include <limits>
#include <variant>

namespace quibel {

/// Why an encoding ended without a PNG.
enum class PngFailure {
    gaveUp,       ///< It was over the size that the caller could use.
    notEncodable, ///< There is no image, or no memory for the compressor.
};

using PngResult = std::variant<QByteArray, PngFailure>;

constexpr qsizetype neverGiveUp = std::numeric_limits<qsizetype>::max();

/// Encodes an image losslessly as PNG. An encoding is given up as soon as it is over `giveUpAbove`;
/// one that comes to its end is the same whatever that figure is.
///
/// Units: `giveUpAbove` counts encoded bytes.
/// Thread: any; takes about 10 to 50 milliseconds for a million pixels.
/// Source: PNG (ISO/IEC 15948).
[[nodiscard]] PngResult encodePng(const QImage& image, qsizetype giveUpAbove = neverGiveUp);

/// `encodePng`, or what stands in for it.
using PngEncoder = std::function<PngResult(const QImage& image, qsizetype giveUpAbove)>;

} // namespace quibel
