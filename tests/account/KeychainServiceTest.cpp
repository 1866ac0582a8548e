#include "account/KeychainService.h"
#include "tests/account/StoredKey.h"
#include "tests/fakes/FakeSecretItems.h"

#include <QTest>

namespace quibel {

using namespace Qt::StringLiterals;

class KeychainServiceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        told.clear();
        items.emplace();
        keychain.emplace(*items, u"Shop"_s, u"till"_s);
    }

    void keepsTheBytesOfTheKeyUnderItsIdentity()
    {
        QVERIFY(saved(*keychain, u"s\u00e9k"_s));
        QCOMPARE(items->items.size(), std::size_t(1));
        const SecretIdentity identity { .service = u"Shop"_s, .account = u"till"_s };
        QCOMPARE(items->items.front().first, identity);
        QCOMPARE(items->items.front().second, QByteArray("s\xc3\xa9k"));
        QCOMPARE(items->calls, QStringList { u"add"_s });
    }

    void updatesOnlyWhenTheItemExists()
    {
        QVERIFY(saved(*keychain, u"first"_s));
        QVERIFY(saved(*keychain, u"second"_s));
        QCOMPARE(items->items.size(), std::size_t(1));
        QCOMPARE(storedKey(*keychain), u"second"_s);
        const QStringList calls { u"add"_s, u"add"_s, u"update"_s, u"copyMatching"_s };
        QCOMPARE(items->calls, calls);
    }

    void savesTheSameKeyTwice()
    {
        QVERIFY(saved(*keychain, u"same"_s));
        QVERIFY(saved(*keychain, u"same"_s));
        QCOMPARE(storedKey(*keychain), u"same"_s);
    }

    void reportsThatTheStoreRefusedTheUpdate()
    {
        QVERIFY(saved(*keychain, u"first"_s));
        items->takesUpdates = false;
        QVERIFY(!saved(*keychain, u"second"_s));
        QCOMPARE(storedKey(*keychain), u"first"_s);
    }

    void doesNotUpdateAfterAnyOtherFailure()
    {
        items->available = false;
        QVERIFY(!saved(*keychain, u"key"_s));
        QCOMPARE(items->calls, QStringList { u"add"_s });
    }

    void leavesTheStoreAloneWhenTheKeyIsNotText()
    {
        QVERIFY(!saved(*keychain, u"a"_s + QChar(0xd800)));
        QVERIFY(items->calls.isEmpty());
    }

    void readsNoneWithoutItemOrStore()
    {
        QCOMPARE(storedKey(*keychain), std::nullopt);
        QVERIFY(saved(*keychain, u"key"_s));
        items->available = false;
        QCOMPARE(storedKey(*keychain), std::nullopt);
    }

    void holdsItsCallerUpOnlyAsLongAsThatAllows()
    {
        QObject owner;
        keychain->read(owner, [](const auto&) {});
        keychain->read(
            owner, [](const auto&) {}, std::chrono::milliseconds(50));
        const std::vector holds { std::chrono::milliseconds(0), std::chrono::milliseconds(50) };
        QCOMPARE(items->holds, holds);
    }

    void readsLateWhatAStoreAnswersLate()
    {
        QVERIFY(saved(*keychain, u"key"_s));
        items->slow = true;
        QObject owner;
        keychain->read(owner, keepRead);
        QVERIFY(told.empty());
        QVERIFY(items->answerLate());
        QCOMPARE(told, std::vector<KeyResult> { u"key"_s });
    }

    void tellsAStoreWithoutAKeyFromOneThatDoesNotSay()
    {
        QCOMPARE(storedResult(*keychain), KeyResult(KeyError::noKey));
        items->available = false;
        QCOMPARE(storedResult(*keychain), KeyResult(KeyError::noAnswer));
        items->available = true;
        items->locked = true;
        QCOMPARE(storedResult(*keychain), KeyResult(KeyError::noAnswer));
        QVERIFY(!items->calls.contains(u"unlock"_s));
    }

    void asksToUnlockWhereTheUserActs_data()
    {
        QTest::addColumn<bool>("unlocks");
        QTest::addColumn<KeyResult>("result");
        QTest::newRow("unlocked") << true << KeyResult(u"key"_s);
        QTest::newRow("refused") << false << KeyResult(KeyError::noAnswer);
    }

    void asksToUnlockWhereTheUserActs()
    {
        QFETCH(const bool, unlocks);
        QFETCH(const KeyResult, result);
        QVERIFY(saved(*keychain, u"key"_s));
        items->locked = true;
        QObject owner;
        keychain->readAsking(owner, keepRead);
        QVERIFY(told.empty());
        items->answerPrompts(unlocks);
        QCOMPARE(told, std::vector { result });
        QCOMPARE(items->calls.count(u"unlock"_s), 1);
    }

    void asksNobodyWhenNothingIsLocked()
    {
        QObject owner;
        keychain->readAsking(owner, keepRead);
        items->available = false;
        keychain->readAsking(owner, keepRead);
        const std::vector<KeyResult> expected { KeyError::noKey, KeyError::noAnswer };
        QCOMPARE(told, expected);
        QVERIFY(!items->calls.contains(u"unlock"_s));
    }

    void waitsUntilTheStoreAnswersWithoutAsking()
    {
        QVERIFY(saved(*keychain, u"key"_s));
        items->locked = true;
        QObject owner;
        keychain->readWhenAnswered(owner, keepRead);
        items->change(); // Of something else.
        QVERIFY(told.empty());
        items->locked = false;
        items->change();
        items->change();
        QCOMPARE(told, std::vector<KeyResult> { u"key"_s });
        QVERIFY(!items->calls.contains(u"unlock"_s));
    }

    void missesNoChangeBetweenTheAnswerAndTheWait()
    {
        QVERIFY(saved(*keychain, u"key"_s));
        items->locked = true;
        items->unlockedBeforeAwaited = true;
        QObject owner;
        keychain->readWhenAnswered(owner, keepRead);
        QCOMPARE(told, std::vector<KeyResult> { u"key"_s });
    }

    void waitsForNoStoreThatHasAnswered()
    {
        QObject owner;
        keychain->readWhenAnswered(owner, keepRead);
        QCOMPARE(told, std::vector<KeyResult> { KeyError::noKey });
        QVERIFY(!items->calls.contains(u"awaitChange"_s));
    }

    void savesWhenTheUserHasUnlockedTheStore_data()
    {
        QTest::addColumn<bool>("unlocks");
        QTest::newRow("unlocked") << true;
        QTest::newRow("refused") << false;
    }

    void savesWhenTheUserHasUnlockedTheStore()
    {
        QFETCH(const bool, unlocks);
        QVERIFY(saved(*keychain, u"old"_s));
        items->locked = true;
        QObject owner;
        std::vector<bool> taken;
        keychain->save(u"new"_s, owner, [&taken](bool isSaved) { taken.push_back(isSaved); });
        QVERIFY(taken.empty());
        items->answerPrompts(unlocks);
        QCOMPARE(taken, std::vector { unlocks });
        QCOMPARE(items->items.front().second, unlocks ? "new"_ba : "old"_ba);
    }

    void readsNoneWhenTheStoreGivesNoData()
    {
        QVERIFY(saved(*keychain, u"key"_s));
        items->givesData = false;
        QCOMPARE(storedKey(*keychain), std::nullopt);
    }

    void readsOnlyUtf8_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<std::optional<QString>>("key");
        const std::optional<QString> none;
        const auto text = [](const QString& value) { return std::optional(value); };
        QTest::newRow("empty") << QByteArray("") << text(QString());
        QTest::newRow("ASCII") << QByteArray("sk_1") << text(u"sk_1"_s);
        QTest::newRow("two bytes") << QByteArray("\xc3\xa9") << text(u"\u00e9"_s);
        QTest::newRow("byte order mark") << QByteArray("\xef\xbb\xbfk") << text(u"\ufeffk"_s);
        QTest::newRow("line end") << QByteArray("k\n") << text(u"k\n"_s);
        QTest::newRow("Latin-1") << QByteArray("\xe9k") << none;
        QTest::newRow("broken off") << QByteArray("k\xc3") << none;
        QTest::newRow("overlong") << QByteArray("\xc0\xaf") << none;
        QTest::newRow("surrogate") << QByteArray("\xed\xa0\x80") << none;
    }

    void readsOnlyUtf8()
    {
        QFETCH(const QByteArray, bytes);
        QFETCH(const std::optional<QString>, key);
        items->items.emplace_back(SecretIdentity { .service = u"Shop"_s, .account = u"till"_s },
                                  bytes);
        QCOMPARE(storedKey(*keychain), key);
    }

    void keepsSurroundingSpaces()
    {
        QVERIFY(saved(*keychain, u" key\n"_s));
        QCOMPARE(storedKey(*keychain), u" key\n"_s);
    }

    void removesTheItem()
    {
        QVERIFY(saved(*keychain, u"key"_s));
        keychain->remove();
        QCOMPARE(storedKey(*keychain), std::nullopt);
        QVERIFY(items->items.empty());
    }

    void removesNothingSilently()
    {
        keychain->remove();
        QVERIFY(items->items.empty());
    }

    void leavesOtherItemsAlone()
    {
        KeychainService other(*items, u"Shop"_s, u"safe"_s);
        QVERIFY(saved(other, u"kept"_s));
        QVERIFY(saved(*keychain, u"key"_s));
        keychain->remove();
        QCOMPARE(storedKey(other), u"kept"_s);
    }

    void behavesAsOneWithAnotherInstanceOfItsIdentity()
    {
        KeychainService twin(*items, u"Shop"_s, u"till"_s);
        QVERIFY(saved(*keychain, u"first"_s));
        QCOMPARE(storedKey(twin), u"first"_s);
        QVERIFY(saved(twin, u"second"_s));
        QCOMPARE(storedKey(*keychain), u"second"_s);
        keychain->remove();
        QCOMPARE(storedKey(twin), std::nullopt);
    }

    void givesTheAgentItsOwnItem()
    {
        const KeychainService agents = makeAgentKeychain(*items);
        QCOMPARE(agents.service, u"QuibelDesktop"_s);
        QCOMPARE(agents.account, u"apiKey"_s);
    }

private:
    std::optional<FakeSecretItems> items;
    std::optional<KeychainService> keychain;
    std::vector<KeyResult> told;
    KeychainService::Receive keepRead = [this](const KeyResult& result) { told.push_back(result); };
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::KeychainServiceTest)
#include "KeychainServiceTest.moc"
