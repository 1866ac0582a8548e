#include "platform/HotKeyChoice.h"
#include "platform/freedesktop/KeyNames.h"
#include "tests/fakes/FakeHotKeyService.h"
#include "tests/fakes/FakePreferences.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel {

class HotKeyChoiceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isSuperShiftBWithoutAPreference()
    {
        const HotKeyChoice choice = chooseHotKey(FakePreferences(), FakeHotKeyService());
        QCOMPARE(choice.key, Qt::META | Qt::SHIFT | Qt::Key_B);
        QCOMPARE(choice.refusal, QString());
    }

    void takesOneKeyWithAModifier_data()
    {
        QTest::addColumn<QKeyCombination>("key");
        QTest::newRow("Meta+Shift+B") << (Qt::META | Qt::SHIFT | Qt::Key_B);
        QTest::newRow("shift+meta+n") << (Qt::META | Qt::SHIFT | Qt::Key_N);
        QTest::newRow("Ctrl+Alt+Space") << (Qt::CTRL | Qt::ALT | Qt::Key_Space);
        QTest::newRow("Meta+F9") << (Qt::META | Qt::Key_F9);
        QTest::newRow("Meta+Shift+ö") << (Qt::META | Qt::SHIFT | Qt::Key_Odiaeresis);
        QTest::newRow("Meta++") << (Qt::META | Qt::Key_Plus);
        QTest::newRow("Alt+PgUp") << (Qt::ALT | Qt::Key_PageUp);
        QTest::newRow("Shift+F9") << (Qt::SHIFT | Qt::Key_F9);
    }

    void takesOneKeyWithAModifier()
    {
        QFETCH(const QKeyCombination, key);
        const HotKeyChoice choice = choose(QString::fromUtf8(QTest::currentDataTag()));
        QCOMPARE(choice.key, key);
        QCOMPARE(choice.refusal, QString());
    }

    void refusesAnythingElse_data()
    {
        QTest::addColumn<QString>("wanted");
        QTest::newRow("empty") << u""_s;
        QTest::newRow("no modifier") << u"F9"_s;
        QTest::newRow("no modifier but Shift for a letter") << u"Shift+B"_s;
        QTest::newRow("two keys") << u"Meta+B, Meta+C"_s;
        QTest::newRow("only modifiers") << u"Meta+Shift"_s;
        QTest::newRow("a lock") << u"Meta+CapsLock"_s;
        QTest::newRow("no key") << u"Meta+"_s;
        QTest::newRow("unknown key") << u"Meta+Foo"_s;
        QTest::newRow("unknown modifier") << u"Super+B"_s;
        QTest::newRow("keypad") << u"Meta+Num+5"_s;
    }

    void refusesAnythingElse()
    {
        QFETCH(const QString, wanted);
        const HotKeyChoice choice = choose(wanted);
        QCOMPARE(choice.key, HotKeyChoice().key);
        QCOMPARE(choice.refusal,
                 u"quibel.hotKey: \"%1\" is not one key with a modifier, such as"
                 " \"Meta+Shift+B\""_s.arg(wanted));
    }

    void refusesAKeyThatTheKeyboardDoesNotHave()
    {
        hotKeys.missingKeys = { Qt::Key_Odiaeresis };
        const HotKeyChoice choice = choose(u"Meta+ö"_s);
        QCOMPARE(choice.key, HotKeyChoice().key);
        QCOMPARE(choice.refusal, u"quibel.hotKey: \"Meta+ö\" is not on this keyboard"_s);
    }

    void isWrittenAsTheDesktopWritesItsKeys()
    {
        const KeyNames names;
        QCOMPARE(hotKeyText(HotKeyChoice().key), u"Super+Shift+B"_s);
        QCOMPARE(hotKeyText(Qt::CTRL | Qt::ALT | Qt::Key_Space), u"Ctrl+Alt+Space"_s);
        QCOMPARE(hotKeyText(Qt::META | Qt::Key_Odiaeresis), u"Super+Ö"_s);
    }

private:
    [[nodiscard]] HotKeyChoice choose(const QString& wanted) const
    {
        FakePreferences preferences;
        preferences.setText(u"quibel.hotKey"_s, wanted);
        return chooseHotKey(preferences, hotKeys);
    }

    FakeHotKeyService hotKeys;
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::HotKeyChoiceTest)
#include "HotKeyChoiceTest.moc"
