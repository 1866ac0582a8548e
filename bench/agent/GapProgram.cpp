// Tells, as one line of JSON a capture, for how long at most the main thread did not come back to
// its event loop, while nothing happened, while a window was captured, and while the document of
// the screenshot was built and sent; and how much of it other threads had the processors for.
//
//   quibel-bench-gap <window> <captures> <address that takes the document>
#include "account/ServiceRequest.h"
#include "capture/ScreenshotCapturer.h"
#include "platform/ThreadPriority.h"
#include "platform/qt/QtHttpSession.h"
#include "platform/x11/XcbConnection.h"
#include "platform/x11/XcbScreenCapture.h"
#include "platform/x11/XcbScreens.h"
#include "submission/ScreenshotDocument.h"
#include "tests/fakes/FakeWorkspace.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QGuiApplication>
#include <QTimer>

#include <array>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int idleMs = 1000;

/// How long the thread that made it has been ready to go on while others had the processors.
class ProcessorWait
{
public:
    ProcessorWait()
        : file(::open("/proc/thread-self/schedstat", O_RDONLY | O_CLOEXEC))
    {
    }
    ProcessorWait(const ProcessorWait&) = delete;
    ProcessorWait& operator=(const ProcessorWait&) = delete;
    ~ProcessorWait() { ::close(file); }

    /// Nanoseconds, of all its life.
    [[nodiscard]] qint64 total() const
    {
        std::array<char, 128> text {};
        long long ran = 0;
        long long waited = 0;
        if (::pread(file, text.data(), text.size() - 1, 0) <= 0
            || std::sscanf(text.data(), "%lld %lld", &ran, &waited) != 2)
            std::abort();
        return waited;
    }

private:
    int file;
};

/// Units: nanoseconds.
struct Gaps
{
    qint64 longest = 0;
    qint64 waiting = 0; ///< What of the longest passed without a processor to run on.
    qint64 blocked = 0; ///< The longest without such waiting.
};

/// A timer that wakes every millisecond notes the longest time between two of its wake-ups.
class LongestGap
{
public:
    LongestGap()
    {
        timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer, &QTimer::timeout, &timer, [this] { note(); });
        timer.start(1);
        sinceLast.start();
    }

    void note()
    {
        const qint64 gap = sinceLast.nsecsElapsed();
        sinceLast.start();
        const qint64 waitedBefore = std::exchange(waited, wait.total());
        const qint64 waiting = waited - waitedBefore;
        if (gap > gaps.longest)
            gaps.longest = gap, gaps.waiting = waiting;
        gaps.blocked = std::max(gaps.blocked, gap - waiting);
    }

    /// Since the last call.
    Gaps take()
    {
        note();
        return std::exchange(gaps, {});
    }

private:
    QTimer timer;
    QElapsedTimer sinceLast;
    ProcessorWait wait;
    qint64 waited = wait.total();
    Gaps gaps;
};

double milliseconds(qint64 nanoseconds)
{
    return static_cast<double>(nanoseconds) / 1e6;
}

} // namespace

int main(int argc, char* argv[])
{
    quibel::letThisThreadInterruptOthers(); // As the agent's does.
    const QGuiApplication application(argc, argv);
    const QStringList words = QGuiApplication::arguments();
    const auto connection = quibel::XcbConnection::open();
    if (words.size() != 4 || !connection)
        return 2;
    constexpr quibel::ProcessIdentifier process = 1;
    const quibel::WindowNumber window = words[1].toUInt();
    quibel::FakeWorkspace workspace;
    workspace.frontmost
        = { .localizedName = {}, .bundleIdentifier = {}, .processIdentifier = process };
    workspace.windows
        = { { .number = window, .ownerProcess = process, .name = {}, .layer = 0, .bounds = {} } };
    quibel::XcbScreens screens(*connection);
    quibel::XcbScreenCapture screenCapture(*connection, screens);
    quibel::ScreenshotCapturer capturer(workspace, screens, screenCapture);
    quibel::QtHttpSession session;
    const QUrl service(words[3]);

    for (int run = words[2].toInt(); run > 0; --run) {
        LongestGap gap;
        QEventLoop loop;
        QTimer::singleShot(idleMs, &loop, &QEventLoop::quit);
        loop.exec();
        const Gaps idle = gap.take();
        qsizetype bytes = 0;
        Gaps capturing;
        bool taken = false;
        capturer.capture({}, {}, [&](std::optional<quibel::ScreenshotCapture> screenshot) {
            capturing = gap.take();
            const auto document = quibel::buildScreenshotDocument(screenshot.value(), u"b1"_s);
            screenshot.reset();
            bytes = document->size();
            auto request = quibel::makePostRequest(service, u"screenshots"_s, u"key"_s, {});
            request.body = *document;
            session.send(request, [&](const quibel::HttpOutcome& outcome) {
                taken = outcome.status == 201;
                QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
            });
        });
        loop.exec();
        if (!taken)
            return 1;
        std::printf("{\"idle\": %.2f, \"capturing\": %.2f, \"waiting\": %.2f, \"blocked\": %.2f, "
                    "\"document\": %.2f, \"bytes\": %lld}\n",
                    milliseconds(idle.longest),
                    milliseconds(capturing.longest),
                    milliseconds(capturing.waiting),
                    milliseconds(capturing.blocked),
                    milliseconds(gap.take().longest),
                    static_cast<long long>(bytes));
    }
    return 0;
}
