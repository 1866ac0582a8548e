#include "bench/agent/Pictures.h"
#include "capture/FrameEncoder.h"

#include <QGuiApplication>
#include <QtEndian>

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>

#include <benchmark/benchmark.h>
#include <libdeflate.h>
#include <png.h>
#include <spng.h>
#include <zlib.h>

using namespace Qt::StringLiterals;

namespace {

using namespace quibel;

constexpr std::array sizes {
    QSize(800, 600), QSize(1920, 1080), QSize(3840, 2160), QSize(7680, 4320)
};

/// The picture that a benchmark asks for; drawing one takes longer than most of what is measured.
QImage pictureOf(const benchmark::State& state)
{
    static std::map<std::pair<std::int64_t, std::int64_t>, QImage> drawn;
    QImage& image = drawn[{ state.range(0), state.range(1) }];
    if (image.isNull())
        image = bench::picture(
            QString::fromLatin1(bench::contents.at(static_cast<std::size_t>(state.range(0)))),
            sizes.at(static_cast<std::size_t>(state.range(1))));
    return image;
}

void copyOfTheFrame(benchmark::State& state)
{
    const QImage image = pictureOf(state);
    QByteArray copy(image.sizeInBytes(), Qt::Uninitialized);
    while (state.KeepRunning()) {
        std::memcpy(copy.data(), image.constBits(), static_cast<std::size_t>(copy.size()));
        benchmark::ClobberMemory();
    }
    state.counters["bytes"] = static_cast<double>(copy.size());
}

/// One pass of zlib over the colours of the frame, unfiltered.
void deflateOfTheFrame(benchmark::State& state)
{
    const QImage image = pictureOf(state).convertToFormat(QImage::Format_RGB888);
    uLongf size = compressBound(static_cast<uLong>(image.sizeInBytes()));
    QByteArray out(static_cast<qsizetype>(size), Qt::Uninitialized);
    while (state.KeepRunning()) {
        size = static_cast<uLongf>(out.size());
        compress2(reinterpret_cast<Bytef*>(out.data()),
                  &size,
                  image.constBits(),
                  static_cast<uLong>(image.sizeInBytes()),
                  Z_DEFAULT_COMPRESSION);
    }
    state.counters["bytes"] = static_cast<double>(size);
}

void shrinkOfTheFrame(benchmark::State& state)
{
    const QImage image = pictureOf(state);
    while (state.KeepRunning())
        benchmark::DoNotOptimize(
            image.scaled(image.size() * 0.72, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
}

void pngOfTheFrame(benchmark::State& state)
{
    const QImage image = pictureOf(state);
    qsizetype size = 0;
    while (state.KeepRunning())
        size = std::get<QByteArray>(encodePng(image)).size();
    state.counters["bytes"] = static_cast<double>(size);
}

void screenshotOfTheFrame(benchmark::State& state)
{
    const QImage image = pictureOf(state);
    std::optional<EncodedFrame> encoded;
    while (state.KeepRunning())
        encoded = encodeFrame(image);
    state.counters["bytes"] = static_cast<double>(encoded->data.size());
    state.counters["width"] = encoded->size.width();
    state.counters["height"] = encoded->size.height();
}

/// The plain PNG of libpng, with the filters and the level that it chooses.
void libpngOfTheFrame(benchmark::State& state)
{
    const QImage image = pictureOf(state).convertToFormat(QImage::Format_RGB888);
    png_image description {};
    description.version = PNG_IMAGE_VERSION;
    description.width = static_cast<png_uint_32>(image.width());
    description.height = static_cast<png_uint_32>(image.height());
    description.format = PNG_FORMAT_RGB;
    const auto bytesPerLine = static_cast<png_int_32>(image.bytesPerLine());
    QByteArray out(2 * image.sizeInBytes(), Qt::Uninitialized);
    png_alloc_size_t size = 0;
    while (state.KeepRunning()) {
        size = static_cast<png_alloc_size_t>(out.size());
        if (png_image_write_to_memory(
                &description, out.data(), &size, 0, image.constBits(), bytesPerLine, nullptr)
            == 0)
            state.SkipWithError(static_cast<const char*>(description.message));
    }
    state.counters["bytes"] = static_cast<double>(size);
}

/// The plain PNG of libspng, with the filters and the level that it chooses.
void spngOfTheFrame(benchmark::State& state)
{
    // Its lines have no padding.
    const QImage picture = pictureOf(state);
    QByteArray pixels;
    for (int y = 0; y < picture.height(); ++y) {
        const QImage line
            = picture.copy(0, y, picture.width(), 1).convertToFormat(QImage::Format_RGB888);
        pixels.append(reinterpret_cast<const char*>(line.constBits()),
                      qsizetype { 3 } * picture.width());
    }
    std::size_t size = 0;
    while (state.KeepRunning()) {
        const std::unique_ptr<spng_ctx, decltype(&spng_ctx_free)> encoder(
            spng_ctx_new(SPNG_CTX_ENCODER), &spng_ctx_free);
        spng_ihdr header { .width = static_cast<std::uint32_t>(picture.width()),
                           .height = static_cast<std::uint32_t>(picture.height()),
                           .bit_depth = 8,
                           .color_type = SPNG_COLOR_TYPE_TRUECOLOR,
                           .compression_method = 0,
                           .filter_method = 0,
                           .interlace_method = 0 };
        spng_set_option(encoder.get(), SPNG_ENCODE_TO_BUFFER, 1);
        spng_set_ihdr(encoder.get(), &header);
        int error = spng_encode_image(encoder.get(),
                                      pixels.constData(),
                                      static_cast<std::size_t>(pixels.size()),
                                      SPNG_FMT_PNG,
                                      SPNG_ENCODE_FINALIZE);
        const std::unique_ptr<void, decltype(&std::free)> png(
            spng_get_png_buffer(encoder.get(), &size, &error), &std::free);
        if (error != 0)
            state.SkipWithError(spng_strerror(error));
    }
    state.counters["bytes"] = static_cast<double>(size);
}

/// The rows of our PNG, as they are behind their filters.
QByteArray filteredRows(const QByteArray& png, qsizetype limit)
{
    QByteArray data;
    for (qsizetype at = 8; at < png.size();) {
        const auto length = static_cast<qsizetype>(qFromBigEndian<quint32>(png.constData() + at));
        if (png.mid(at + 4, 4) == "IDAT")
            data += png.mid(at + 8, length);
        at += length + 12;
    }
    auto size = static_cast<uLongf>(limit);
    QByteArray rows(limit, Qt::Uninitialized);
    if (uncompress(reinterpret_cast<Bytef*>(rows.data()),
                   &size,
                   reinterpret_cast<const Bytef*>(data.constData()),
                   static_cast<uLong>(data.size()))
        != Z_OK)
        qFatal("a PNG that cannot be read");
    rows.resize(static_cast<qsizetype>(size));
    return rows;
}

/// libdeflate's compression of the rows of our PNG, at the same level; they are filtered already.
void libdeflateOfTheFrame(benchmark::State& state)
{
    const QImage image = pictureOf(state);
    const QByteArray rows
        = filteredRows(std::get<QByteArray>(encodePng(image)), 2 * image.sizeInBytes());
    constexpr int level = 6;
    const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> compressor(
        libdeflate_alloc_compressor(level), &libdeflate_free_compressor);
    QByteArray out(2 * rows.size(), Qt::Uninitialized);
    std::size_t size = 0;
    while (state.KeepRunning())
        size = libdeflate_zlib_compress(compressor.get(),
                                        rows.constData(),
                                        static_cast<std::size_t>(rows.size()),
                                        out.data(),
                                        static_cast<std::size_t>(out.size()));
    state.counters["bytes"] = static_cast<double>(size);
}

void everyContent(benchmark::internal::Benchmark* each)
{
    each->ArgsProduct({ benchmark::CreateDenseRange(0, 3, 1), { 1 } })
        ->Unit(benchmark::kMillisecond)
        ->MinTime(0.05)
        ->UseRealTime();
}

void everyPicture(benchmark::internal::Benchmark* each)
{
    each->ArgsProduct(
            { benchmark::CreateDenseRange(0, 3, 1), benchmark::CreateDenseRange(0, 3, 1) })
        ->Unit(benchmark::kMillisecond)
        ->MinTime(0.05)
        ->UseRealTime();
}

} // namespace

BENCHMARK(copyOfTheFrame)->Apply(everyPicture);
BENCHMARK(deflateOfTheFrame)->Apply(everyPicture);
BENCHMARK(shrinkOfTheFrame)->Apply(everyPicture);
BENCHMARK(pngOfTheFrame)->Apply(everyPicture);
BENCHMARK(screenshotOfTheFrame)->Apply(everyPicture);
BENCHMARK(libpngOfTheFrame)->Apply(everyContent);
BENCHMARK(spngOfTheFrame)->Apply(everyContent);
BENCHMARK(libdeflateOfTheFrame)->Apply(everyContent);

int main(int argc, char* argv[])
{
    const QGuiApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
