#include "inbox/http/ListenAddress.h"

#include <QTest>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

class ListenAddressTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsHostAndPort_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("host");
        QTest::addColumn<int>("port");
        QTest::addColumn<bool>("loopback");
        QTest::newRow("IPv4") << u"127.0.0.1:8787"_s << u"127.0.0.1"_s << 8787 << true;
        QTest::newRow("free port") << u"127.0.0.1:0"_s << u"127.0.0.1"_s << 0 << true;
        QTest::newRow("last port") << u"127.9.9.9:65535"_s << u"127.9.9.9"_s << 65535 << true;
        QTest::newRow("IPv6") << u"[::1]:80"_s << u"::1"_s << 80 << true;
        QTest::newRow("name") << u"localhost:80"_s << u"localhost"_s << 80 << true;
        QTest::newRow("every IPv4") << u"0.0.0.0:80"_s << u"0.0.0.0"_s << 80 << false;
        QTest::newRow("every IPv6") << u"[::]:80"_s << u"::"_s << 80 << false;
        QTest::newRow("elsewhere") << u"192.168.1.2:80"_s << u"192.168.1.2"_s << 80 << false;
        QTest::newRow("mapped") << u"[::ffff:127.0.0.1]:80"_s << u"::ffff:127.0.0.1"_s << 80
                                << false;
    }
    void readsHostAndPort()
    {
        QFETCH(QString, text);
        QFETCH(QString, host);
        QFETCH(int, port);
        QFETCH(bool, loopback);
        const auto address = ListenAddress::parse(text);
        QVERIFY(address.has_value());
        QCOMPARE(address->host, host);
        QCOMPARE(int(address->port), port);
        QCOMPARE(address->isLoopback(), loopback);
        QCOMPARE(address->toString(), text);
    }

    void refusesAnythingElse_data()
    {
        QTest::addColumn<QString>("text");
        for (const auto& text : { u""_s,
                                  u"127.0.0.1"_s,
                                  u"8787"_s,
                                  u":8787"_s,
                                  u"127.0.0.1:"_s,
                                  u"127.0.0.1:65536"_s,
                                  u"127.0.0.1:-1"_s,
                                  u"127.0.0.1:80x"_s,
                                  u"127.0.0.1:80\n"_s,
                                  u"127.0.0:80"_s,
                                  u"256.0.0.1:80"_s,
                                  u"::1:80"_s,
                                  u"[127.0.0.1]:80"_s,
                                  u"[::1]"_s,
                                  u"[::1\0]:80"_s,
                                  u"[::1%1]:80"_s,
                                  u"127.0.0.1\0x:80"_s,
                                  u"example.com:80"_s })
            QTest::newRow(qPrintable(u'"' + text + u'"')) << text;
    }
    void refusesAnythingElse()
    {
        QFETCH(QString, text);
        QVERIFY(!ListenAddress::parse(text));
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::ListenAddressTest)
#include "ListenAddressTest.moc"
