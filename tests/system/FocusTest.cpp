#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QApplication>
#include <QScreen>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel::testing {

/// Runs under the window manager that QUIBEL_TEST_WINDOW_MANAGER names.
class FocusTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    /// Opens the panel, types, sends; the keyboard is `editor`'s again afterwards.
    static void checkRoundTrip(AgentSession& session, EditorWindow& editor)
    {
        const auto sent = session.countOf(branchPath);
        QVERIFY(session.branchOff(u"thought"_s));
        QTRY_COMPARE(session.countOf(branchPath), sent + 1);
        QTRY_VERIFY(!session.panel());
        QTRY_VERIFY(editor.isActiveWindow());
        editor.field.clear();
        session.type(u"work"_s);
        QTRY_COMPARE(editor.field.text(), u"work"_s);
    }

private Q_SLOTS:
    void thePanelTakesTheKeyboardAndGivesItBackTimeAndAgain()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        EditorWindow other(u"other"_s);
        QVERIFY(other.bringToFront());
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        for (int round = 0; round < 5; ++round)
            checkRoundTrip(session, editor);
        QVERIFY(other.bringToFront());
        checkRoundTrip(session, other);
    }

    void thePanelTakesTheKeyboardOverAFullScreenWindow()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        EditorWindow editor(u"presentation"_s);
        editor.showFullScreen();
        QVERIFY(editor.bringToFrontAsItIs());
        QTRY_COMPARE(editor.size(), editor.screen()->size());
        QVERIFY(session.openPanel());
        // It is not only there but on top: its own colours are on the screen where it lies.
        const QRect area = session.panel()->geometry;
        const auto corner = [&] {
            return editor.screen()
                ->grabWindow(0, area.x() + 6, area.y() + 6, 1, 1)
                .toImage()
                .pixelColor(0, 0);
        };
        QTRY_COMPARE(corner(), QApplication::palette().color(QPalette::Window));
        session.press(u"Escape"_s);
        QTRY_VERIFY(editor.isActiveWindow());
        checkRoundTrip(session, editor);
    }

    void thePanelIsThereOnAnotherVirtualDesktop()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        EditorWindow first(u"first"_s);
        QVERIFY(first.bringToFront());
        checkRoundTrip(session, first);
        QVERIFY(desktop.output(u"xdotool"_s, { u"set_num_desktops"_s, u"2"_s }));
        QVERIFY(desktop.output(u"xdotool"_s, { u"set_desktop"_s, u"1"_s }));
        EditorWindow second(u"second"_s);
        QVERIFY(second.bringToFront());
        checkRoundTrip(session, second);
        const auto current = desktop.output(u"xdotool"_s, { u"get_desktop"_s });
        QCOMPARE(current->trimmed(), "1"_ba);
        second.hide();
        QVERIFY(desktop.output(u"xdotool"_s, { u"set_desktop"_s, u"0"_s }));
    }

    void whatIsTypedRightBehindTheHotKeyIsInThePanel()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        QVERIFY(desktop.output(u"xdotool"_s,
                               { u"key"_s,
                                 u"--delay"_s,
                                 u"0"_s,
                                 u"super+shift+b"_s,
                                 u"q"_s,
                                 u"u"_s,
                                 u"i"_s,
                                 u"c"_s,
                                 u"k"_s,
                                 u"Return"_s }));
        QTRY_COMPARE(session.countOf(branchPath), 1U);
        QCOMPARE(session.sent(branchPath)[u"title"_s], u"quick"_s);
        QCOMPARE(editor.field.text(), QString());
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::FocusTest, QApplication>(
        argc,
        argv,
        { .windowManager = qEnvironmentVariable("QUIBEL_TEST_WINDOW_MANAGER", u"openbox"_s),
          .keyRing = true });
}

#include "FocusTest.moc"
