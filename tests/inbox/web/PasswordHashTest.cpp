#include "inbox/web/PasswordHash.h"

#include <QTest>

#include <sodium.h>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

class PasswordHashTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void knowsThePasswordAgain()
    {
        const auto hash = hashPassword(u"grüne Wiese"_s);
        QVERIFY(hash.has_value());
        QVERIFY(verifyPassword(*hash, u"grüne Wiese"_s));
        QVERIFY(!verifyPassword(*hash, u"grüne wiese"_s));
        QVERIFY(!verifyPassword(*hash, u"grüne Wiese "_s));
        QVERIFY(!verifyPassword(*hash, u""_s));
    }

    void knowsItHoweverItsLettersWereComposed()
    {
        const auto hash = hashPassword(u"gr\u00fcn"_s);
        QVERIFY(verifyPassword(hash.value(), u"gru\u0308n"_s));
    }

    void takesArgon2idWithSixtyFourMebibytes()
    {
        const auto hash = hashPassword(u"secret"_s).value();
        QVERIFY2(hash.startsWith(u"$argon2id$v=19$m=65536,t=2,p=1$"), qPrintable(hash));
        QVERIFY(!hash.contains(u"secret"));
    }

    void saltsEveryHash() { QVERIFY(hashPassword(u"secret"_s) != hashPassword(u"secret"_s)); }

    void knowsAHashOfOtherLimits()
    {
        QVERIFY(!needsRehash(hashPassword(u"secret"_s).value()));
        std::array<char, crypto_pwhash_STRBYTES> weak {};
        QCOMPARE(crypto_pwhash_str(weak.data(), "secret", 6, 1, 8192), 0);
        const auto hash = QString::fromLatin1(weak.data());
        QVERIFY(verifyPassword(hash, u"secret"_s));
        QVERIFY(needsRehash(hash));
    }

    void matchesNothingThatIsNoHash()
    {
        QVERIFY(!verifyPassword({}, {}));
        QVERIFY(!verifyPassword(u"secret"_s, u"secret"_s));
        QVERIFY(!verifyPassword(QString(1000, u'$'), u"secret"_s));
        QVERIFY(needsRehash(u"secret"_s));
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::PasswordHashTest)
#include "PasswordHashTest.moc"
