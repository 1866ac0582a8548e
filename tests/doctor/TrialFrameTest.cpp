#include "doctor/TrialFrame.h"
#include "tests/fakes/FakeScreenCapture.h"
#include "tests/fakes/FakeScreens.h"
#include "tests/fakes/FakeWorkspace.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel {

class TrialFrameTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        workspace = std::make_unique<FakeWorkspace>();
        screens = std::make_unique<FakeScreens>();
        capture = std::make_unique<FakeScreenCapture>();
        workspace->frontmost = RunningApplication { .localizedName = {},
                                                    .bundleIdentifier = {},
                                                    .processIdentifier = 7 };
        workspace->windows = { WindowInfo { .number = 3,
                                            .ownerProcess = 7,
                                            .name = {},
                                            .layer = 0,
                                            .bounds = QRectF(0, 0, 40, 30) } };
        screens->mainScreen = Screen { .displayID = 5,
                                       .frame = { 0, 0, 100, 80 },
                                       .visibleFrame = {},
                                       .pixelFrame = { 0, 0, 100, 80 } };
        screens->screens = { *screens->mainScreen };
        const ShareableWindow window {
            .number = 3, .ownerProcess = 7, .onScreen = true, .frame = { 0, 0, 40, 30 }
        };
        capture->content = ShareableContent { .windows = { window },
                                              .displays = { { .id = 5, .size = { 100, 80 } } } };
        capture->windowImage = picture({ 40, 30 });
        capture->displayImage = picture({ 100, 80 });
    }

    void takesTheFrontWindow()
    {
        const auto taken = take();
        QVERIFY(taken);
        QCOMPARE(taken->source, TrialPicture::Source::frontWindow);
        QCOMPARE(taken->size, QSize(40, 30));
        QCOMPARE(taken->encodedSize, QSize(40, 30));
        QVERIFY(taken->encodedBytes > 0);
        QCOMPARE(capture->streams.size(), 1U);
        QCOMPARE(std::get<WindowFilter>(capture->streams.front().filter).window, 3U);
        QCOMPARE(capture->streams.front().configuration.size, QSize(40, 30));
        QCOMPARE(capture->stops, 1);
    }

    void takesAnotherWindowOfTheProcessAsACaptureDoes()
    {
        workspace->windows->clear();
        const auto taken = take();
        QVERIFY(taken);
        QCOMPARE(taken->source, TrialPicture::Source::frontWindow);
        QCOMPARE(std::get<WindowFilter>(capture->streams.front().filter).window, 3U);
    }

    void takesTheDisplayWhenNoApplicationIsInFront()
    {
        workspace->frontmost.reset();
        const auto taken = take();
        QVERIFY(taken);
        QCOMPARE(taken->source, TrialPicture::Source::display);
        QCOMPARE(taken->size, QSize(100, 80));
        QCOMPARE(std::get<DisplayFilter>(capture->streams.front().filter).display, 5U);
    }

    void takesTheDisplayWhenTheWindowGivesNoPicture_data()
    {
        QTest::addColumn<bool>("starts");
        QTest::addColumn<bool>("delivers");
        QTest::newRow("does not start") << false << true;
        QTest::newRow("never delivers") << true << false;
    }

    void takesTheDisplayWhenTheWindowGivesNoPicture()
    {
        QFETCH(const bool, starts);
        QFETCH(const bool, delivers);
        capture->windowStreamsStart = starts;
        if (!delivers)
            capture->windowImage.reset();
        const auto taken = take();
        QVERIFY(taken);
        QCOMPARE(taken->source, TrialPicture::Source::display);
        QCOMPARE(capture->streams.size(), 2U);
    }

    void doesNotWaitForAStreamThatDoesNotStart()
    {
        capture->windowStreamsStart = false;
        TrialFrame trial(*workspace, *screens, *capture);
        trial.take([](const auto&) {});
        QCoreApplication::processEvents();
        QCOMPARE(capture->streams.size(), 2U);
        QCOMPARE(capture->stops, 1);
    }

    void givesUpWithoutAPicture_data()
    {
        QTest::addColumn<bool>("hasContent");
        QTest::newRow("nothing to share") << false;
        QTest::newRow("samples without a picture") << true;
    }

    void givesUpWithoutAPicture()
    {
        QFETCH(const bool, hasContent);
        if (!hasContent)
            capture->content.reset();
        capture->windowImage = QImage();
        capture->displayImage = QImage();
        QVERIFY(!take());
        QCOMPARE(capture->streams.size(), hasContent ? 2U : 0U);
    }

    void saysNothingOnceItIsGone()
    {
        int calls = 0;
        {
            TrialFrame trial(*workspace, *screens, *capture);
            trial.take([&](const auto&) { ++calls; });
        }
        QCoreApplication::processEvents();
        QCOMPARE(calls, 0);
        QVERIFY(capture->streams.empty());
    }

private:
    [[nodiscard]] static QImage picture(QSize size)
    {
        QImage image(size, QImage::Format_RGB32);
        image.fill(Qt::red);
        return image;
    }

    [[nodiscard]] std::optional<TrialPicture> take()
    {
        std::optional<TrialPicture> taken;
        int calls = 0;
        TrialFrame trial(*workspace, *screens, *capture);
        trial.take([&](const std::optional<TrialPicture>& picture) {
            ++calls;
            taken = picture;
        });
        [&] { QTRY_COMPARE(calls, 1); }();
        return taken;
    }

    std::unique_ptr<FakeWorkspace> workspace;
    std::unique_ptr<FakeScreens> screens;
    std::unique_ptr<FakeScreenCapture> capture;
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::TrialFrameTest)
#include "TrialFrameTest.moc"
