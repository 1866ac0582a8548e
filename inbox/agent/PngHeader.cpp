#include "inbox/agent/PngHeader.h"

#include <QtEndian>

#include <limits>

namespace quibel::inbox {

std::optional<QSize> readPngSize(QByteArrayView bytes)
{
    constexpr QByteArrayView start("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16);
    constexpr qsizetype headerEnd = 8 + 4 + 4 + 13 + 4;
    constexpr auto largest = quint32(std::numeric_limits<qint32>::max());

    if (bytes.size() < headerEnd || !bytes.startsWith(start))
        return {};
    const auto width = qFromBigEndian<quint32>(bytes.sliced(start.size()).data());
    const auto height = qFromBigEndian<quint32>(bytes.sliced(start.size() + 4).data());
    if (width == 0 || height == 0 || width > largest || height > largest)
        return {};
    return QSize(static_cast<int>(width), static_cast<int>(height));
}

} // namespace quibel::inbox
