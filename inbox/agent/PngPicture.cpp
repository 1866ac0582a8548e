#include "inbox/agent/PngPicture.h"

#include <QtEndian>

#include <algorithm>
#include <limits>

#include <zlib.h>

namespace quibel::inbox {

namespace {

constexpr qsizetype headerSize = 13;

/// One part of the file: its kind, what it holds, and all bytes behind it.
struct Chunk
{
    QByteArrayView type;
    QByteArrayView data;
    QByteArrayView rest;
};

quint32 numberAt(QByteArrayView bytes, qsizetype offset)
{
    return qFromBigEndian<quint32>(bytes.data() + offset);
}

bool isLetter(char character)
{
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z');
}

/// The first chunk, if all of it is there, unharmed.
std::optional<Chunk> readChunk(QByteArrayView bytes)
{
    constexpr qsizetype typeSize = 4;
    constexpr qsizetype frameSize = 4 + typeSize + 4;
    if (bytes.size() < frameSize)
        return {};
    const auto size = static_cast<qsizetype>(numberAt(bytes, 0));
    if (size > bytes.size() - frameSize)
        return {};
    const auto checked = bytes.sliced(4, typeSize + size);
    const auto sum = crc32_z(
        0, reinterpret_cast<const Bytef*>(checked.data()), static_cast<z_size_t>(checked.size()));
    if (sum != numberAt(bytes, 4 + checked.size()))
        return {};
    return Chunk { checked.first(typeSize),
                   checked.sliced(typeSize),
                   bytes.sliced(frameSize + size) };
}

std::optional<QSize> readSize(const Chunk& header)
{
    constexpr auto largest = quint32(std::numeric_limits<qint32>::max());
    if (header.type != "IHDR" || header.data.size() != headerSize)
        return {};
    const auto width = numberAt(header.data, 0);
    const auto height = numberAt(header.data, 4);
    if (width == 0 || height == 0 || width > largest || height > largest)
        return {};
    return QSize(static_cast<int>(width), static_cast<int>(height));
}

/// Whether the chunks behind the header hold pixels and go to the end, where nothing follows.
bool isWhole(QByteArrayView bytes)
{
    bool hasPixels = false;
    for (auto chunk = readChunk(bytes); chunk; chunk = readChunk(chunk->rest)) {
        if (chunk->type == "IEND")
            return hasPixels && chunk->data.isEmpty() && chunk->rest.isEmpty();
        if (chunk->type == "IHDR" || !std::all_of(chunk->type.begin(), chunk->type.end(), isLetter))
            return false;
        hasPixels = hasPixels || chunk->type == "IDAT";
    }
    return false;
}

} // namespace

std::optional<QSize> checkPng(QByteArrayView bytes)
{
    constexpr QByteArrayView signature("\x89PNG\r\n\x1a\n", 8);
    if (!bytes.startsWith(signature))
        return {};
    const auto header = readChunk(bytes.sliced(signature.size()));
    if (!header || !isWhole(header->rest))
        return {};
    return readSize(*header);
}

} // namespace quibel::inbox
