#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"
#include "tests/system/StatusNotifierHost.h"

#include <QApplication>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

const QStringList commands {
    u"Send Branch\tSuper+Shift+B"_s, u"---"_s, u"Connect Account…"_s, u"---"_s, u"Quit"_s
};

} // namespace

/// The menu as a desktop's shell sees it on the bus, and as a person meets it by the keyboard.
class MenuTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private Q_SLOTS:
    void isOnTheBusInOrderWithWhatIsHidden()
    {
        StatusNotifierHost host;
        AgentSession session(desktop);
        QVERIFY(session.launch());
        QTRY_VERIFY(host.hasItem());
        QTRY_COMPARE(host.visibleMenu(), commands);

        const auto items = host.menu();
        QVERIFY(items);
        QCOMPARE(items->size(), 7U);
        const auto& statusLine = items->at(0);
        QVERIFY(!statusLine.isVisible);
        QVERIFY(!statusLine.isEnabled);
        QVERIFY(!statusLine.isSeparator);
        QVERIFY(!items->at(1).isVisible);
        QVERIFY(items->at(1).isSeparator);
        for (const auto& item : *items)
            QCOMPARE(item.shortcut,
                     item.label == u"Quit"_s ? QStringList({ u"Super"_s, u"Q"_s }) : QStringList());
    }

    void namesTheHotKeyInUse()
    {
        StatusNotifierHost host;
        AgentSession session(desktop);
        session.writePreferences({ { u"quibel.hotKey"_s, u"Meta+F9"_s } });
        QVERIFY(session.launch());
        QTRY_VERIFY(host.hasItem());
        QTRY_COMPARE(host.visibleMenu().value(0), u"Send Branch\tSuper+F9"_s);
    }

    void tellsOfAStatusLineThatAppearsLaterAndGoes()
    {
        StatusNotifierHost host;
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        QTRY_VERIFY(host.hasItem());
        QTRY_COMPARE(host.visibleMenu(), commands);
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());

        int changes = host.changes();
        session.service.answer(branchPath, Answer::json(401, "{}"));
        QVERIFY(session.branchOff(u"rejected"_s));
        QTRY_VERIFY(host.changes() > changes);
        const QString message = u"Connection lost — reconnect account"_s;
        QTRY_COMPARE(host.visibleMenu(), QStringList({ message, u"---"_s }) + commands);
        QVERIFY(!host.menu()->at(0).isEnabled);
        QVERIFY(!host.choose(message));

        changes = host.changes();
        QVERIFY(host.choose(u"Connect Account…"_s));
        QTRY_VERIFY(session.windowWithKeyboardIs(u"Connect Quibel"_s));
        session.type(u"sk_new"_s);
        session.press(u"Return"_s);
        QTRY_VERIFY(host.changes() > changes);
        QTRY_COMPARE(host.visibleMenu(), commands);
    }

    void sendsABranch()
    {
        StatusNotifierHost host;
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        QTRY_VERIFY(host.hasItem());
        QVERIFY(host.choose(commands.constFirst()));
        QTRY_VERIFY(session.panelHasKeyboard());
        session.press(u"Escape"_s);
        QTRY_VERIFY(!session.panel());
    }

    void quits()
    {
        StatusNotifierHost host;
        AgentSession session(desktop);
        QVERIFY(session.launch());
        QTRY_VERIFY(host.hasItem());
        QVERIFY(host.choose(u"Quit"_s));
        QTRY_VERIFY(!session.isRunning());
        QCOMPARE(session.exitCode(), 0);
    }

    void quitsByItsKeyFromTheMenuThatAClickOpensBesideAHost()
    {
        StatusNotifierHost host;
        AgentSession session(desktop);
        QVERIFY(session.launch());
        QTRY_VERIFY(host.hasItem());
        QVERIFY(host.activate());
        QTRY_VERIFY(session.menu());
        session.press(u"super+q"_s);
        QTRY_VERIFY(!session.isRunning());
        QCOMPARE(session.exitCode(), 0);
    }

    void quitsByItsKeyFromTheMenuInATray()
    {
        QVERIFY(desktop.startTray());
        AgentSession session(desktop);
        QVERIFY(session.launch());
        QVERIFY(session.openMenu());
        session.press(u"q"_s);
        session.press(u"super+q"_s);
        QTRY_VERIFY(!session.isRunning());
        QCOMPARE(session.exitCode(), 0);
        desktop.stopTray();
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::MenuTest, QApplication>(
        argc, argv, { .keyRing = true });
}

#include "MenuTest.moc"
