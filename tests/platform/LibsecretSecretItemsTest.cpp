#include "account/KeychainService.h"
#include "platform/libsecret/LibsecretSecretItems.h"
#include "tests/desktop/StoppedProcess.h"
#include "tests/desktop/VirtualDesktop.h"
#include "tests/platform/PromptingSecretStore.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <functional>
#include <memory>

#include <malloc.h>
#include <sys/types.h>

/// The allocator of the sanitizers, where the program has it.
// NOLINTNEXTLINE(bugprone-reserved-identifier, readability-identifier-naming): the name it has.
extern "C" __attribute__((weak)) std::size_t __sanitizer_get_current_allocated_bytes();

using namespace quibel;
using namespace Qt::StringLiterals;
using quibel::testing::StoppedProcess;
using quibel::testing::VirtualDesktop;

namespace {

const SecretIdentity identity { .service = u"QuibelDesktop"_s, .account = u"apiKey"_s };
const QStringList itemAttributes { u"service"_s, u"QuibelDesktop"_s, u"account"_s, u"apiKey"_s };

/// Makes this program a store for its own test.
const QString promptingStore = u"--prompting-store"_s;

/// Makes this program a store that ends as soon as it has started, and notes that in a file.
const QString dyingStore = u"--dying-store"_s;

/// A change is told of some seconds after it was first waited for.
constexpr int longestUntilToldMs = 20'000;

constexpr qint64 longestCallMs = 2'000;

SecretAnswer stored(const QByteArray& secret)
{
    return { .status = SecretStatus::success, .data = secret };
}

/// What a call returned and how long it took.
struct TimedStatus
{
    SecretStatus status = SecretStatus::success;
    qint64 milliseconds = 0;
};

TimedStatus timed(const std::function<SecretStatus()>& call)
{
    QElapsedTimer timer;
    timer.start();
    const SecretStatus status = call();
    return { .status = status, .milliseconds = timer.elapsed() };
}

/// Reads, and waits until the service is given up.
SecretAnswer readNow(LibsecretSecretItems& items, const SecretIdentity& wanted = identity)
{
    QObject owner;
    std::optional<SecretAnswer> read;
    items.copyMatching(
        wanted, std::chrono::minutes(1), owner, [&](const SecretAnswer& answer) { read = answer; });
    return read.value();
}

/// Bytes of the heap that are in use.
qint64 allocatedBytes()
{
    const std::size_t bytes = __sanitizer_get_current_allocated_bytes != nullptr
        ? __sanitizer_get_current_allocated_bytes()
        : mallinfo2().uordblks;
    return static_cast<qint64>(bytes);
}

/// A read that waits for the service for a short time only, and what became of it.
class ImpatientRead
{
    Q_DISABLE_COPY_MOVE(ImpatientRead)

public:
    explicit ImpatientRead(LibsecretSecretItems& items,
                           std::chrono::milliseconds longest = std::chrono::milliseconds(50))
        : hold(longest)
        , owner(std::make_unique<QObject>())
    {
        const auto take = [this](const SecretAnswer& answer) {
            if (held)
                late.push_back(answer);
            else
                inTime = answer;
        };
        QElapsedTimer timer;
        timer.start();
        items.copyMatching(identity, hold, *owner, take);
        held = std::chrono::milliseconds(timer.elapsed());
    }
    ~ImpatientRead() = default;

    /// Whether it was let go without an answer after its time.
    [[nodiscard]] bool wasLetGo() const
    {
        return !inTime && late.empty() && held >= hold && held < longestHold;
    }

