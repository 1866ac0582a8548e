#include "capture/PngPalette.h"

namespace quibel {

PngPalette::PngPalette()
{
    indexBySlot.fill(unused);
}

std::optional<PngPalette> PngPalette::of(const QImage& image)
{
    PngPalette palette;
    palette.opaqueBits = image.hasAlphaChannel() ? 0 : 0xff000000;
    for (int y = 0; y < image.height(); ++y)
        if (!palette.addRow(reinterpret_cast<const QRgb*>(image.constScanLine(y)), image.width()))
            return std::nullopt;
    return palette;
}

int PngPalette::bitDepth() const
{
    if (entries.size() <= 2)
        return 1;
    if (entries.size() <= 4)
        return 2;
    return entries.size() <= 16 ? 4 : 8;
}

void PngPalette::packRow(const QRgb* pixels, int width, std::uint8_t* packed) const
{
    const int depth = bitDepth();
    const int perByte = 8 / depth;
    QRgb previous = pixels[0] | opaqueBits;
    auto index = static_cast<unsigned>(indexBySlot[slotOf(previous)]);
    unsigned bits = 0;
    for (int x = 0; x < width; ++x) {
        const QRgb colour = pixels[x] | opaqueBits;
        if (colour != previous) {
            previous = colour;
            index = static_cast<unsigned>(indexBySlot[slotOf(colour)]);
        }
        bits = bits << depth | index;
        if ((x + 1) % perByte == 0)
            *packed++ = static_cast<std::uint8_t>(bits);
    }
    if (const int rest = width % perByte; rest != 0)
        *packed = static_cast<std::uint8_t>(bits << (perByte - rest) * depth);
}

bool PngPalette::addRow(const QRgb* pixels, int width)
{
    QRgb previous = ~(pixels[0] | opaqueBits);
    for (int x = 0; x < width; ++x) {
        const QRgb colour = pixels[x] | opaqueBits;
        if (colour == previous)
            continue;
        previous = colour;
        std::int16_t& index = indexBySlot[slotOf(colour)];
        if (index != unused)
            continue;
        if (entries.size() == capacity)
            return false;
        index = static_cast<std::int16_t>(entries.size());
        entries.push_back(colour);
    }
    return true;
}

std::size_t PngPalette::slotOf(QRgb colour) const
{
    std::size_t slot = (colour * 0x9e3779b1U) >> 22;
    while (indexBySlot[slot] != unused
           && entries[static_cast<std::size_t>(indexBySlot[slot])] != colour)
        slot = (slot + 1) % indexBySlot.size();
    return slot;
}

} // namespace quibel
