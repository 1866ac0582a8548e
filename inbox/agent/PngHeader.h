#pragma once

#include <QByteArrayView>
#include <QSize>

#include <optional>

namespace quibel::inbox {

/// The size that a PNG picture states in its header; none when the bytes do not begin as a PNG.
///
/// Units: pixels.
/// Source: PNG (ISO/IEC 15948), 5.2 signature and 11.2.2 IHDR.
[[nodiscard]] std::optional<QSize> readPngSize(QByteArrayView bytes);

} // namespace quibel::inbox
