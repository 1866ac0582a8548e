#include "capture/PngRows.h"

#include <algorithm>
#include <cstdlib>

namespace quibel {

namespace {

constexpr int bytesPerRgb = 3;
constexpr int bytesPerRgba = 4;
/// One row in so many is looked at to tell what kind of image this is.
constexpr int sampling = 16;
// Text compresses best as it is: its shapes recur, which a prediction from the neighbours hides.
// Its mark is that so many of its bytes are those of the pixel to the left; beside a photograph a
// row needs more of them to be better off.
constexpr double textRecurrence = 1.0 / 2;
constexpr double photographRecurrence = 2.0 / 3;
// Areas and lines are foreseen almost wholly, and what little is left of them recurs.
constexpr double areasForeseen = 3.0 / 4;

const QRgb* pixelsOf(const QImage& image, int y)
{
    return reinterpret_cast<const QRgb*>(image.constScanLine(y));
}

bool isOpaque(const QImage& image)
{
    if (!image.hasAlphaChannel())
        return true;
    for (int y = 0; y < image.height(); ++y) {
        const QRgb* pixels = pixelsOf(image, y);
        QRgb all = 0xff000000;
        for (int x = 0; x < image.width(); ++x)
            all &= pixels[x];
        if (qAlpha(all) != 255)
            return false;
    }
    return true;
}

/// Replaces bytes by their distance from the nearest of left, above and above left.
void predictByPaeth(const std::uint8_t* row,
                    const std::uint8_t* above,
                    std::size_t count,
                    std::size_t pixelBytes,
                    std::uint8_t* predicted)
{
    const std::uint8_t* left = row - pixelBytes;
    const std::uint8_t* aboveLeft = above - pixelBytes;
    for (std::size_t i = 0; i < count; ++i) {
        const auto a = static_cast<std::int16_t>(left[i]);
        const auto b = static_cast<std::int16_t>(above[i]);
        const auto c = static_cast<std::int16_t>(aboveLeft[i]);
        const auto byLeft = static_cast<std::int16_t>(std::abs(b - c));
        const auto byAbove = static_cast<std::int16_t>(std::abs(a - c));
        const auto byAboveLeft = static_cast<std::int16_t>(std::abs(a + b - c - c));
        const std::int16_t upper = byAbove <= byAboveLeft ? b : c;
        const std::int16_t nearest = byLeft <= byAbove && byLeft <= byAboveLeft ? a : upper;
        predicted[i] = static_cast<std::uint8_t>(row[i] - nearest);
    }
}

std::size_t countEqual(const std::uint8_t* a, const std::uint8_t* b, std::size_t count)
{
    std::size_t equal = 0;
    for (std::size_t i = 0; i < count; ++i)
        equal += a[i] == b[i] ? 1 : 0;
    return equal;
}

} // namespace

PngRows::PngRows(const QImage& source)
    : image(source)
    , palette(PngPalette::of(source))
{
    const auto width = static_cast<std::size_t>(image.width());
    if (palette) {
        layout = Layout::palette;
        pixelBytes = 1;
        rowBytes = (width * static_cast<std::size_t>(palette->bitDepth()) + 7) / 8;
    } else {
        layout = isOpaque(image) ? Layout::rgb : Layout::rgba;
        pixelBytes = layout == Layout::rgb ? bytesPerRgb : bytesPerRgba;
        rowBytes = width * pixelBytes;
    }
    above.resize(pixelBytes + rowBytes);
    current.resize(pixelBytes + rowBytes);
    filtered.resize(1 + rowBytes);
    photographic = !palette && manyRowsLookPhotographic();
}

std::uint8_t PngRows::bitDepth() const
{
    return static_cast<std::uint8_t>(palette ? palette->bitDepth() : 8);
}

std::uint8_t PngRows::colourType() const
{
    switch (layout) {
    case Layout::palette:
        return 3;
    case Layout::rgb:
        return 2;
    case Layout::rgba:
        break;
    }
    return 6;
}

QByteArray PngRows::paletteChunk() const
{
    QByteArray chunk;
    if (palette)
        for (const QRgb colour : palette->colours()) {
            const QRgb straight = qUnpremultiply(colour);
            chunk.append(static_cast<char>(qRed(straight)));
            chunk.append(static_cast<char>(qGreen(straight)));
            chunk.append(static_cast<char>(qBlue(straight)));
        }
    return chunk;
}

QByteArray PngRows::transparencyChunk() const
{
    const auto isTranslucent = [](QRgb colour) { return qAlpha(colour) != 255; };
    QByteArray chunk;
    if (palette && std::ranges::any_of(palette->colours(), isTranslucent))
        for (const QRgb colour : palette->colours())
            chunk.append(static_cast<char>(qAlpha(colour)));
    return chunk;
}

bool PngRows::manyRowsLookPhotographic()
{
    int looked = 0;
    int found = 0;
    for (int y = 1; y < image.height(); y += sampling, ++looked) {
        readRow(y - 1, above);
        readRow(y, current);
        if (chooseFilter(photographRecurrence) == filterNone)
            continue;
        const auto foreseen = std::count(filtered.begin() + 1, filtered.end(), 0);
        found += static_cast<double>(foreseen) < areasForeseen * static_cast<double>(rowBytes) ? 1
                                                                                               : 0;
    }
    return found * 4 > looked;
}

std::span<const std::uint8_t> PngRows::filteredRow(int y)
{
    std::swap(above, current);
    if (y == 0)
        std::ranges::fill(above, std::uint8_t { 0 });
    readRow(y, current);
    filtered.front() = chooseFilter(photographic ? photographRecurrence : textRecurrence);
    if (filtered.front() == filterNone)
        std::copy(current.begin() + static_cast<std::ptrdiff_t>(pixelBytes),
                  current.end(),
                  filtered.begin() + 1);
    return filtered;
}

void PngRows::readRow(int y, std::vector<std::uint8_t>& row) const
{
    const QRgb* pixels = pixelsOf(image, y);
    const int width = image.width();
    std::uint8_t* bytes = row.data() + pixelBytes;
    switch (layout) {
    case Layout::palette:
        palette->packRow(pixels, width, bytes);
        break;
    case Layout::rgb:
        for (int x = 0; x < width; ++x, bytes += bytesPerRgb) {
            bytes[0] = static_cast<std::uint8_t>(qRed(pixels[x]));
            bytes[1] = static_cast<std::uint8_t>(qGreen(pixels[x]));
            bytes[2] = static_cast<std::uint8_t>(qBlue(pixels[x]));
        }
        break;
    case Layout::rgba:
        for (int x = 0; x < width; ++x, bytes += bytesPerRgba) {
            const QRgb straight = qUnpremultiply(pixels[x]);
            bytes[0] = static_cast<std::uint8_t>(qRed(straight));
            bytes[1] = static_cast<std::uint8_t>(qGreen(straight));
            bytes[2] = static_cast<std::uint8_t>(qBlue(straight));
            bytes[3] = static_cast<std::uint8_t>(qAlpha(straight));
        }
        break;
    }
}

PngRows::Filter PngRows::chooseFilter(double recurrence)
{
    if (palette)
        return filterNone;
    const std::uint8_t* row = current.data() + pixelBytes;
    std::uint8_t* predicted = filtered.data() + 1;
    predictByPaeth(row, above.data() + pixelBytes, rowBytes, pixelBytes, predicted);
    const std::size_t repeated = countEqual(row, current.data(), rowBytes);
    const auto foreseen = static_cast<std::size_t>(std::count(predicted, predicted + rowBytes, 0));
    // Gradients repeat too, but are foreseen much better still.
    const bool recurs = static_cast<double>(repeated) >= recurrence * static_cast<double>(rowBytes)
        && rowBytes - repeated <= 2 * (rowBytes - foreseen);
    return recurs ? filterNone : filterPaeth;
}

} // namespace quibel
