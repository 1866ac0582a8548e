#include "platform/x11/XcbConnection.h"
#include "tests/platform/Keyboard.h"
#include "tests/system/AgentRun.h"
#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QApplication>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel::testing {

/// A hot key of the user's own choice.
class HotKeyTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    [[nodiscard]] bool launchWithHotKey(const QString& key)
    {
        session->writePreferences({ { u"quibel.hotKey"_s, key } });
        return session->launch();
    }

    /// Types into the application in front, which shows that whatever was pressed before has been
    /// dealt with.
    [[nodiscard]] bool reachesEditor(const QString& character) const
    {
        session->press(character);
        return QTest::qWaitFor([&] { return editor->field.text().endsWith(character); }, 20'000);
    }

    [[nodiscard]] AgentRun diagnosis() const
    {
        return AgentRun::of(desktop.environment(), { u"--doctor"_s }).value_or(AgentRun());
    }

    std::unique_ptr<AgentSession> session;
    std::unique_ptr<EditorWindow> editor;

private Q_SLOTS:
    void init()
    {
        session = std::make_unique<AgentSession>(desktop);
        editor = std::make_unique<EditorWindow>(u"notes"_s);
        QVERIFY(editor->bringToFront());
    }

    void cleanup()
    {
        session.reset();
        editor.reset();
        QVERIFY(desktop.output(u"setxkbmap"_s, { u"us"_s }));
    }

    void opensThePanelInPlaceOfTheUsualOne_data()
    {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<QString>("pressed");
        QTest::newRow("Ctrl+Alt+Space") << u"us"_s << u"ctrl+alt+space"_s;
        QTest::newRow("Meta+F9") << u"us"_s << u"super+F9"_s;
        QTest::newRow("Meta+Shift+ö") << u"de"_s << u"super+shift+odiaeresis"_s;
    }

    void opensThePanelInPlaceOfTheUsualOne()
    {
        QFETCH(const QString, layout);
        QFETCH(const QString, pressed);
        QVERIFY(desktop.output(u"setxkbmap"_s, { layout }));
        QVERIFY(launchWithHotKey(QString::fromUtf8(QTest::currentDataTag())));
        session->press(u"super+shift+b"_s);
        QVERIFY(reachesEditor(u"x"_s));
        QVERIFY(!session->panel());

        session->press(pressed);
        QTRY_VERIFY(session->panelHasKeyboard());
        session->press(pressed);
        QTRY_VERIFY(session->panelHasKeyboard());
        session->press(u"Escape"_s);
        QTRY_VERIFY(!session->panel());
        QVERIFY(reachesEditor(u"y"_s));
        QCOMPARE(session->errors(), QByteArray());
    }

    void sendsAKeptBranchAgain()
    {
        QVERIFY(session->storeKey());
        session->writePreferences(
            { { u"quibel.hotKey"_s, u"Meta+F9"_s },
              { keptKey,
                QJsonObject { { u"base64"_s, QString::fromLatin1("{}"_ba.toBase64()) } } } });
        session->service.answer("/api/projects", Answer::json(500, "{}"));
        QVERIFY(session->launch());
        session->press(u"super+F9"_s);
        QTRY_COMPARE(session->countOf(branchPath), 1U);
        QVERIFY(!session->panel());
    }

    void oneThatCannotBeIsNamedOnceAndTheUsualOneHolds_data()
    {
        QTest::addColumn<QString>("wanted");
        QTest::newRow("no modifier") << u"F9"_s;
        QTest::newRow("two keys") << u"Meta+B, Meta+C"_s;
        QTest::newRow("only modifiers") << u"Meta+Shift"_s;
        QTest::newRow("unknown") << u"Hyper+Foo"_s;
        QTest::newRow("not on this keyboard") << u"Meta+ö"_s;
    }

    void oneThatCannotBeIsNamedOnceAndTheUsualOneHolds()
    {
        QFETCH(const QString, wanted);
        QVERIFY(launchWithHotKey(wanted));
        QVERIFY(session->openPanel());
        session->press(u"Escape"_s);
        QTRY_VERIFY(!session->panel());
        QVERIFY(session->openPanel());
        QTRY_COMPARE(session->errors().count('\n'), 1);
        const QByteArray errors = session->errors();
        QVERIFY2(errors.startsWith("quibel-capture-agent: quibel.hotKey: \"" + wanted.toUtf8()),
                 errors);
        QVERIFY2(errors.endsWith("; the hot key is Super+Shift+B\n"), errors);
        QVERIFY(diagnosis().output.contains("quibel.hotKey: \"" + wanted.toUtf8()));
    }

    void aDiagnosisLooksForTheKeyInUse()
    {
        session->writePreferences({ { u"quibel.hotKey"_s, u"Meta+F9"_s } });
        QVERIFY(diagnosis().output.contains("Super+F9 could be grabbed"));
        QVERIFY(session->launch());
        QVERIFY(diagnosis().output.contains("Super+F9 is held by the running agent"));
        session->writePreferences({ { u"quibel.hotKey"_s, u"Meta+F8"_s } });
        QVERIFY(diagnosis().output.contains("Super+F8 is free, but the running agent does not"));
    }

    void oneThatIsTakenIsNamed()
    {
        const auto other = XcbConnection::open();
        const auto request = xcb_grab_key_checked(other->get(),
                                                  0,
                                                  other->root(),
                                                  XCB_MOD_MASK_ANY,
                                                  Keyboard::f9,
                                                  XCB_GRAB_MODE_ASYNC,
                                                  XCB_GRAB_MODE_ASYNC);
        QVERIFY(!XcbOwned<xcb_generic_error_t>(xcb_request_check(other->get(), request)));
        QVERIFY(launchWithHotKey(u"Meta+F9"_s));
        QTRY_COMPARE(session->errors().count('\n'), 1);
        QVERIFY(session->errors().contains("Super+F9 is taken"));
        QVERIFY(diagnosis().output.contains("Super+F9 is taken by another program"));
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::HotKeyTest, QApplication>(
        argc, argv, { .keyRing = true });
}

#include "HotKeyTest.moc"
