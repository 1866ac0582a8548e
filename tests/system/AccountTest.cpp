#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QApplication>
#include <QJsonArray>
#include <QScreen>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel::testing {

class AccountTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    /// Whether there is red text on the screen, as only an error is.
    [[nodiscard]] static bool showsAnError()
    {
        const QImage screen = QApplication::primaryScreen()->grabWindow(0).toImage();
        for (int y = 0; y < screen.height(); ++y)
            for (int x = 0; x < screen.width(); ++x) {
                const QColor color = screen.pixelColor(x, y);
                if (color.red() > 2 * color.green() + 60 && color.red() > 2 * color.blue() + 60)
                    return true;
            }
        return false;
    }

private Q_SLOTS:
    void init()
    {
        QVERIFY(desktop.startKeyRing());
        QVERIFY(desktop.startTray());
    }

    void isConnectedThroughTheTrayMenuByTypingTheKey()
    {
        AgentSession session(desktop);
        QVERIFY(session.launch());
        QVERIFY(session.chooseInMenu(AgentSession::MenuItem::connectAccount));
        QTRY_VERIFY(session.windowWithKeyboardIs(u"Connect Quibel"_s));
        session.type(u"sk_typed"_s);
        session.press(u"Return"_s);
        QTRY_COMPARE(session.storedKey(), "sk_typed"_ba);
        QTRY_VERIFY(session.output().contains("Loaded 2 projects from API\n"));
        QCOMPARE(session.service.requests().front().header("Authorization"), "Bearer sk_typed"_ba);
        QTRY_VERIFY(!session.windowWithKeyboardIs(u"Connect Quibel"_s));
    }

    void aRejectedKeyIsNotKeptAndSignsOut()
    {
        AgentSession session(desktop);
        QVERIFY(session.storeKey("sk_old"));
        QVERIFY(session.launch());
        QTRY_VERIFY(session.output().contains("Loaded"));
        session.service.answer("/api/projects", Answer::json(401, "{}"));
        QVERIFY(session.chooseInMenu(AgentSession::MenuItem::connectAccount));
        QTRY_VERIFY(session.windowWithKeyboardIs(u"Connect Quibel"_s));
        session.type(u"sk_wrong"_s);
        session.press(u"Return"_s);
        QTRY_VERIFY(!session.storedKey());
        QVERIFY(session.windowWithKeyboardIs(u"Connect Quibel"_s));
        session.press(u"Escape"_s);
        QTRY_VERIFY(!session.windowWithKeyboardIs(u"Connect Quibel"_s));
    }

    void aRejectedBranchSignsOutAndTheNextOneIsNotSent()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        session.service.answer(branchPath, Answer::json(401, "{}"));
        QVERIFY(session.branchOff(u"rejected"_s));
        QTRY_VERIFY(!session.storedKey());
        QTRY_VERIFY(!session.panel());
        QVERIFY(!session.preferences().contains(u"quibel.lastFailedCapture"_s));

        // Signed out, there is no project to send to: Return does nothing, Escape closes.
        QVERIFY(session.branchOff(u"unsent"_s));
        session.press(u"Escape"_s);
        QTRY_VERIFY(!session.panel());
        QCOMPARE(session.countOf(branchPath), 1U);
    }

    void sendBranchInTheMenuOpensThePanel()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        QVERIFY(session.chooseInMenu(AgentSession::MenuItem::sendBranch));
        QTRY_VERIFY(session.panelHasKeyboard());
        session.press(u"Escape"_s);
    }

    void quitInTheMenuEndsTheAgentWell()
    {
        AgentSession session(desktop);
        QVERIFY(session.launch());
        QVERIFY(session.chooseInMenu(AgentSession::MenuItem::quit));
        QTRY_VERIFY(!session.isRunning());
        QCOMPARE(session.exitCode(), 0);
    }

    void theIconAppearsInATrayThatComesLate()
    {
        desktop.stopTray();
        AgentSession session(desktop);
        QVERIFY(session.launch());
        QVERIFY(!session.trayIcon());
        QVERIFY(desktop.startTray());
        QTRY_VERIFY(session.trayIcon());
        desktop.stopTray();
        QTRY_VERIFY(!session.trayIcon());
        QVERIFY(desktop.startTray());
        QTRY_VERIFY(session.trayIcon());
    }

    void withoutAKeyRingThePanelStillOpensAndNothingIsSaved()
    {
        AgentSession session(desktop);
        QVERIFY(session.storeKey());
        session.writePreferences({ { u"ProjectStore.projects"_s, QJsonArray({ u"p1"_s }) } });
        QVERIFY(session.launch());
        QTRY_VERIFY(session.output().contains("Loaded"));
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        desktop.stopKeyRing();
        QVERIFY(session.openPanel());
        session.press(u"Escape"_s);
        QTRY_VERIFY(!session.panel());
        editor.hide(); // There is red in it.

        QVERIFY(session.chooseInMenu(AgentSession::MenuItem::connectAccount));
        QTRY_VERIFY(session.windowWithKeyboardIs(u"Connect Quibel"_s));
        session.type(u"sk_unsaved"_s);
        session.press(u"Return"_s);
        QTRY_COMPARE(session.countOf("/api/projects"), 2U);
        QTRY_VERIFY(showsAnError());
        QVERIFY(session.windowWithKeyboardIs(u"Connect Quibel"_s));
        session.press(u"Escape"_s);

        // The key ring comes again and with it the key: branches go out without a restart.
        QVERIFY(desktop.startKeyRing());
        QVERIFY(session.storeKey("sk_again"));
        QVERIFY(editor.bringToFront());
        QVERIFY(session.branchOff(u"back"_s));
        QTRY_COMPARE(session.countOf(branchPath), 1U);
        QCOMPARE(session.service.requests().back().header("Authorization"), "Bearer sk_again"_ba);
    }

    void theKeyIsInNoOutput()
    {
        AgentSession session(desktop);
        QVERIFY(session.storeKey("sk_secret_of_this_test"));
        session.service.answer(branchPath, Answer::json(500, "{}"));
        QVERIFY(session.launch());
        QTRY_VERIFY(session.output().contains("Loaded"));
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        QVERIFY(session.openPanel());
        session.type(u"x"_s);
        session.press(u"Right"_s);
        session.press(u"Return"_s);
        QTRY_VERIFY(session.preferences().contains(u"quibel.lastFailedCapture"_s));
        QTRY_VERIFY(session.output().contains("Screenshot captured"));
        QVERIFY(!session.output().contains("sk_secret"));
        QVERIFY(!session.errors().contains("sk_secret"));
        const auto processes = desktop.output(u"ps"_s, { u"axww"_s, u"-o"_s, u"args"_s });
        QVERIFY(processes && !processes->contains("sk_secret"));
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::AccountTest, QApplication>(
        argc, argv, { .keyRing = true, .tray = true });
}

#include "AccountTest.moc"
