#pragma once

#include <QByteArray>

#include <cstdint>
#include <cstdlib>

namespace quibel::inbox::testing {

/// Exactly these bytes, in memory of their own, so that a read beyond them is seen.
inline QByteArray toInput(const std::uint8_t* bytes, std::size_t size)
{
    return { reinterpret_cast<const char*>(bytes), static_cast<qsizetype>(size) };
}

/// Tells the fuzzer of an input for which something does not hold.
inline void require(bool holds)
{
    if (!holds)
        std::abort();
}

} // namespace quibel::inbox::testing
