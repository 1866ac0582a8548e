#include "capture/PngEncoder.h"

#include <QRandomGenerator>
#include <QTest>
#include <QtEndian>

#include <ctime>
#include <functional>
#include <vector>

#include <zlib.h>

namespace quibel {

namespace {

constexpr int colourTypeRgb = 2;
constexpr int colourTypePalette = 3;
constexpr int colourTypeRgba = 6;

struct Chunk
{
    QByteArray name;
    QByteArray content;
};

std::vector<Chunk> chunksOf(const QByteArray& png)
{
    std::vector<Chunk> chunks;
    for (qsizetype at = 8; at < png.size();) {
        const auto length = static_cast<qsizetype>(qFromBigEndian<quint32>(png.constData() + at));
        chunks.push_back({ .name = png.mid(at + 4, 4), .content = png.mid(at + 8, length) });
        at += length + 12;
    }
    return chunks;
}

QByteArray contentOf(const QByteArray& png, const QByteArray& name)
{
    for (const Chunk& chunk : chunksOf(png))
        if (chunk.name == name)
            return chunk.content;
    return {};
}

int bitDepth(const QByteArray& png)
{
    return contentOf(png, "IHDR").at(8);
}
int colourType(const QByteArray& png)
{
    return contentOf(png, "IHDR").at(9);
}

QImage noise(QSize size, QImage::Format format = QImage::Format_RGB32)
{
    QImage image(size, QImage::Format_ARGB32);
    QRandomGenerator random(1);
    for (int y = 0; y < image.height(); ++y)
        random.fillRange(reinterpret_cast<quint32*>(image.scanLine(y)), image.width());
    return image.convertToFormat(format);
}

QImage gradient(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, qRgb(x % 256, y % 256, (x + y) % 256));
    return image;
}

/// An image of exactly so many colours, in short runs.
QImage coloured(QSize size, int colours, int alphaStep = 0)
{
    QImage image(size, alphaStep == 0 ? QImage::Format_RGB32 : QImage::Format_ARGB32);
    int i = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x, ++i) {
            const int colour = i / 3 % colours;
            image.setPixel(x,
                           y,
                           qRgba(colour % 256,
                                 colour * 7 % 256,
                                 colour / 256,
                                 255 - (colour * alphaStep % 256)));
        }
    return alphaStep == 0 ? image : image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

/// zlib's usual compression, with as much memory as there is.
QByteArray deflated(const QByteArray& rows)
{
    z_stream stream {};
    deflateInit2(
        &stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, MAX_WBITS, MAX_MEM_LEVEL, Z_DEFAULT_STRATEGY);
    QByteArray output(2 * rows.size(), Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(rows.constData()));
    stream.avail_in = static_cast<uInt>(rows.size());
    stream.next_out = reinterpret_cast<Bytef*>(output.data());
    stream.avail_out = static_cast<uInt>(output.size());
    deflate(&stream, Z_FINISH);
    output.resize(static_cast<qsizetype>(stream.total_out));
    deflateEnd(&stream);
    return output;
}

QByteArray inflated(const QByteArray& data, qsizetype limit)
{
    QByteArray rows(limit, Qt::Uninitialized);
    auto length = static_cast<uLongf>(limit);
    const int result = uncompress(reinterpret_cast<Bytef*>(rows.data()),
                                  &length,
                                  reinterpret_cast<const Bytef*>(data.constData()),
                                  static_cast<uLong>(data.size()));
    rows.resize(static_cast<qsizetype>(length));
    return result == Z_OK ? rows : QByteArray();
}

/// Lines of letters whose edges are in shades of grey.
QImage text(QSize size)
{
    constexpr int letters = 26;
    constexpr QSize cell(8, 16);
    QImage alphabet(letters * cell.width(), cell.height(), QImage::Format_RGB32);
    QRandomGenerator random(1);
    for (int y = 0; y < alphabet.height(); ++y)
        for (int x = 0; x < alphabet.width(); ++x) {
            const int kind = y < 4 || y > 12 ? 0 : random.bounded(3);
            const int shade = kind == 0 ? 255 : kind == 1 ? 30 : random.bounded(30, 255);
            alphabet.setPixel(x, y, qRgb(shade, shade, shade));
        }
    QImage image(size, QImage::Format_RGB32);
    for (int top = 0; top < size.height(); top += cell.height())
        for (int left = 0; left < size.width(); left += cell.width()) {
            const int from = random.bounded(letters) * cell.width();
            for (int y = 0; y < cell.height(); ++y)
                for (int x = 0; x < cell.width(); ++x)
                    image.setPixel(left + x, top + y, alphabet.pixel(from + x, y));
        }
    return image;
}

/// Text to the left and above, a photograph to the right and below.
QImage mixed(QSize size)
{
    QImage image = noise(size);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (y < image.height() / 2 || x < image.width() / 2)
                image.setPixel(
                    x, y, x / 5 % 3 == 0 ? qRgb(y % 256, 0, x % 256) : qRgb(255, 255, 255));
    return image;
}

} // namespace

class PngEncoderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsEveryPixel_data()
    {
        QTest::addColumn<QImage>("image");
        for (const QSize size : { QSize(1, 1),
                                  QSize(1, 40),
                                  QSize(40, 1),
                                  QSize(3, 5),
                                  QSize(7, 7),
                                  QSize(9, 33),
                                  QSize(401, 77) }) {
            const auto name = [&](const char* what) {
                return QByteArray(what) + ' ' + QByteArray::number(size.width()) + 'x'
                    + QByteArray::number(size.height());
            };
            QTest::newRow(name("noise")) << noise(size);
            QTest::newRow(name("gradient")) << gradient(size);
            QTest::newRow(name("mixed")) << mixed(size);
            for (const int colours : { 1, 2, 3, 4, 5, 16, 17, 256, 257, 1000 })
                QTest::newRow(name("colours ") + QByteArray::number(colours))
                    << coloured(size, colours);
            QTest::newRow(name("few with alpha")) << coloured(size, 12, 20);
            QTest::newRow(name("many with alpha")) << coloured(size, 5000, 3);
            QTest::newRow(name("noise with alpha"))
                << noise(size, QImage::Format_ARGB32_Premultiplied);
        }
    }

    void keepsEveryPixel()
    {
        QFETCH(QImage, image);
        const QByteArray png = std::get<QByteArray>(encodePng(image));
        const QImage decoded = QImage::fromData(png, "PNG");
        // As frames are: premultiplied, where the colour of what is invisible does not matter.
        const auto comparable = [](const QImage& any) {
            return any.convertToFormat(QImage::Format_ARGB32_Premultiplied);
        };
        QCOMPARE(comparable(decoded), comparable(image));
    }

    void takesTheSmallestLayoutThatHoldsTheColours_data()
    {
        QTest::addColumn<QImage>("image");
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("depth");
        const QSize size(101, 40);
        QTest::newRow("1") << coloured(size, 1) << colourTypePalette << 1;
        QTest::newRow("2") << coloured(size, 2) << colourTypePalette << 1;
        QTest::newRow("3") << coloured(size, 3) << colourTypePalette << 2;
        QTest::newRow("4") << coloured(size, 4) << colourTypePalette << 2;
        QTest::newRow("5") << coloured(size, 5) << colourTypePalette << 4;
        QTest::newRow("16") << coloured(size, 16) << colourTypePalette << 4;
        QTest::newRow("17") << coloured(size, 17) << colourTypePalette << 8;
        QTest::newRow("256") << coloured(size, 256) << colourTypePalette << 8;
        QTest::newRow("257") << coloured(size, 257) << colourTypeRgb << 8;
        QTest::newRow("translucent") << coloured(size, 5000, 3) << colourTypeRgba << 8;
        QTest::newRow("opaque, though it could be translucent")
            << coloured(size, 300).convertToFormat(QImage::Format_ARGB32_Premultiplied)
            << colourTypeRgb << 8;
    }

    void takesTheSmallestLayoutThatHoldsTheColours()
    {
        QFETCH(QImage, image);
        const QByteArray png = std::get<QByteArray>(encodePng(image));
        QTEST(colourType(png), "type");
        QTEST(bitDepth(png), "depth");
    }

    void writesTransparencyOfAPaletteOnlyWhereThereIsSome()
    {
        const auto transparency = [](const QImage& image) {
            return contentOf(std::get<QByteArray>(encodePng(image)), "tRNS");
        };
        QVERIFY(transparency(coloured({ 50, 50 }, 12)).isEmpty());
        QCOMPARE(transparency(coloured({ 50, 50 }, 12, 20)).size(), 12);
    }

    void ignoresTheUnusedByteOfOpaquePixels()
    {
        for (const QImage& image : { coloured({ 64, 64 }, 100), noise({ 64, 64 }) }) {
            QImage dirty = image;
            for (int y = 0; y < dirty.height(); ++y) {
                auto* row = reinterpret_cast<QRgb*>(dirty.scanLine(y));
                for (int x = 0; x < dirty.width(); ++x)
                    row[x] = (row[x] & RGB_MASK) | static_cast<QRgb>(x * y) << 24;
            }
            QCOMPARE(encodePng(dirty), encodePng(image));
        }
    }

    void encodesOtherPixelFormats_data()
    {
        QTest::addColumn<QImage::Format>("format");
        for (const auto format : { QImage::Format_RGB888,
                                   QImage::Format_Grayscale8,
                                   QImage::Format_RGB16,
                                   QImage::Format_ARGB32,
                                   QImage::Format_RGBA8888,
                                   QImage::Format_Mono })
            QTest::addRow("%d", format) << format;
    }

    void encodesOtherPixelFormats()
    {
        QFETCH(QImage::Format, format);
        const QImage image = coloured({ 60, 50 }, 700, 2).convertToFormat(format);
        const auto comparable = [](const QImage& any) {
            return any.convertToFormat(QImage::Format_ARGB32_Premultiplied);
        };
        QCOMPARE(comparable(QImage::fromData(std::get<QByteArray>(encodePng(image)))),
                 comparable(image));
    }

    void givesUpOnlyWhatIsOverTheFigure()
    {
        const QImage image = noise({ 500, 400 });
        const QByteArray png = std::get<QByteArray>(encodePng(image));
        QCOMPARE(encodePng(image, png.size()), PngResult(png));
        QCOMPARE(encodePng(image, png.size() / 2), PngResult(PngFailure::gaveUp));
        QCOMPARE(encodePng(image, 0), PngResult(PngFailure::gaveUp));
    }

    void givesUpLongBeforeTheEnd()
    {
        const QImage image = noise({ 600, 800 });
        const auto processorTime = [](const std::function<void()>& work) {
            const std::clock_t start = std::clock();
            work();
            return std::clock() - start;
        };
        const auto whole = processorTime([&] { static_cast<void>(encodePng(image)); });
        const auto part = processorTime([&] { static_cast<void>(encodePng(image, 30'000)); });
        // A fiftieth of the output; a third of the time would do, were the machine busy.
        QVERIFY(part < whole / 3);
    }

    void splitsTheDataOfALargeImage()
    {
        const QByteArray png = std::get<QByteArray>(encodePng(noise({ 900, 800 })));
        int dataChunks = 0;
        for (const Chunk& chunk : chunksOf(png)) {
            dataChunks += chunk.name == "IDAT" ? 1 : 0;
            QVERIFY(chunk.content.size() < 2'000'000);
        }
        QVERIFY(dataChunks > 1);
        QCOMPARE(QImage::fromData(png).convertToFormat(QImage::Format_RGB32), noise({ 900, 800 }));
    }

    void makesTextSmallerThanTheUsualCompressionOfItsRows()
    {
        const QImage image = text({ 480, 320 });
        const QByteArray png = std::get<QByteArray>(encodePng(image));
        QCOMPARE(colourType(png), colourTypePalette);
        QCOMPARE(bitDepth(png), 8);
        const QByteArray compressed = contentOf(png, "IDAT");
        const QByteArray rows = inflated(compressed, image.sizeInBytes());
        QCOMPARE(inflated(deflated(rows), rows.size()), rows);
        QVERIFY(compressed.size() < deflated(rows).size());
    }

    void refusesANullImage() { QCOMPARE(encodePng({}), PngResult(PngFailure::notEncodable)); }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::PngEncoderTest)
#include "PngEncoderTest.moc"
