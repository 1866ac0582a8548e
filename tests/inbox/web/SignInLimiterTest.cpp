#include "inbox/web/SignInLimiter.h"

#include <QTest>

namespace quibel::inbox {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class SignInLimiterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        time = std::chrono::steady_clock::time_point(1000h);
        limiter = SignInLimiter([this] { return time; });
    }

    void letsAFewWrongTriesPassAtOnce()
    {
        for (int index = 0; index < SignInLimiter::freeTries; ++index)
            QVERIFY(tryWrong("a", u"anna"_s));
        QCOMPARE(limiter.admit("a", u"anna"_s), 2s);
    }

    void waitsLongerAfterEachFurtherTry()
    {
        useUpFreeTries("a", u"anna"_s);
        for (const auto wait : { 2s, 4s, 8s, 16s, 32s }) {
            time += wait - 1ms;
            QCOMPARE(limiter.admit("a", u"anna"_s), 1s);
            time += 1ms;
            QVERIFY(tryWrong("a", u"anna"_s));
        }
    }

    void countsTheTriesOfAClientForAnyAccount()
    {
        for (int index = 0; index < SignInLimiter::freeTries; ++index)
            QVERIFY(tryWrong("a", QString::number(index)));
        QCOMPARE(limiter.admit("a", u"anna"_s), 2s);
        QCOMPARE(limiter.admit("b", u"anna"_s), 0s);
    }

    void countsTheTriesForAnAccountOfAnyClient()
    {
        for (int index = 0; index < SignInLimiter::freeTries; ++index)
            QVERIFY(tryWrong(QByteArray::number(index), u"anna"_s));
        QCOMPARE(limiter.admit("a", u"anna"_s), 2s);
        QCOMPARE(limiter.admit("a", u"bert"_s), 0s);
    }

    void takesAllAddressesOfAHomeForOneClient()
    {
        for (int index = 1; index <= SignInLimiter::freeTries; ++index)
            QVERIFY(tryWrong("2001:db8:1:2::" + QByteArray::number(index), u""_s));
        limiter.succeeded(u""_s);
        QCOMPARE(limiter.admit("2001:db8:1:2:ffff::1", u"x"_s), 2s);
        QCOMPARE(limiter.admit("2001:db8:1:3::1", u"x"_s), 0s);
    }

    void tellsMappedAddressesApart()
    {
        useUpFreeTries("::ffff:192.0.2.1", u"anna"_s);
        QCOMPARE(limiter.admit("::ffff:192.0.2.2", u"bert"_s), 0s);
    }

    void neverLocksAnOwnerOutForLong()
    {
        for (int round = 0; round < 40; ++round) {
            QVERIFY(tryWrong(QByteArray::number(round), u"anna"_s));
            time += SignInLimiter::longestWaitOfAccount;
        }
        QVERIFY(tryWrong("last", u"anna"_s));
        QCOMPARE(limiter.admit("owner", u"anna"_s),
                 std::chrono::seconds(SignInLimiter::longestWaitOfAccount));
    }

    void makesAClientWaitUpToItsLimit()
    {
        for (int round = 0; round < 40; ++round) {
            QVERIFY(tryWrong("a", QString::number(round)));
            time += SignInLimiter::longestWaitOfClient;
        }
        QVERIFY(tryWrong("a", u"last"_s));
        QCOMPARE(limiter.admit("a", u"x"_s),
                 std::chrono::seconds(SignInLimiter::longestWaitOfClient));
    }

    void forgetsAfterAnHourWithoutWrongTries()
    {
        useUpFreeTries("a", u"anna"_s);
        time += SignInLimiter::memory - 1s;
        QVERIFY(tryWrong("a", u"anna"_s));
        QCOMPARE(limiter.admit("a", u"anna"_s), 4s);
        time += SignInLimiter::memory;
        QVERIFY(tryWrong("a", u"anna"_s));
        QCOMPARE(limiter.admit("a", u"anna"_s), 0s);
    }

    void forgetsTheTriesForAnAccountOnceItsOwnerIsThere()
    {
        useUpFreeTries("a", u"anna"_s);
        limiter.succeeded(u"anna"_s);
        QCOMPARE(limiter.admit("b", u"anna"_s), 0s);
        QCOMPARE(limiter.admit("a", u"anna"_s), 2s);
    }

    void letsNotManyTriesOfAllClientsPassAtOnce()
    {
        for (int index = 0; index < SignInLimiter::burst; ++index)
            QCOMPARE(admitNew(), 0s);
        QCOMPARE(admitNew(), 1s);
        time += 999ms;
        QCOMPARE(admitNew(), 1s);
        time += 1ms;
        QCOMPARE(admitNew(), 0s);
        QCOMPARE(admitNew(), 1s);
        time += 1h;
        for (int index = 0; index < SignInLimiter::burst; ++index)
            QCOMPARE(admitNew(), 0s);
        QCOMPARE(admitNew(), 1s);
    }

    void countsNoTryThatHadToWait()
    {
        useUpFreeTries("a", u"anna"_s);
        for (int index = 0; index < 1000; ++index)
            QCOMPARE(limiter.admit("a", u"anna"_s), 2s);
        QCOMPARE(limiter.admit("b", u"bert"_s), 0s);
    }

    void remembersABoundedNumberAndDropsTheOldest()
    {
        useUpFreeTries("first", u"first"_s);
        time += 1ms;
        for (qsizetype index = 0; index < SignInLimiter::mostRemembered / 2 - 1; ++index)
            limiter.failed(QByteArray::number(index), QString::number(index));
        QCOMPARE(limiter.admit("first", u"new"_s), 2s);
        limiter.failed("one", u"more"_s);
        QCOMPARE(limiter.admit("first", u"new"_s), 0s);
    }

private:
    [[nodiscard]] bool tryWrong(const QByteArray& client, const QString& account)
    {
        if (limiter.admit(client, account) > 0s)
            return false;
        limiter.failed(client, account);
        return true;
    }

    void useUpFreeTries(const QByteArray& client, const QString& account)
    {
        for (int index = 0; index < SignInLimiter::freeTries; ++index)
            limiter.failed(client, account);
    }

    [[nodiscard]] std::chrono::seconds admitNew()
    {
        ++fresh;
        return limiter.admit(QByteArray::number(fresh), QString::number(fresh));
    }

    std::chrono::steady_clock::time_point time;
    SignInLimiter limiter;
    int fresh = 0;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::SignInLimiterTest)
#include "SignInLimiterTest.moc"
