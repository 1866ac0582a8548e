#include "capture/FrameEncoder.h"

#include <algorithm>
#include <utility>

namespace quibel {

namespace {

constexpr double firstFactor = 0.9;
constexpr double factorStep = 0.8;
constexpr double smallestFactor = 0.3;

QSize scaledSize(QSize size, double factor)
{
    return { std::max(1, static_cast<int>(size.width() * factor)),
             std::max(1, static_cast<int>(size.height() * factor)) };
}

QImage resized(const QImage& frame, QSize size)
{
    if (size == frame.size())
        return frame;
    return frame.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

/// The attempts at one frame: which was the last to succeed, and its PNG unless that was given up.
class Attempts
{
public:
    Attempts(const QImage& source, const PngEncoder& encoder)
        : frame(source)
        , encode(encoder)
    {
    }

    void attempt(QSize size, qsizetype giveUpAbove)
    {
        PngResult result = encode(resized(frame, size), giveUpAbove);
        if (auto* png = std::get_if<QByteArray>(&result))
            kept = { .data = std::move(*png), .size = size };
        else if (std::get<PngFailure>(result) == PngFailure::gaveUp)
            kept = { .data = {}, .size = size };
    }

    [[nodiscard]] bool areOverLimit() const
    {
        return kept && (kept->data.isEmpty() || kept->data.size() > screenshotLimit);
    }

    [[nodiscard]] std::optional<EncodedFrame> result()
    {
        // Given up for the sake of smaller sizes that then all failed.
        if (kept && kept->data.isEmpty()) {
            const QSize size = std::exchange(kept, std::nullopt)->size;
            attempt(size, neverGiveUp);
        }
        return std::move(kept);
    }

private:
    const QImage& frame;
    const PngEncoder& encode;
    std::optional<EncodedFrame> kept;
};

} // namespace

std::optional<EncodedFrame> encodeFrame(const QImage& frame, const PngEncoder& encode)
{
    Attempts attempts(frame, encode);
    attempts.attempt(frame.size(), screenshotLimit);
    for (double factor = firstFactor; attempts.areOverLimit() && factor > smallestFactor;
         factor *= factorStep) {
        const bool isLast = factor * factorStep <= smallestFactor;
        attempts.attempt(scaledSize(frame.size(), factor), isLast ? neverGiveUp : screenshotLimit);
    }
    return attempts.result();
}

} // namespace quibel
