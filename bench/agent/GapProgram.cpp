// Tells, as one line of JSON a capture, for how long at most the main thread did not come back to
// its event loop, while nothing happened, while a window was captured, and while the document of
// the screenshot was built and sent.
//
//   quibel-bench-gap <window> <captures> <address that takes the document>
#include "account/ServiceRequest.h"
#include "capture/ScreenshotCapturer.h"
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

#include <cstdio>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int idleMs = 1000;

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

    void note() { longest = std::max(longest, sinceLast.nsecsElapsed()), sinceLast.start(); }

    /// Milliseconds since the last call.
    double take()
    {
        note();
        return static_cast<double>(std::exchange(longest, 0)) / 1e6;
    }

private:
    QTimer timer;
    QElapsedTimer sinceLast;
    qint64 longest = 0;
};

} // namespace

int main(int argc, char* argv[])
{
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
    quibel::QtHttpSession session(60s);
    const QUrl service(words[3]);

    for (int run = words[2].toInt(); run > 0; --run) {
        LongestGap gap;
        QEventLoop loop;
        QTimer::singleShot(idleMs, &loop, &QEventLoop::quit);
        loop.exec();
        const double idle = gap.take();
        qsizetype bytes = 0;
        double whileCapturing = 0;
        bool taken = false;
        capturer.capture({}, {}, [&](std::optional<quibel::ScreenshotCapture> screenshot) {
            whileCapturing = gap.take();
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
        std::printf("{\"idle\": %.2f, \"capturing\": %.2f, \"document\": %.2f, \"bytes\": %lld}\n",
                    idle,
                    whileCapturing,
                    gap.take(),
                    static_cast<long long>(bytes));
    }
    return 0;
}
