#include "inbox/storage/SecretToken.h"

#include <QRegularExpression>
#include <QSet>
#include <QTest>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

class SecretTokenTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void makesKeysOf256BitsThatFitAHeader()
    {
        static const QRegularExpression form(uR"(\Ask_[A-Za-z0-9_-]{43}\z)"_s);
        const auto key = generateApiKey();
        QVERIFY(form.match(QString::fromLatin1(key)).hasMatch());
    }

    void neverMakesTheSameKeyTwice()
    {
        QSet<QByteArray> keys;
        for (int i = 0; i < 1000; ++i)
            keys.insert(generateApiKey());
        QCOMPARE(keys.size(), 1000);
    }

    void hashesBySha256()
    {
        QCOMPARE(hashSecret("abc"),
                 "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::SecretTokenTest)
#include "SecretTokenTest.moc"