    // Less than the time after which a change is given up, more than a busy machine needs.
    static constexpr std::chrono::milliseconds longestHold { 1'000 };

    std::chrono::milliseconds hold;
    std::unique_ptr<QObject> owner;
    std::optional<SecretAnswer> inTime;
    std::optional<std::chrono::milliseconds> held; ///< Once the call has returned.
    std::vector<SecretAnswer> late;
};

std::vector<TimedStatus> everyChange(LibsecretSecretItems& items)
{
    return { timed([&] { return items.add(identity, "new"); }),
             timed([&] { return items.update(identity, "newer"); }),
             timed([&] { return items.remove(identity); }) };
}

std::vector<TimedStatus> everyCall(LibsecretSecretItems& items)
{
    std::vector<TimedStatus> calls { timed([&] { return readNow(items).status; }) };
    const std::vector<TimedStatus> changes = everyChange(items);
    calls.insert(calls.end(), changes.begin(), changes.end());
    return calls;
}

QString secrets(const VirtualDesktop& desktop,
                const QString& object,
                const QString& method,
                const QStringList& arguments)
{
    const auto answer = desktop.output(u"gdbus"_s,
                                       QStringList { u"call"_s,
                                                     u"--session"_s,
                                                     u"--dest"_s,
                                                     u"org.freedesktop.secrets"_s,
                                                     u"--object-path"_s,
                                                     object,
                                                     u"--method"_s,
                                                     method }
                                           + arguments);
    return QString::fromUtf8(answer.value_or("failed"));
}

pid_t ownerOf(const VirtualDesktop& desktop, const QString& busName)
{
    const auto answer = desktop.output(u"gdbus"_s,
                                       { u"call"_s,
                                         u"--session"_s,
                                         u"--dest"_s,
                                         u"org.freedesktop.DBus"_s,
                                         u"--object-path"_s,
                                         u"/org/freedesktop/DBus"_s,
                                         u"--method"_s,
                                         u"org.freedesktop.DBus.GetConnectionUnixProcessID"_s,
                                         busName });
    const QRegularExpression number(u"uint32 (\\d+)"_s);
    return number.match(QString::fromUtf8(answer.value_or(""))).captured(1).toInt();
}

} // namespace

class LibsecretSecretItemsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void addsAnItemThatOtherProgramsFind();
    void readsAnItemThatAnotherProgramStored();
    void keepsNothingOfWhatItHasRead();
    void refusesASecondItem();
    void updatesTheItem();
    void doesNotUpdateAnItemThatIsNotThere();
    void readsNoItemAsNotFound();
    void removesEveryMatchingItem();
    void keepsBytesAsTheyAre_data();
    void keepsBytesAsTheyAre();
    void keepsAccountsApart();
    void seesAnotherProgramsChangeAtOnce();

    void neverAsksToUnlock();
    void changesNoneOfTwoItemsWhileOneIsLocked();
    void isDoneWithUnlockingWhenNothingIsLocked();
    void isDoneWithUnlockingWhenTheUserHasAnswered();
    void isDoneWithUnlockingWhenTheServiceGoesOrHangs_data();
    void isDoneWithUnlockingWhenTheServiceGoesOrHangs();
    void endsWhileTheUserIsAsked();
    void tellsOfTheNextChangeOnce();
    void tellsWhenAServiceComes();
    void leavesSomeTimeBetweenTwoChanges();
    void startsNoStoreAgainAndAgainThatEndsAtOnce();
    void forgetsWhatNobodyWaitsForAnyMore();
    void neverStartsAPromptThatAnswersAChange();
    void createsNoDefaultCollection();
    void isUnavailableWithoutAService();
    void isUnavailableWithoutASessionBus();
    void worksAgainWithAServiceThatWasStartedAgain();
    void returnsWhenTheServiceDiesDuringACall();
    void returnsInTimeWhenTheServiceHangs();
    void returnsInTimeWhenTheBusHangs();
    void outlivesTheBus();
    void tellsInWhatStateTheStoreIs();
    void tellsThatThereIsNoStore();

