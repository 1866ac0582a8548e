#pragma once

#include "platform/Screens.h"
#include "platform/Workspace.h"

#include <QImage>
#include <QRect>

#include <functional>
#include <memory>
#include <optional>
#include <variant>
#include <vector>

namespace quibel {

/// A window that can be captured. Units: `frame` is in the window system's pixels.
struct ShareableWindow
{
    WindowNumber number = 0;
    std::optional<ProcessIdentifier> ownerProcess;
    bool onScreen = false;
    QRectF frame;

    bool operator==(const ShareableWindow&) const = default;
};

/// A display that can be captured. Units: `size` is in the window system's pixels.
struct ShareableDisplay
{
    DisplayID id = 0;
    QSize size;

    bool operator==(const ShareableDisplay&) const = default;
};

struct ShareableContent
{
    std::vector<ShareableWindow> windows; ///< Front to back.
    std::vector<ShareableDisplay> displays;

    bool operator==(const ShareableContent&) const = default;
};

/// One window alone, wherever it is on the desktop and whatever covers it.
struct WindowFilter
{
    WindowNumber window = 0;

    bool operator==(const WindowFilter&) const = default;
};

/// A whole display, excluding no windows.
struct DisplayFilter
{
    DisplayID display = 0;

    bool operator==(const DisplayFilter&) const = default;
};

using ContentFilter = std::variant<WindowFilter, DisplayFilter>;

/// How a stream delivers. Frames are 32 bits a pixel, blue first.
struct StreamConfiguration
{
    QSize size; ///< Pixels.
    bool showsCursor = false;
    int queueDepth = 1; ///< Frames held at a time.

    bool operator==(const StreamConfiguration&) const = default;
};

enum class StreamOutputType { screen, audio };

struct StreamSample
{
    QImage image; ///< Null when the sample came without an image.
};

/// Receives what a stream delivers, on the queue that was given with it.
class StreamOutput
{
public:
    StreamOutput() = default;
    StreamOutput(const StreamOutput&) = delete;
    StreamOutput& operator=(const StreamOutput&) = delete;
    virtual ~StreamOutput() = default;

    virtual void didOutput(StreamSample sample, StreamOutputType type) = 0;
};

/// Runs work on a serial queue, in the order given, not on the calling thread.
using SerialExecutor = std::function<void(std::function<void()>)>;

/// One running capture. Thread: main, except where `StreamOutput` says otherwise.
class CaptureStream
{
public:
    CaptureStream() = default;
    CaptureStream(const CaptureStream&) = delete;
    CaptureStream& operator=(const CaptureStream&) = delete;
    virtual ~CaptureStream() = default;

    /// Samples go to `output` on `queue`. The stream keeps `output` alive while work for it is
    /// queued.
    virtual void addOutput(std::shared_ptr<StreamOutput> output, SerialExecutor queue) = 0;

    /// Returns at once. Errors: false when the capture cannot start.
    [[nodiscard]] virtual bool start() = 0;

    /// No sample is delivered for a grab that has not begun by then.
    virtual void stop() = 0;
};

/// Pictures of windows and displays.
///
/// Thread: main; no call waits for a frame.
class ScreenCapture
{
public:
    ScreenCapture() = default;
    ScreenCapture(const ScreenCapture&) = delete;
    ScreenCapture& operator=(const ScreenCapture&) = delete;
    virtual ~ScreenCapture() = default;

    /// What can be captured now. `completion` is called once, on the main thread.
    ///
    /// Errors: `completion` gets none.
    virtual void shareableContent(std::function<void(std::optional<ShareableContent>)> completion)
        = 0;

    [[nodiscard]] virtual std::unique_ptr<CaptureStream>
    makeStream(const ContentFilter& filter, const StreamConfiguration& configuration) = 0;
};

} // namespace quibel
