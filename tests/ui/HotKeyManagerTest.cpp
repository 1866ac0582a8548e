#include "tests/fakes/FakeHotKeyService.h"
#include "ui/HotKeyManager.h"

#include <QTest>

namespace quibel {

namespace {

constexpr QKeyCombination superShiftB = Qt::META | Qt::SHIFT | Qt::Key_B;

} // namespace

class HotKeyManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void registersNothingBeforeItIsTold()
    {
        FakeHotKeyService service;
        const HotKeyManager manager(service, superShiftB, [] {});
        QCOMPARE(service.calls, QStringList());
        QVERIFY(!manager.isRegistered());
    }

    void installsItsHandlerBeforeItRegistersTheHotKey()
    {
        FakeHotKeyService service;
        HotKeyManager manager(service, superShiftB, [] {});
        manager.registerHotKey();
        QCOMPARE(
            service.calls,
            QStringList({ QStringLiteral("installHandler"), QStringLiteral("registerHotKey") }));
    }

    void registersItsKey()
    {
        FakeHotKeyService service;
        HotKeyManager manager(service, superShiftB, [] {});
        manager.registerHotKey();
        QVERIFY(manager.isRegistered());
        QCOMPARE(service.registrations.size(), 1U);
        const auto& registration = service.registrations.begin()->second;
        QCOMPARE(registration.key, superShiftB);
        QCOMPARE(manager.key(), superShiftB);
        QCOMPARE(registration.id.signature, 0x5142484bU);
        QCOMPARE(registration.id.id, 1U);
    }

    void callsTheHandlerOnceForEachPress()
    {
        FakeHotKeyService service;
        int presses = 0;
        HotKeyManager manager(service, superShiftB, [&presses] { ++presses; });
        manager.registerHotKey();
        service.press(superShiftB);
        QCOMPARE(presses, 1);
        service.press(superShiftB);
        QCOMPARE(presses, 2);
    }

    void ignoresForeignHotKeys_data()
    {
        QTest::addColumn<std::optional<HotKeyID>>("pressed");
        QTest::newRow("other signature")
            << std::optional(HotKeyID { .signature = 0x5142484c, .id = 1 });
        QTest::newRow("signature in the other byte order")
            << std::optional(HotKeyID { .signature = 0x4b484251, .id = 1 });
        QTest::newRow("other number")
            << std::optional(HotKeyID { .signature = 0x5142484b, .id = 2 });
        QTest::newRow("zero") << std::optional(HotKeyID {});
        QTest::newRow("unreadable") << std::optional<HotKeyID>();
    }

    void ignoresForeignHotKeys()
    {
        QFETCH(const std::optional<HotKeyID>, pressed);
        FakeHotKeyService service;
        int presses = 0;
        HotKeyManager manager(service, superShiftB, [&presses] { ++presses; });
        manager.registerHotKey();
        service.deliver(pressed);
        QCOMPARE(presses, 0);
    }

    void unregistersTheHotKeyBeforeItRemovesItsHandler()
    {
        FakeHotKeyService service;
        int presses = 0;
        {
            HotKeyManager manager(service, superShiftB, [&presses] { ++presses; });
            manager.registerHotKey();
            service.calls.clear();
        }
        QCOMPARE(
            service.calls,
            QStringList({ QStringLiteral("unregisterHotKey"), QStringLiteral("removeHandler") }));
        service.press(superShiftB);
        QCOMPARE(presses, 0);
    }

    void takesBackOnlyWhatItGot_data()
    {
        QTest::addColumn<bool>("refusesHandlers");
        QTest::addColumn<bool>("refusesHotKeys");
        QTest::addColumn<QStringList>("calls");
        QTest::newRow("no hot key")
            << false << true << QStringList(QStringLiteral("removeHandler"));
        QTest::newRow("no handler")
            << true << false << QStringList(QStringLiteral("unregisterHotKey"));
        QTest::newRow("neither") << true << true << QStringList();
    }

    void takesBackOnlyWhatItGot()
    {
        QFETCH(const bool, refusesHandlers);
        QFETCH(const bool, refusesHotKeys);
        QFETCH(const QStringList, calls);
        FakeHotKeyService service;
        service.refusesHandlers = refusesHandlers;
        service.refusesHotKeys = refusesHotKeys;
        {
            HotKeyManager manager(service, superShiftB, [] {});
            manager.registerHotKey();
            QVERIFY(service.calls.endsWith(QStringLiteral("registerHotKey")));
            QVERIFY(!manager.isRegistered());
            service.calls.clear();
        }
        QCOMPARE(service.calls, calls);
    }

    void takesBackNothingWhenItWasNeverRegistered()
    {
        FakeHotKeyService service;
        {
            const HotKeyManager manager(service, superShiftB, [] {});
        }
        QCOMPARE(service.calls, QStringList());
    }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::HotKeyManagerTest)
#include "HotKeyManagerTest.moc"