    void answersInTimeWhenTheServiceDoes();
    void answersLateWhoeverDoesNotWait();
    void answersLateWhenTheServiceHangs();
    void answersLateThatAHangDoesNotEnd();
    void answersLateWhenItIsNotConnectedYet();
    void takesOtherCallsWhileAnAnswerIsAwaited();
    void answersOnlyThoseWhoAreStillThere();
    void endsWhileAnAnswerIsAwaited();

private:
    [[nodiscard]] std::optional<QByteArray> lookedUp() const
    {
        return desktop.output(u"secret-tool"_s, QStringList { u"lookup"_s } + itemAttributes);
    }
    void store(const QByteArray& secret, const QStringList& moreAttributes = {}) const
    {
        QVERIFY(desktop.output(u"secret-tool"_s,
                               QStringList { u"store"_s, u"--label=other"_s } + itemAttributes
                                   + moreAttributes,
                               secret));
    }
    [[nodiscard]] QString lock() const
    {
        return secrets(desktop,
                       u"/org/freedesktop/secrets"_s,
                       u"org.freedesktop.Secret.Service.Lock"_s,
                       { u"['/org/freedesktop/secrets/collection/login']"_s });
    }
    /// Puts a store that prompts for everything in the place of the key ring.
    [[nodiscard]] QProcess* startPromptingStore()
    {
        desktop.stopKeyRing();
        QProcess* const store
            = desktop.launch(QCoreApplication::applicationFilePath(), { promptingStore });
        return store != nullptr && waitFor(*store, "ready\n") ? store : nullptr;
    }
    [[nodiscard]] static bool waitFor(QProcess& store, const QByteArray& word)
    {
        QByteArray told;
        return QTest::qWaitFor(
            [&] { return (told += store.readAllStandardOutput()).contains(word); }, 20'000);
    }
    VirtualDesktop desktop { { .windowManager = QString(), .keyRing = true } };
};

void LibsecretSecretItemsTest::initTestCase()
{
    QVERIFY(desktop.start());
    desktop.enter();
}

void LibsecretSecretItemsTest::init()
{
    desktop.stopKeyRing();
    QVERIFY(desktop.startKeyRing());
    static_cast<void>(
        desktop.output(u"secret-tool"_s, QStringList { u"clear"_s } + itemAttributes));
    QVERIFY(!lookedUp());
}

void LibsecretSecretItemsTest::addsAnItemThatOtherProgramsFind()
{
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, "secret"), SecretStatus::success);
    QCOMPARE(lookedUp(), QByteArray("secret"));

    const QString found = secrets(desktop,
                                  u"/org/freedesktop/secrets"_s,
                                  u"org.freedesktop.Secret.Service.SearchItems"_s,
                                  { u"{'service': 'QuibelDesktop', 'account': 'apiKey'}"_s });
    const QString path = QRegularExpression(u"'(/org/freedesktop/secrets/collection/[^']*)'"_s)
                             .match(found)
                             .captured(1);
    const auto property = [&](const QString& name) {
        return secrets(desktop,
                       path,
                       u"org.freedesktop.DBus.Properties.Get"_s,
                       { u"org.freedesktop.Secret.Item"_s, name })
            .trimmed();
    };
    QCOMPARE(property(u"Label"_s), u"(<'QuibelDesktop'>,)"_s);
    QString written = property(u"Attributes"_s);
    written.remove(u", 'xdg:schema': 'org.freedesktop.Secret.Generic'"_s);
    QCOMPARE(written, u"(<{'account': 'apiKey', 'service': 'QuibelDesktop'}>,)"_s);
}

void LibsecretSecretItemsTest::readsAnItemThatAnotherProgramStored()
{
    store("from outside");
    LibsecretSecretItems items;
    const SecretAnswer expected { .status = SecretStatus::success, .data = "from outside" };
    QCOMPARE(readNow(items), expected);
}

void LibsecretSecretItemsTest::keepsNothingOfWhatItHasRead()
{
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, "secret"), SecretStatus::success);
    const auto readOften = [&items] {
        for (int count = 0; count < 100; ++count)
            if (readNow(items) != stored("secret"))
                return false;
        return true;
    };
    QVERIFY(readOften());
    const qint64 before = allocatedBytes();
    QVERIFY(readOften());
    const qint64 kept = allocatedBytes() - before;
    constexpr qint64 oneAnswerEach = 50'000;
    QVERIFY2(kept < oneAnswerEach, qPrintable(u"%1 bytes"_s.arg(kept)));
}

void LibsecretSecretItemsTest::refusesASecondItem()
{
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, "first"), SecretStatus::success);
    QCOMPARE(items.add(identity, "second"), SecretStatus::duplicateItem);
    QCOMPARE(lookedUp(), QByteArray("first"));
}

void LibsecretSecretItemsTest::updatesTheItem()
{
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, "first"), SecretStatus::success);
    QCOMPARE(items.update(identity, "second"), SecretStatus::success);
    QCOMPARE(lookedUp(), QByteArray("second"));
    QCOMPARE(readNow(items).data, QByteArray("second"));
    QCOMPARE(items.remove(identity), SecretStatus::success);
    QVERIFY(!lookedUp());
}

void LibsecretSecretItemsTest::doesNotUpdateAnItemThatIsNotThere()
{
    LibsecretSecretItems items;
    QCOMPARE(items.update(identity, "new"), SecretStatus::itemNotFound);
    QVERIFY(!lookedUp());
}

void LibsecretSecretItemsTest::readsNoItemAsNotFound()
{
    LibsecretSecretItems items;
    const SecretAnswer expected { .status = SecretStatus::itemNotFound, .data = std::nullopt };
    QCOMPARE(readNow(items), expected);
    QCOMPARE(items.remove(identity), SecretStatus::itemNotFound);
}

void LibsecretSecretItemsTest::removesEveryMatchingItem()
{
    store("one");
    store("two", { u"kind"_s, u"spare"_s });
    LibsecretSecretItems items;
    QCOMPARE(items.remove(identity), SecretStatus::success);
    QVERIFY(!lookedUp());
}

