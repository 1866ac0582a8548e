#include "bench/agent/Pictures.h"
#include "capture/FrameEncoder.h"

#include <QGuiApplication>

#include <cstring>
#include <map>

#include <benchmark/benchmark.h>
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

int main(int argc, char* argv[])
{
    const QGuiApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
