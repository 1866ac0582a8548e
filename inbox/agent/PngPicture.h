#pragma once

#include <QByteArrayView>
#include <QSize>

#include <optional>

namespace quibel::inbox {

/// The size of a PNG picture; none when the bytes are not one picture that arrived whole.
///
/// Its pixels stay packed: how large they would become does not matter here.
/// Units: pixels.
/// Source: PNG (ISO/IEC 15948), 5.2 signature, 5.3 chunk layout, 5.6 chunk ordering, 11.2.2 IHDR.
[[nodiscard]] std::optional<QSize> checkPng(QByteArrayView bytes);

} // namespace quibel::inbox