void LibsecretSecretItemsTest::keepsBytesAsTheyAre_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("empty") << QByteArray("");
    QTest::newRow("spaces around") << QByteArray("  key \n");
    QTest::newRow("beyond ASCII") << QByteArray("schl\xc3\xbcssel");
    QTest::newRow("no text") << QByteArray("\0\xff\0", 3);
    QTest::newRow("long") << QByteArray(20'000, 'k');
}

void LibsecretSecretItemsTest::keepsBytesAsTheyAre()
{
    QFETCH(const QByteArray, bytes);
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, bytes), SecretStatus::success);
    QCOMPARE(readNow(items).data, bytes);
    QCOMPARE(items.update(identity, "between"), SecretStatus::success);
    QCOMPARE(items.update(identity, bytes), SecretStatus::success);
    QCOMPARE(readNow(items).data, bytes);
}

void LibsecretSecretItemsTest::keepsAccountsApart()
{
    const SecretIdentity other { .service = u"QuibelDesktop"_s, .account = u"otherKey"_s };
    LibsecretSecretItems items;
    items.remove(other);
    QCOMPARE(items.add(identity, "mine"), SecretStatus::success);
    QCOMPARE(readNow(items, other).status, SecretStatus::itemNotFound);
    QCOMPARE(items.add(other, "theirs"), SecretStatus::success);
    QCOMPARE(items.remove(other), SecretStatus::success);
    QCOMPARE(readNow(items).data, QByteArray("mine"));
}

void LibsecretSecretItemsTest::seesAnotherProgramsChangeAtOnce()
{
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, "mine"), SecretStatus::success);
    store("theirs");
    QCOMPARE(readNow(items).data, QByteArray("theirs"));
    QVERIFY(desktop.output(u"secret-tool"_s, QStringList { u"clear"_s } + itemAttributes));
    QCOMPARE(readNow(items).status, SecretStatus::itemNotFound);
}

void LibsecretSecretItemsTest::neverAsksToUnlock()
{
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, "mine"), SecretStatus::success);
    QProcess* const monitor = desktop.launch(
        u"dbus-monitor"_s,
        { u"--session"_s, u"interface='org.freedesktop.Secret.Prompt',type='method_call'"_s });
    QVERIFY(monitor != nullptr);
    QTRY_VERIFY(monitor->bytesAvailable() > 0);
    QVERIFY(lock().contains(u"/collection/login"_s));

    LibsecretSecretItems unconnected;
    for (LibsecretSecretItems* const each : { &items, &unconnected })
        for (const TimedStatus& call : everyCall(*each))
            QCOMPARE(call.status, SecretStatus::locked);
    const SecretIdentity other { .service = u"QuibelDesktop"_s, .account = u"otherKey"_s };
    QCOMPARE(items.add(other, "new"), SecretStatus::locked);
    QCOMPARE(readNow(items, other).status, SecretStatus::locked);

    // A program that does ask shows that the monitor would have told.
    QProcess* const asking
        = desktop.launch(u"secret-tool"_s, QStringList { u"lookup"_s } + itemAttributes);
    QByteArray told;
    QTRY_VERIFY((told += monitor->readAllStandardOutput()).contains("member=Prompt"));
    QCOMPARE(told.count("member=Prompt"), 1);
    desktop.stop(asking);
    desktop.stop(monitor);
}

void LibsecretSecretItemsTest::changesNoneOfTwoItemsWhileOneIsLocked()
{
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, "locked away"), SecretStatus::success);
    // This key ring is never locked.
    QVERIFY(desktop.output(u"secret-tool"_s,
                           QStringList { u"store"_s, u"--collection=session"_s, u"--label=q"_s }
                               + itemAttributes + QStringList { u"more"_s, u"1"_s },
                           "open"));
    QVERIFY(lock().contains(u"/collection/login"_s));
    QCOMPARE(items.add(identity, "new"), SecretStatus::duplicateItem);
    QCOMPARE(items.update(identity, "new"), SecretStatus::locked);
    QCOMPARE(readNow(items), stored("open"));
}

void LibsecretSecretItemsTest::isDoneWithUnlockingWhenNothingIsLocked()
{
    LibsecretSecretItems items;
    QObject owner;
    int done = 0;
    items.unlock(identity, owner, [&done] { ++done; });
    QCOMPARE(done, 0);
    QTRY_COMPARE(done, 1);
    QCOMPARE(items.add(identity, "mine"), SecretStatus::success);
    items.unlock(identity, owner, [&done] { ++done; });
    QTRY_COMPARE(done, 2);
    desktop.stopKeyRing();
    items.unlock(identity, owner, [&done] { ++done; });
    QTRY_COMPARE(done, 3);
}

