// Captures a window as the agent does and tells, as one line of JSON a run, how long each step took
// and what came of it.
//
//   quibel-bench-capture <window> <runs>
//   quibel-bench-capture <window> <runs> <program> <argument...>   runs that program instead
#include "capture/FrameEncoder.h"
#include "capture/ScreenshotCapture.h"
#include "platform/x11/XcbFrameGrabber.h"
#include "submission/ScreenshotDocument.h"

#include <QGuiApplication>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

double milliseconds(Clock::time_point begin, Clock::time_point end)
{
    return std::chrono::duration<double, std::milli>(end - begin).count();
}

double milliseconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) * 1000 + static_cast<double>(time.tv_usec) / 1000;
}

double processorTime()
{
    timespec time {};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1000 + static_cast<double>(time.tv_nsec) / 1e6;
}

bool capture(xcb_window_t window)
{
    const double processorBefore = processorTime();
    const auto begin = Clock::now();
    QImage frame = quibel::XcbFrameGrabber().grabWindow(window);
    const auto grabbed = Clock::now();
    auto encoded = quibel::encodeFrame(frame);
    if (!encoded)
        return false;
    const auto done = Clock::now();
    const double processor = processorTime() - processorBefore;
    const qsizetype bytes = encoded->data.size();
    const auto document = quibel::buildScreenshotDocument(
        { .data = std::move(encoded->data), .metadata = {} }, QStringLiteral("b1"));
    const qsizetype documentBytes = document ? document->joined().size() : 0;
    const auto built = Clock::now();
    std::printf(
        "{\"wall\": %.2f, \"cpu\": %.2f, \"grab\": %.2f, \"encode\": %.2f, \"document\": %.2f, "
        "\"bytes\": %lld, \"document_bytes\": %lld, \"width\": %d, \"height\": %d}\n",
        milliseconds(begin, done),
        processor,
        milliseconds(begin, grabbed),
        milliseconds(grabbed, done),
        milliseconds(done, built),
        static_cast<long long>(bytes),
        static_cast<long long>(documentBytes),
        encoded->size.width(),
        encoded->size.height());
    return document.has_value();
}

bool runProgram(char** arguments)
{
    const auto begin = Clock::now();
    const pid_t child = ::fork();
    if (child == 0) {
        ::execvp(arguments[0], arguments);
        ::_exit(127);
    }
    int status = 0;
    rusage used {};
    ::wait4(child, &status, 0, &used);
    std::printf("{\"wall\": %.2f, \"cpu\": %.2f}\n",
                milliseconds(begin, Clock::now()),
                milliseconds(used.ru_utime) + milliseconds(used.ru_stime));
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc < 3)
        return 2;
    const QCoreApplication application(argc, argv);
    const auto window = static_cast<xcb_window_t>(std::strtoul(argv[1], nullptr, 10));
    for (int run = std::atoi(argv[2]); run > 0; --run)
        if (!(argc > 3 ? runProgram(argv + 3) : capture(window)))
            return 1;
    return 0;
}
