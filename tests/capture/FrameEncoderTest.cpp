#include "capture/FrameEncoder.h"

#include <QRandomGenerator>
#include <QTest>

#include <bitset>
#include <vector>

namespace quibel {

namespace {

QImage noise(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    QRandomGenerator random(1);
    for (int y = 0; y < image.height(); ++y)
        random.fillRange(reinterpret_cast<quint32*>(image.scanLine(y)), image.width());
    return image;
}

QImage gradient(QSize size, int grain)
{
    QImage image(size, QImage::Format_RGB32);
    QRandomGenerator random(2);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x,
                           y,
                           qRgb((x * 200 / image.width()) + random.bounded(grain),
                                (y * 200 / image.height()) + random.bounded(grain),
                                ((x + y) % 200) + random.bounded(grain)));
    return image;
}

QImage flat(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    return image;
}

QImage shrunk(const QImage& frame, QSize size)
{
    return size == frame.size()
        ? frame
        : frame.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

/// The six sizes that are tried, by the arithmetic of the rule.
std::vector<QSize> sizesOf(QSize full)
{
    std::vector<QSize> sizes { full };
    double factor = 0.9;
    for (int i = 0; i < 5; ++i, factor *= 0.8)
        sizes.emplace_back(std::max(1, static_cast<int>(full.width() * factor)),
                           std::max(1, static_cast<int>(full.height() * factor)));
    return sizes;
}

} // namespace

class FrameEncoderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsAFrameThatFitsAsItIs()
    {
        const QImage frame = noise({ 300, 200 });
        const auto encoded = encodeFrame(frame);
        QCOMPARE(encoded->size, frame.size());
        QCOMPARE(QImage::fromData(encoded->data).convertToFormat(QImage::Format_RGB32),
                 frame.convertToFormat(QImage::Format_RGB32));
    }

    void shrinksOnlyWhatIsOverTheLimit_data()
    {
        QTest::addColumn<int>("bytes");
        QTest::addColumn<int>("attempts");
        QTest::newRow("exactly the limit") << 512'000 << 1;
        QTest::newRow("one byte more") << 512'001 << 2;
    }

    void shrinksOnlyWhatIsOverTheLimit()
    {
        QFETCH(int, bytes);
        int attempts = 0;
        const auto encoded = encodeFrame(flat({ 100, 100 }), [&](const QImage&, qsizetype) {
            return ++attempts == 1 ? QByteArray(bytes, 'a') : QByteArray("smaller");
        });
        QTEST(attempts, "attempts");
        QCOMPARE(encoded->size, attempts == 1 ? QSize(100, 100) : QSize(90, 90));
    }

    void triesFiveSmallerSizesAndKeepsTheLast()
    {
        std::vector<QSize> sizes;
        std::vector<qsizetype> limits;
        const auto encoded
            = encodeFrame(flat({ 1000, 701 }), [&](const QImage& image, qsizetype limit) {
                  sizes.push_back(image.size());
                  limits.push_back(limit);
                  return QByteArray(600'000 + static_cast<qsizetype>(sizes.size()), 'a');
              });
        const std::vector<QSize> expected { { 1000, 701 }, { 900, 630 }, { 720, 504 },
                                            { 576, 403 },  { 460, 323 }, { 368, 258 } };
        QCOMPARE(sizes, expected);
        const std::vector<qsizetype> expectedLimits { 512'000, 512'000, 512'000,
                                                      512'000, 512'000, neverGiveUp };
        QCOMPARE(limits, expectedLimits);
        QCOMPARE(encoded->size, QSize(368, 258));
        QCOMPARE(encoded->data.size(), 600'006);
    }

    void neverShrinksToNothing()
    {
        std::vector<QSize> sizes;
        const auto encoded = encodeFrame(flat({ 1, 3 }), [&](const QImage& image, qsizetype) {
            sizes.push_back(image.size());
            return QByteArray(600'000, 'a');
        });
        QCOMPARE(
            sizes,
            (std::vector<QSize> { { 1, 3 }, { 1, 2 }, { 1, 2 }, { 1, 1 }, { 1, 1 }, { 1, 1 } }));
        QCOMPARE(encoded->size, QSize(1, 1));
    }

    void shrinksTheFullFrameEachTime()
    {
        const QImage frame = gradient({ 640, 480 }, 20);
        const auto sizes = sizesOf(frame.size());
        std::size_t attempt = 0;
        const auto encoded = encodeFrame(frame, [&](const QImage& image, qsizetype) -> PngResult {
            if (image != shrunk(frame, sizes.at(attempt++)))
                return PngFailure::notEncodable;
            return QByteArray(600'000, 'a');
        });
        QCOMPARE(encoded->size, sizes.back());
    }

    void endsAsIfEveryEncodingRanToItsEnd_data()
    {
        QTest::addColumn<QImage>("frame");
        QTest::newRow("flat") << flat({ 1000, 700 });
        QTest::newRow("gradient") << gradient({ 800, 600 }, 1);
        QRandomGenerator random(3);
        for (int i = 0; i < 3; ++i) {
            const QSize size(350 + random.bounded(200), 450 + random.bounded(200));
            QTest::addRow("noise %dx%d", size.width(), size.height()) << noise(size);
            QTest::addRow("grain %dx%d", size.width(), size.height()) << gradient(size, 30);
        }
    }

    void endsAsIfEveryEncodingRanToItsEnd()
    {
        QFETCH(QImage, frame);
        std::optional<EncodedFrame> expected;
        for (const QSize size : sizesOf(frame.size())) {
            expected
                = { .data = std::get<QByteArray>(encodePng(shrunk(frame, size))), .size = size };
            if (expected->data.size() <= screenshotLimit)
                break;
        }
        QCOMPARE(encodeFrame(frame), expected);
    }

    void keepsTheLastThatSucceededWhicheverFail()
    {
        const QImage frame = flat({ 500, 400 });
        const auto sizes = sizesOf(frame.size());
        // For every set of failing attempts, and every first size that fits or none.
        for (unsigned failing = 0; failing < 64; ++failing)
            for (std::size_t fits = 0; fits <= sizes.size(); ++fits) {
                const std::bitset<6> fails(failing);
                const auto png = [&](std::size_t i) {
                    return QByteArray(i >= fits ? 512'000 : 512'001, static_cast<char>('a' + i));
                };
                std::optional<EncodedFrame> expected;
                for (std::size_t i = 0; i < sizes.size(); ++i) {
                    if (!fails[i])
                        expected = { .data = png(i), .size = sizes[i] };
                    if (!expected || expected->data.size() <= screenshotLimit)
                        break;
                }
                const auto encoded = encodeFrame(
                    frame, [&](const QImage& image, qsizetype giveUpAbove) -> PngResult {
                        const auto i = static_cast<std::size_t>(
                            std::ranges::find(sizes, image.size()) - sizes.begin());
                        if (fails[i])
                            return PngFailure::notEncodable;
                        if (png(i).size() > giveUpAbove)
                            return PngFailure::gaveUp;
                        return png(i);
                    });
                QCOMPARE(encoded, expected);
            }
    }

    void encodesNothingOfANullFrame() { QVERIFY(!encodeFrame({})); }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::FrameEncoderTest)
#include "FrameEncoderTest.moc"