void LibsecretSecretItemsTest::isDoneWithUnlockingWhenTheUserHasAnswered()
{
    QProcess* const store = startPromptingStore();
    QVERIFY(store);
    LibsecretSecretItems items;
    QObject owner;
    int done = 0;
    items.unlock(identity, owner, [&done] { ++done; });
    QVERIFY(waitFor(*store, "prompted"));
    QCoreApplication::processEvents();
    QCOMPARE(done, 0);
    secrets(desktop, u"/org/freedesktop/secrets"_s, u"org.quibel.Test.AnswerPrompt"_s, {});
    QTRY_COMPARE(done, 1);
    desktop.stop(store);
}

void LibsecretSecretItemsTest::isDoneWithUnlockingWhenTheServiceGoesOrHangs_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("goes") << SIGKILL;
    QTest::newRow("hangs") << SIGSTOP;
}

void LibsecretSecretItemsTest::isDoneWithUnlockingWhenTheServiceGoesOrHangs()
{
    QFETCH(const int, signal);
    QProcess* const store = startPromptingStore();
    QVERIFY(store);
    LibsecretSecretItems items;
    QObject owner;
    bool done = false;
    items.unlock(identity, owner, [&done] { done = true; });
    QVERIFY(waitFor(*store, "prompted"));
    ::kill(static_cast<pid_t>(store->processId()), signal);
    QTRY_VERIFY_WITH_TIMEOUT(done, 40'000);
    store->kill();
    desktop.stop(store);
}

void LibsecretSecretItemsTest::endsWhileTheUserIsAsked()
{
    QProcess* const store = startPromptingStore();
    QVERIFY(store);
    std::optional<LibsecretSecretItems> items(std::in_place);
    QObject owner;
    bool done = false;
    items->unlock(identity, owner, [&done] { done = true; });
    items->awaitChange(owner, [&done] { done = true; });
    QVERIFY(waitFor(*store, "prompted"));
    QElapsedTimer timer;
    timer.start();
    items.reset();
    QVERIFY2(timer.elapsed() < ImpatientRead::longestHold.count(), "waited for the user");
    QCoreApplication::processEvents();
    QVERIFY(!done);
    desktop.stop(store);
}

void LibsecretSecretItemsTest::tellsOfTheNextChangeOnce()
{
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, "mine"), SecretStatus::success);
    QObject owner;
    int told = 0;
    items.awaitChange(owner, [&told] { ++told; });
    QCOMPARE(readNow(items), stored("mine")); // Which is no change.
    QCoreApplication::processEvents();
    QCOMPARE(told, 0);
    QVERIFY(lock().contains(u"/collection/login"_s));
    QTRY_COMPARE_WITH_TIMEOUT(told, 1, longestUntilToldMs);
    desktop.stopKeyRing();
    QVERIFY(desktop.startKeyRing());
    QCOMPARE(readNow(items), stored("mine"));
    QCoreApplication::processEvents();
    QCOMPARE(told, 1);
}

void LibsecretSecretItemsTest::tellsWhenAServiceComes()
{
    desktop.stopKeyRing();
    LibsecretSecretItems items;
    QObject owner;
    bool told = false;
    items.awaitChange(owner, [&told] { told = true; });
    QCOMPARE(readNow(items).status, SecretStatus::unavailable);
    QVERIFY(!told);
    QVERIFY(desktop.startKeyRing());
    QTRY_VERIFY_WITH_TIMEOUT(told, longestUntilToldMs);
}

void LibsecretSecretItemsTest::leavesSomeTimeBetweenTwoChanges()
{
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, "mine"), SecretStatus::success);
    QObject owner;
    QElapsedTimer timer;
    timer.start();
    bool told = false;
    items.awaitChange(owner, [&told] { told = true; });
    QVERIFY(lock().contains(u"/collection/login"_s));
    QTRY_VERIFY_WITH_TIMEOUT(told, longestUntilToldMs);
    QVERIFY2(timer.elapsed() >= 2'500, "a store that is never silent would be read all the time");
}

