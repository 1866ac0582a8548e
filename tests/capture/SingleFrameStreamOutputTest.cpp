#include "capture/SingleFrameStreamOutput.h"

#include <QTest>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <barrier>
#include <thread>

using namespace std::chrono_literals;

namespace quibel {

class SingleFrameStreamOutputTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void resumesWithTheFirstFrame()
    {
        output->nextSample(aMinute, keep());
        output->didOutput(frame(1), StreamOutputType::screen);
        output->didOutput(frame(2), StreamOutputType::screen);
        QCOMPARE(resumes.size(), std::size_t { 1 });
        QCOMPARE(resumes.front()->image.width(), 1);
    }

    void resumesWithASampleThatHasNoImage()
    {
        output->nextSample(aMinute, keep());
        output->didOutput({}, StreamOutputType::screen);
        QCOMPARE(resumes.size(), std::size_t { 1 });
        QVERIFY(resumes.front()->image.isNull());
    }

    void ignoresOtherKindsOfOutput()
    {
        output->nextSample(aMinute, keep());
        output->didOutput(frame(1), StreamOutputType::audio);
        QVERIFY(resumes.empty());
        output->didOutput(frame(2), StreamOutputType::screen);
        QCOMPARE(resumes.front()->image.width(), 2);
    }

    void dropsAFrameThatNobodyWaitsFor()
    {
        output->didOutput(frame(1), StreamOutputType::screen);
        output->nextSample(aMinute, keep());
        QVERIFY(resumes.empty());
        output->didOutput(frame(2), StreamOutputType::screen);
        QCOMPARE(resumes.front()->image.width(), 2);
    }

    void resumesWithNothingOnTheMainThreadWhenTimeIsOver()
    {
        QThread* thread = nullptr;
        output->nextSample(10ms, [&, resume = keep()](auto sample) {
            thread = QThread::currentThread();
            resume(std::move(sample));
        });
        QVERIFY(resumes.empty());
        QTRY_COMPARE(resumes.size(), std::size_t { 1 });
        QVERIFY(!resumes.front());
        QCOMPARE(thread, QCoreApplication::instance()->thread());
        output->didOutput(frame(1), StreamOutputType::screen);
        QCOMPARE(resumes.size(), std::size_t { 1 });
    }

    void letsALateTimeoutPass()
    {
        output->nextSample(1ms, keep());
        output->didOutput(frame(1), StreamOutputType::screen);
        bool later = false;
        QTimer::singleShot(20, this, [&] { later = true; });
        QTRY_VERIFY(later);
        QCOMPARE(resumes.size(), std::size_t { 1 });
    }

    void resumesAfterReleasingItsLock()
    {
        output->nextSample(aMinute, [this](const auto&) {
            output->didOutput(frame(2), StreamOutputType::screen);
            output->nextSample(aMinute, keep());
        });
        output->didOutput(frame(1), StreamOutputType::screen);
        QVERIFY(resumes.empty());
        output->didOutput(frame(3), StreamOutputType::screen);
        QCOMPARE(resumes.front()->image.width(), 3);
    }

    void isNotKeptAliveByAPendingTimeout()
    {
        output->nextSample(aMinute, keep());
        const std::weak_ptr<SingleFrameStreamOutput> trace = output;
        output.reset();
        QVERIFY(trace.expired());
    }

    void resumesOnceWhenFrameAndTimeoutRace()
    {
        int frames = 0;
        for (int i = 0; i < 2000; ++i) {
            const auto raced = std::make_shared<SingleFrameStreamOutput>();
            std::atomic_int resumed = 0;
            std::atomic_int withFrame = 0;
            raced->nextSample(0ms, [&](const auto& sample) {
                ++resumed;
                withFrame += sample ? 1 : 0;
            });
            std::barrier start(2);
            std::thread queue([&] {
                start.arrive_and_wait();
                raced->didOutput(frame(1), StreamOutputType::screen);
            });
            start.arrive_and_wait();
            QCoreApplication::processEvents();
            queue.join();
            QCoreApplication::processEvents();
            QCOMPARE(resumed.load(), 1);
            frames += withFrame;
        }
        qInfo("%d of 2000 ended with the frame", frames);
    }

    void init() { output = std::make_shared<SingleFrameStreamOutput>(); }
    void cleanup() { resumes.clear(); }

private:
    static constexpr auto aMinute = 60'000ms;

    static StreamSample frame(int width)
    {
        return { .image = QImage(width, 1, QImage::Format_RGB32) };
    }

    SingleFrameStreamOutput::Continuation keep()
    {
        return [this](auto sample) { resumes.push_back(std::move(sample)); };
    }

    std::shared_ptr<SingleFrameStreamOutput> output;
    std::vector<std::optional<StreamSample>> resumes;
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::SingleFrameStreamOutputTest)
#include "SingleFrameStreamOutputTest.moc"
