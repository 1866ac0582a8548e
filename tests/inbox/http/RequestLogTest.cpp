#include "inbox/http/RequestLog.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryFile>
#include <QTest>

#include <array>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quibel::inbox {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

struct Ends
{
    Descriptor reader;
    Descriptor writer;
};

Ends makePipe()
{
    std::array<int, 2> ends {};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        qFatal("no pipe");
    return { Descriptor(ends[0]), Descriptor(ends[1]) };
}

Ends makeSocketPair()
{
    std::array<int, 2> ends {};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        qFatal("no sockets");
    return { Descriptor(ends[0]), Descriptor(ends[1]) };
}

QByteArray readAll(const Descriptor& descriptor)
{
    QByteArray result;
    QByteArray block(65536, '\0');
    ::fcntl(descriptor.number(), F_SETFL, O_NONBLOCK);
    for (ssize_t length = 0; (length = ::read(descriptor.number(), block.data(), 65536)) > 0;)
        result += block.left(length);
    return result;
}

} // namespace

class RequestLogTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesOneLineOfJsonForEachRequest()
    {
        const auto pipe = makePipe();
        RequestLog log(pipe.writer.number());
        const auto before = QDateTime::currentDateTimeUtc();
        log.write({ .method = "POST",
                    .route = "/api/branches/{id}/screenshots",
                    .status = 201,
                    .duration = 1500us,
                    .bytesIn = 1000,
                    .bytesOut = 20,
                    .client = "127.0.0.1" });
        log.write({ .method = "GET", .route = "other", .status = 404, .client = {} });
        const auto lines = readAll(pipe.reader).split('\n');
        QCOMPARE(lines.size(), 3);
        QCOMPARE(lines.last(), QByteArray());
        auto line = QJsonDocument::fromJson(lines.first()).object();
        const auto time = line.take(u"time"_s).toString();
        QVERIFY2(time.endsWith(u'Z') && time.at(19) == u'.' && time.size() == 24, qPrintable(time));
        const auto when = QDateTime::fromString(time, Qt::ISODateWithMs);
        QVERIFY(when.addMSecs(1) > before && when <= QDateTime::currentDateTimeUtc());
        QCOMPARE(line,
                 (QJsonObject { { u"method"_s, u"POST"_s },
                                { u"route"_s, u"/api/branches/{id}/screenshots"_s },
                                { u"status"_s, 201 },
                                { u"duration_ms"_s, 1.5 },
                                { u"bytes_in"_s, 1000 },
                                { u"bytes_out"_s, 20 },
                                { u"client"_s, u"127.0.0.1"_s } }));
        QCOMPARE(QJsonDocument::fromJson(lines.at(1))[u"status"_s].toInt(), 404);
    }

    void appendsToAFile()
    {
        QTemporaryFile file;
        QVERIFY(file.open());
        RequestLog log(file.handle());
        log.write(request);
        log.write(request);
        QCOMPARE(::lseek(file.handle(), 0, SEEK_SET), 0);
        QCOMPARE(file.readAll().count('\n'), 2);
    }

    void dropsAndCountsWhatAFullReaderDoesNotTake_data()
    {
        QTest::addColumn<bool>("socket");
        QTest::newRow("pipe") << false;
        QTest::newRow("socket") << true;
    }
    void dropsAndCountsWhatAFullReaderDoesNotTake()
    {
        QFETCH(bool, socket);
        const auto ends = socket ? makeSocketPair() : makePipe();
        RequestLog log(ends.writer.number());
        constexpr int many = 5000;
        for (int i = 0; i < many; ++i)
            log.write(request);
        QVERIFY(log.dropped() > 0);

        auto text = readAll(ends.reader);
        const auto dropped = static_cast<qint64>(log.dropped());
        log.write(request);
        text += readAll(ends.reader);
        auto lines = text.split('\n');
        QCOMPARE(lines.takeLast(), QByteArray());
        QCOMPARE(lines.size(), many + 1 - dropped);
        for (const auto& line : lines)
            QVERIFY(QJsonDocument::fromJson(line).isObject());
        QCOMPARE(QJsonDocument::fromJson(lines.last())[u"lines_dropped"_s].toInteger(), dropped);
    }

    void leavesTheDescriptorAsOthersShareIt()
    {
        const auto pipe = makePipe();
        const RequestLog log(pipe.writer.number());
        QCOMPARE(::fcntl(pipe.writer.number(), F_GETFL) & O_NONBLOCK, 0);
    }

    void goesOnWhenTheReaderIsGone_data() { dropsAndCountsWhatAFullReaderDoesNotTake_data(); }
    void goesOnWhenTheReaderIsGone()
    {
        QFETCH(bool, socket);
        auto ends = socket ? makeSocketPair() : makePipe();
        RequestLog log(ends.writer.number());
        ::close(ends.reader.release());
        log.write(request);
        QCOMPARE(log.dropped(), 1U);
    }

    void goesOnWithoutAnOutput()
    {
        const auto number = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::close(number);
        RequestLog log(number);
        log.write(request);
        QCOMPARE(log.dropped(), 1U);
    }

private:
    const RequestRecord request {
        .method = "GET", .route = "/", .status = 200, .client = "127.0.0.1"
    };
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::RequestLogTest)
#include "RequestLogTest.moc"