void LibsecretSecretItemsTest::startsNoStoreAgainAndAgainThatEndsAtOnce()
{
    desktop.stopKeyRing();
    const QTemporaryDir directory;
    const QString starts = directory.filePath(u"starts"_s);
    QVERIFY(desktop.installBusService(
        u"org.freedesktop.secrets"_s,
        u"%1 %2 %3"_s.arg(QCoreApplication::applicationFilePath(), dyingStore, starts)));
    LibsecretSecretItems items;
    const KeychainService keychain = makeAgentKeychain(items);
    QObject owner;
    std::optional<KeyResult> key;
    keychain.readWhenAnswered(owner, [&key](const KeyResult& result) { key = result; });
    QTest::qWait(8'000);
    const qint64 count = QFileInfo(starts).size();
    QTest::qWait(5'000);
    const qint64 later = QFileInfo(starts).size();
    QVERIFY(desktop.removeBusService(u"org.freedesktop.secrets"_s));
    QVERIFY(count > 0);
    QCOMPARE(later, count);
    QVERIFY(!key);
    QVERIFY(desktop.startKeyRing());
    QTRY_COMPARE_WITH_TIMEOUT(key, std::optional(KeyResult(KeyError::noKey)), longestUntilToldMs);
}

void LibsecretSecretItemsTest::forgetsWhatNobodyWaitsForAnyMore()
{
    LibsecretSecretItems items;
    const auto waitInVain = [&items] {
        QObject owner;
        items.awaitChange(owner, [] {});
    };
    waitInVain();
    const qint64 before = allocatedBytes();
    constexpr int times = 200;
    for (int i = 0; i < times; ++i)
        waitInVain();
    // What the library releases in a later turn is less than half a kilobyte.
    const qint64 kept = (allocatedBytes() - before) / times;
    QVERIFY2(kept < 512, qPrintable(u"%1 bytes of each"_s.arg(kept)));
}

void LibsecretSecretItemsTest::neverStartsAPromptThatAnswersAChange()
{
    desktop.stopKeyRing();
    QProcess* const store
        = desktop.launch(QCoreApplication::applicationFilePath(), { promptingStore });
    QVERIFY(store != nullptr);
    QByteArray told;
    QTRY_COMPARE(told += store->readAllStandardOutput(), QByteArray("ready\n"));

    const SecretIdentity existing { .service = u"QuibelDesktop"_s, .account = u"existing"_s };
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, "new"), SecretStatus::unavailable);
    QCOMPARE(items.add(existing, "new"), SecretStatus::duplicateItem);
    QCOMPARE(items.remove(existing), SecretStatus::unavailable);

    // A program that does start it shows that the store would have told.
    QProcess* const asking = desktop.launch(
        u"secret-tool"_s,
        { u"clear"_s, u"service"_s, existing.service, u"account"_s, existing.account });
    QTRY_VERIFY((told += store->readAllStandardOutput()).contains("prompted"));
    QCOMPARE(told, QByteArray("ready\nprompted\n"));
    desktop.stop(asking);
    desktop.stop(store);
}

void LibsecretSecretItemsTest::createsNoDefaultCollection()
{
    VirtualDesktop fresh({ .windowManager = QString(), .keyRing = false });
    QVERIFY(fresh.start());
    fresh.enter();
    // Started without a password, it makes no collection of its own.
    QVERIFY(
        fresh.launch(u"gnome-keyring-daemon"_s, { u"--foreground"_s, u"--components=secrets"_s }));
    LibsecretSecretItems items;
    QTRY_COMPARE(readNow(items).status, SecretStatus::itemNotFound);
    const SecretStatus status = items.add(identity, "new");
    const SecretStoreState state = items.state();
    const QString collections = secrets(fresh,
                                        u"/org/freedesktop/secrets"_s,
                                        u"org.freedesktop.DBus.Properties.Get"_s,
                                        { u"org.freedesktop.Secret.Service"_s, u"Collections"_s });
    desktop.enter();
    QCOMPARE(status, SecretStatus::unavailable);
    QCOMPARE(state, SecretStoreState::unmade);
    QCOMPARE(collections.count(u"/collection/"_s), 1);
    QVERIFY(collections.contains(u"/collection/session"_s));
}

void LibsecretSecretItemsTest::isUnavailableWithoutAService()
{
    desktop.stopKeyRing();
    LibsecretSecretItems items;
    for (const TimedStatus& call : everyCall(items)) {
        QCOMPARE(call.status, SecretStatus::unavailable);
        QVERIFY2(call.milliseconds < longestCallMs / 2, "waited for a service that is not there");
    }
}

void LibsecretSecretItemsTest::isUnavailableWithoutASessionBus()
{
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    LibsecretSecretItems items;
    const std::vector<TimedStatus> calls = everyCall(items);
    desktop.enter();
    for (const TimedStatus& call : calls) {
        QCOMPARE(call.status, SecretStatus::unavailable);
        QVERIFY2(call.milliseconds < longestCallMs / 2, "waited for a bus that is not there");
    }
    QTRY_COMPARE(readNow(items).status, SecretStatus::itemNotFound);
    QCOMPARE(items.add(identity, "mine"), SecretStatus::success);
}

