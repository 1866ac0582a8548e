#pragma once

#include <QImage>
#include <QString>

#include <array>

namespace quibel::bench {

/// What windows show: `flat` is areas, lines and a few words; `text` is lines of small letters;
/// `photo` is smooth shapes with the noise of a camera; `noise` cannot be compressed.
inline constexpr std::array contents { "flat", "text", "photo", "noise" };

/// One of `contents`, always the same for a size: 32 bits a pixel, opaque.
///
/// Errors: the process ends for another name.
[[nodiscard]] QImage picture(const QString& content, QSize size);

} // namespace quibel::bench
