#include "capture/PngEncoder.h"

#include "capture/PngRows.h"

#include <QtEndian>

#include <optional>

#include <zlib.h>

namespace quibel {

namespace {

constexpr qsizetype headerBytes = 8; ///< Of a chunk: length and name.
constexpr qsizetype growth = 65'536;
constexpr qsizetype dataChunkBytes = 1'048'576; ///< Decoders refuse or warn of chunks of any size.

constexpr int thoroughLevel = 8;
constexpr std::uint8_t paletteColours = 3;

/// Writes chunks one behind the other, each begun, filled by appending, and ended.
class PngFile
{
public:
    PngFile() { bytes.append("\x89PNG\r\n\x1a\n"); }

    void beginChunk(const char* name)
    {
        chunkStart = bytes.size();
        appendNumber(0);
        bytes.append(name);
    }

    void endChunk()
    {
        const qsizetype length = bytes.size() - chunkStart - headerBytes;
        qToBigEndian(static_cast<quint32>(length), bytes.data() + chunkStart);
        const auto* summed = reinterpret_cast<const Bytef*>(bytes.constData() + chunkStart + 4);
        appendNumber(static_cast<quint32>(
            crc32_z(crc32_z(0, nullptr, 0), summed, static_cast<z_size_t>(length + 4))));
    }

    [[nodiscard]] qsizetype chunkBytes() const { return bytes.size() - chunkStart; }

    void appendChunk(const char* name, const QByteArray& content)
    {
        beginChunk(name);
        bytes.append(content);
        endChunk();
    }

    void appendNumber(quint32 number)
    {
        number = qToBigEndian(number);
        bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
    }

    QByteArray bytes;

private:
    qsizetype chunkStart = 0;
};

/// zlib's compressor, appending to a byte array.
class Deflater
{
public:
    Deflater(QByteArray& bytes, int level, int strategy)
        : output(bytes)
        , ready(deflateInit2(&stream, level, Z_DEFLATED, MAX_WBITS, MAX_MEM_LEVEL, strategy)
                == Z_OK)
    {
    }
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;
    ~Deflater() { deflateEnd(&stream); }

    [[nodiscard]] bool isReady() const { return ready; }

    void append(std::span<const std::uint8_t> input) { run(input, Z_NO_FLUSH); }
    void finish() { run({}, Z_FINISH); }

private:
    void run(std::span<const std::uint8_t> input, int flush)
    {
        stream.next_in = const_cast<Bytef*>(input.data());
        stream.avail_in = static_cast<uInt>(input.size());
        do {
            const qsizetype used = output.size();
            output.reserve(used + growth);
            output.resize(used + growth);
            stream.next_out = reinterpret_cast<Bytef*>(output.data() + used);
            stream.avail_out = growth;
            deflate(&stream, flush);
            output.resize(used + growth - static_cast<qsizetype>(stream.avail_out));
        } while (stream.avail_out == 0);
    }

    QByteArray& output;
    z_stream stream {};
    bool ready;
};

void appendHeader(PngFile& file, const QImage& image, const PngRows& rows)
{
    file.beginChunk("IHDR");
    file.appendNumber(static_cast<quint32>(image.width()));
    file.appendNumber(static_cast<quint32>(image.height()));
    file.bytes.append(static_cast<char>(rows.bitDepth()));
    file.bytes.append(static_cast<char>(rows.colourType()));
    file.bytes.append(3, '\0'); // Compression, filtering, interlacing: the only or the plain one.
    file.endChunk();
    if (const QByteArray palette = rows.paletteChunk(); !palette.isEmpty())
        file.appendChunk("PLTE", palette);
    if (const QByteArray transparency = rows.transparencyChunk(); !transparency.isEmpty())
        file.appendChunk("tRNS", transparency);
}

int strategyFor(const PngRows& rows)
{
    // In a photograph the search for what occurred before finds little and takes most of the time.
    if (rows.isPhotographic())
        return Z_RLE;
    // Leaves out repetitions of less than six bytes. Of indices, as text has, they save nothing; of
    // colours they do: areas would be 8 % larger.
    return rows.colourType() == paletteColours && rows.bitDepth() == 8 ? Z_FILTERED
                                                                       : Z_DEFAULT_STRATEGY;
}

bool hasPlainPixels(const QImage& image)
{
    return image.format() == QImage::Format_RGB32
        || image.format() == QImage::Format_ARGB32_Premultiplied;
}

} // namespace

PngResult encodePng(const QImage& image, qsizetype giveUpAbove)
{
    if (image.isNull())
        return PngFailure::notEncodable;
    if (!hasPlainPixels(image)) {
        const QImage plain = image.convertToFormat(
            image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
        return plain.isNull() ? PngFailure::notEncodable : encodePng(plain, giveUpAbove);
    }
    PngFile file;
    PngRows rows(image);
    appendHeader(file, image, rows);
    // Indices of less than a byte are so little to search that a longer search costs nothing much.
    const int level = rows.bitDepth() < 8 ? thoroughLevel : Z_DEFAULT_COMPRESSION;
    Deflater deflater(file.bytes, level, strategyFor(rows));
    if (!deflater.isReady())
        return PngFailure::notEncodable;
    file.beginChunk("IDAT");
    for (int y = 0; y < image.height(); ++y) {
        deflater.append(rows.filteredRow(y));
        if (file.bytes.size() > giveUpAbove)
            return PngFailure::gaveUp;
        if (file.chunkBytes() > dataChunkBytes) {
            file.endChunk();
            file.beginChunk("IDAT");
        }
    }
    deflater.finish();
    file.endChunk();
    file.appendChunk("IEND", {});
    return file.bytes;
}

} // namespace quibel