void LibsecretSecretItemsTest::worksAgainWithAServiceThatWasStartedAgain()
{
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, "mine"), SecretStatus::success);
    desktop.stopKeyRing();
    QVERIFY(desktop.startKeyRing());
    QCOMPARE(readNow(items).data, QByteArray("mine"));

    desktop.stopKeyRing();
    QCOMPARE(readNow(items).status, SecretStatus::unavailable);
    QVERIFY(desktop.startKeyRing());
    QCOMPARE(items.update(identity, "new"), SecretStatus::success);
    QCOMPARE(lookedUp(), QByteArray("new"));
}

void LibsecretSecretItemsTest::returnsWhenTheServiceDiesDuringACall()
{
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, "mine"), SecretStatus::success);
    const pid_t pid = desktop.keyRingProcess();
    ::kill(pid, SIGSTOP);
    QProcess killer;
    killer.start(u"sh"_s, { u"-c"_s, u"sleep 0.2; kill -KILL %1"_s.arg(pid) });
    QVERIFY(killer.waitForStarted());
    const TimedStatus call = timed([&] { return readNow(items).status; });
    QVERIFY(killer.waitForFinished());
    QCOMPARE(call.status, SecretStatus::unavailable);
    QVERIFY(call.milliseconds < longestCallMs);
    desktop.stopKeyRing();
    QVERIFY(desktop.startKeyRing());
    QCOMPARE(readNow(items).data, QByteArray("mine"));
}

void LibsecretSecretItemsTest::returnsInTimeWhenTheServiceHangs()
{
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, "mine"), SecretStatus::success);
    LibsecretSecretItems unconnected;
    {
        const StoppedProcess hanging(desktop.keyRingProcess());
        for (LibsecretSecretItems* const each : { &items, &unconnected })
            for (const TimedStatus& change : everyChange(*each)) {
                QCOMPARE(change.status, SecretStatus::unavailable);
                QVERIFY2(change.milliseconds < longestCallMs, "waited too long");
            }
    }
    QCOMPARE(readNow(items).data, QByteArray("mine"));
}

void LibsecretSecretItemsTest::returnsInTimeWhenTheBusHangs()
{
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, "mine"), SecretStatus::success);
    {
        const StoppedProcess hanging(ownerOf(desktop, u"org.freedesktop.DBus"_s));
        for (const TimedStatus& change : everyChange(items)) {
            QCOMPARE(change.status, SecretStatus::unavailable);
            QVERIFY2(change.milliseconds < longestCallMs, "waited too long");
        }
        // GLib may tell at once that a connection it was at has been given up.
        const ImpatientRead read(items);
        QCOMPARE(read.inTime.value_or(SecretAnswer {}), SecretAnswer {});
        QVERIFY(read.held < ImpatientRead::longestHold);
    }
    QTRY_COMPARE(readNow(items).data, QByteArray("mine"));
}

void LibsecretSecretItemsTest::outlivesTheBus()
{
    LibsecretSecretItems items;
    {
        VirtualDesktop shortLived({ .windowManager = QString(), .keyRing = true });
        QVERIFY(shortLived.start());
        shortLived.enter();
        QCOMPARE(items.add(identity, "there"), SecretStatus::success);
    }
    QCOMPARE(readNow(items).status, SecretStatus::unavailable);
    desktop.enter();
    // GLib gives a connection up in a thread of its own, so that the old one may turn up once more.
    QTRY_COMPARE(readNow(items).status, SecretStatus::itemNotFound);
    QCOMPARE(items.add(identity, "here"), SecretStatus::success);
    QCOMPARE(lookedUp(), QByteArray("here"));
}

void LibsecretSecretItemsTest::tellsInWhatStateTheStoreIs()
{
    LibsecretSecretItems items;
    QCOMPARE(items.state(), SecretStoreState::unlocked);
    QVERIFY(lock().contains(u"/collection/login"_s));
    QCOMPARE(items.state(), SecretStoreState::locked);
}

void LibsecretSecretItemsTest::tellsThatThereIsNoStore()
{
    LibsecretSecretItems items;
    {
        const StoppedProcess hanging(desktop.keyRingProcess());
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(items.state(), SecretStoreState::absent);
        QVERIFY2(timer.elapsed() < longestCallMs, "waited too long");
    }
    desktop.stopKeyRing();
    QCOMPARE(items.state(), SecretStoreState::absent);
}

void LibsecretSecretItemsTest::answersInTimeWhenTheServiceDoes()
{
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, "mine"), SecretStatus::success);
    // A machine may be busier than the hold is long.
    QTRY_COMPARE(ImpatientRead(items).inTime, stored("mine"));
}

