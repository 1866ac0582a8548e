#include "inbox/http/EventStream.h"

#include <QTest>

namespace quibel::inbox {

class EventStreamTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        stream = std::make_unique<EventStream>();
        stream->connect({ .suspend = [this] { ++suspended; },
                          .resume = [this] { ++resumed; },
                          .cut = [this] { ++cut; } });
        suspended = resumed = cut = 0;
    }

    void writesAnEventAsItsTypeAndItsData()
    {
        stream->send("branch", R"({"id":"1"})");
        stream->keepAlive();
        QCOMPARE(stream->take(1000), QByteArray("event: branch\ndata: {\"id\":\"1\"}\n\n:\n\n"));
        QCOMPARE(stream->bytesTaken(), 35);
    }

    void handsOverNoMoreThanThereIsRoomFor()
    {
        stream->send("a", "b");
        QCOMPARE(stream->take(10), QByteArray("event: a\nd"));
        QCOMPARE(stream->take(100), QByteArray("ata: b\n\n"));
    }

    void suspendsTheConnectionUntilSomethingIsSent()
    {
        QCOMPARE(stream->take(10), QByteArray(""));
        QCOMPARE(suspended, 1);
        stream->send("a", "b");
        stream->send("a", "b");
        QCOMPARE(resumed, 1);
    }

    void keepsWhatIsSentBeforeThereIsAConnection()
    {
        EventStream early;
        early.send("hello", "{}");
        early.connect({});
        QCOMPARE(early.take(100), QByteArray("event: hello\ndata: {}\n\n"));
    }

    void endsAfterWhatWasSent()
    {
        stream->send("a", "b");
        stream->end();
        QVERIFY(stream->hasEnded());
        stream->send("late", "c");
        QCOMPARE(stream->take(100), QByteArray("event: a\ndata: b\n\n"));
        QCOMPARE(stream->take(100), std::optional<QByteArray>());
    }

    void resumesASuspendedConnectionToEndIt()
    {
        (void)stream->take(10);
        stream->end();
        QCOMPARE(resumed, 1);
        QCOMPARE(stream->take(100), std::optional<QByteArray>());
    }

    void cutsOffAClientThatDoesNotRead()
    {
        const QByteArray kibibyte(1024, 'x');
        for (int i = 0; i < 60; ++i)
            stream->send("a", kibibyte);
        QVERIFY(!stream->hasEnded());
        QCOMPARE(cut, 0);
        for (int i = 0; i < 10; ++i)
            stream->send("a", kibibyte);
        QVERIFY(stream->hasEnded());
        QCOMPARE(cut, 1);
        QCOMPARE(stream->take(100), std::optional<QByteArray>());
    }

    void asksNothingOfAConnectionThatIsGone()
    {
        (void)stream->take(10);
        stream->disconnect();
        QVERIFY(stream->hasEnded());
        stream->send("a", QByteArray(100'000, 'x'));
        stream->end();
        QCOMPARE(resumed, 0);
        QCOMPARE(cut, 0);
    }

private:
    std::unique_ptr<EventStream> stream;
    int suspended = 0;
    int resumed = 0;
    int cut = 0;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::EventStreamTest)
#include "EventStreamTest.moc"