void LibsecretSecretItemsTest::answersLateWhoeverDoesNotWait()
{
    store("theirs");
    LibsecretSecretItems items;
    const ImpatientRead unconnected(items, {});
    QVERIFY(unconnected.wasLetGo());
    QTRY_COMPARE(unconnected.late, std::vector { stored("theirs") });
    const ImpatientRead connected(items, {});
    QVERIFY(connected.wasLetGo());
    QTRY_COMPARE(connected.late, std::vector { stored("theirs") });
}

void LibsecretSecretItemsTest::answersLateWhenTheServiceHangs()
{
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, "mine"), SecretStatus::success);
    std::optional<StoppedProcess> hanging(desktop.keyRingProcess());
    const ImpatientRead first(items);
    const ImpatientRead second(items);
    QVERIFY(first.wasLetGo());
    QVERIFY(second.wasLetGo());
    hanging.reset();
    QTRY_COMPARE(first.late, std::vector { stored("mine") });
    QTRY_COMPARE(second.late, std::vector { stored("mine") });
}

void LibsecretSecretItemsTest::answersLateThatAHangDoesNotEnd()
{
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, "mine"), SecretStatus::success);
    const StoppedProcess hanging(desktop.keyRingProcess());
    const ImpatientRead read(items);
    QVERIFY(read.wasLetGo());
    QTRY_COMPARE_WITH_TIMEOUT(read.late, std::vector { SecretAnswer {} }, 20'000);
}

void LibsecretSecretItemsTest::answersLateWhenItIsNotConnectedYet()
{
    LibsecretSecretItems items;
    store("theirs");
    std::optional<StoppedProcess> hanging(desktop.keyRingProcess());
    const ImpatientRead read(items);
    QVERIFY(read.wasLetGo());
    hanging.reset();
    QTRY_COMPARE(read.late, std::vector { stored("theirs") });
    QCOMPARE(readNow(items), stored("theirs"));
}

void LibsecretSecretItemsTest::takesOtherCallsWhileAnAnswerIsAwaited()
{
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, "mine"), SecretStatus::success);
    std::optional<StoppedProcess> hanging(desktop.keyRingProcess());
    const ImpatientRead read(items);
    hanging.reset();
    QCOMPARE(items.update(identity, "new"), SecretStatus::success);
    QCOMPARE(readNow(items), stored("new"));
    QVERIFY(read.late.empty());
    QTRY_COMPARE(read.late, std::vector { stored("mine") });
}

void LibsecretSecretItemsTest::answersOnlyThoseWhoAreStillThere()
{
    LibsecretSecretItems items;
    QCOMPARE(items.add(identity, "mine"), SecretStatus::success);
    std::optional<StoppedProcess> hanging(desktop.keyRingProcess());
    ImpatientRead gone(items);
    const ImpatientRead there(items);
    gone.owner.reset();
    hanging.reset();
    QTRY_COMPARE(there.late, std::vector { stored("mine") });
    QVERIFY(gone.late.empty());
}

void LibsecretSecretItemsTest::endsWhileAnAnswerIsAwaited()
{
    std::optional<LibsecretSecretItems> items(std::in_place);
    QCOMPARE(items->add(identity, "mine"), SecretStatus::success);
    std::optional<LibsecretSecretItems> unconnected(std::in_place);
    std::optional<StoppedProcess> hanging(desktop.keyRingProcess());
    const ImpatientRead read(*items);
    const ImpatientRead early(*unconnected);
    QVERIFY(read.wasLetGo());
    QVERIFY(early.wasLetGo());
    QElapsedTimer timer;
    timer.start();
    items.reset();
    unconnected.reset();
    QVERIFY2(timer.elapsed() < ImpatientRead::longestHold.count(), "waited for the answer");
    hanging.reset();
    LibsecretSecretItems others;
    QCOMPARE(readNow(others), stored("mine"));
    QCoreApplication::processEvents();
    QVERIFY(read.late.empty());
    QVERIFY(early.late.empty());
}

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    if (QCoreApplication::arguments().contains(promptingStore)) {
        quibel::testing::PromptingSecretStore store;
        if (!store.start())
            return 1;
        std::puts("ready");
        std::fflush(stdout);
        return QCoreApplication::exec();
    }
    if (QCoreApplication::arguments().contains(dyingStore)) {
        QFile starts(QCoreApplication::arguments().constLast());
        const bool isNoted = starts.open(QIODevice::Append) && starts.write("x") == 1;
        return isNoted
                && QDBusConnection::sessionBus().registerService(u"org.freedesktop.secrets"_s)
            ? 0
            : 1;
    }
    LibsecretSecretItemsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "LibsecretSecretItemsTest.moc"
