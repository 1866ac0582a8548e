#include "platform/x11/XcbConnection.h"
#include "tests/platform/ClientWindow.h"
#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QApplication>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

namespace quibel::testing {

/// The keyboard is the panel's while it is open, and everybody's again however that ends.
class KeyboardGrabTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    std::unique_ptr<XcbConnection> other = XcbConnection::open(); ///< Another program.
    std::unique_ptr<AgentSession> session;
    std::unique_ptr<EditorWindow> editor;

    /// Whether another program could hold the keyboard now.
    [[nodiscard]] bool keyboardIsFree()
    {
        const auto request = xcb_grab_keyboard(other->get(),
                                               0,
                                               other->root(),
                                               XCB_CURRENT_TIME,
                                               XCB_GRAB_MODE_ASYNC,
                                               XCB_GRAB_MODE_ASYNC);
        const auto reply = xcbReply(xcb_grab_keyboard_reply, other->get(), request);
        const bool isFree = reply && reply->status == XCB_GRAB_STATUS_SUCCESS;
        xcb_ungrab_keyboard(other->get(), XCB_CURRENT_TIME);
        other->flush();
        return isFree;
    }
    void checkThatTheEditorIsTypedInto()
    {
        QTRY_VERIFY(keyboardIsFree());
        QVERIFY(editor->bringToFrontAsItIs());
        session->type(u"work"_s);
        QTRY_COMPARE(editor->field.text(), u"work"_s);
    }

private Q_SLOTS:
    void init()
    {
        session = std::make_unique<AgentSession>(desktop);
        QVERIFY(session->launchConnected());
        editor = std::make_unique<EditorWindow>(u"notes"_s);
        QVERIFY(editor->bringToFront());
        QVERIFY(keyboardIsFree());
        QVERIFY(session->openPanel());
        QTRY_VERIFY(!keyboardIsFree());
    }

    void cleanup()
    {
        session.reset();
        editor.reset();
    }

    void endsWithThePanel_data()
    {
        QTest::addColumn<QString>("key");
        QTest::newRow("Escape") << u"Escape"_s;
        QTest::newRow("Return") << u"Return"_s;
    }

    void endsWithThePanel()
    {
        QFETCH(const QString, key);
        session->type(u"thought"_s);
        session->press(key);
        QTRY_VERIFY(!session->panel());
        checkThatTheEditorIsTypedInto();
    }

    void endsWithAProgramThatIsGone_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("killed") << SIGKILL;
        QTest::newRow("crashed") << SIGSEGV;
    }

    void endsWithAProgramThatIsGone()
    {
        QFETCH(const int, signal);
        session->signal(signal);
        QTRY_VERIFY(!session->isRunning());
        checkThatTheEditorIsTypedInto();
    }

    void endsWithAnOrderlyEnd()
    {
        session->signal(SIGTERM);
        QTRY_VERIFY(!session->isRunning());
        checkThatTheEditorIsTypedInto();
    }

    void outlivesTheMonitorOfThePanelOnlyUntilEscape()
    {
        const auto setMonitors = [this](const QStringList& arguments) {
            return desktop.output(u"xrandr"_s, arguments).has_value();
        };
        session->press(u"Escape"_s);
        QVERIFY(
            setMonitors({ u"--setmonitor"_s, u"left"_s, u"640/169x800/211+0+0"_s, u"screen"_s }));
        QVERIFY(
            setMonitors({ u"--setmonitor"_s, u"right"_s, u"640/169x800/211+640+0"_s, u"none"_s }));
        QVERIFY(desktop.output(u"xdotool"_s, { u"mousemove"_s, u"1000"_s, u"400"_s }).has_value());
        QVERIFY(session->openPanel());
        QTRY_VERIFY(!keyboardIsFree());
        QVERIFY(setMonitors({ u"--delmonitor"_s, u"right"_s }));
        session->press(u"Escape"_s);
        QTRY_VERIFY(!session->panel());
        checkThatTheEditorIsTypedInto();
        QVERIFY(setMonitors({ u"--delmonitor"_s, u"left"_s }));
    }

    void aMenuOfThePanelGivesItBack()
    {
        const auto countOfWindows = [this] {
            return desktop
                .output(
                    u"xdotool"_s,
                    { u"search"_s, u"--onlyvisible"_s, u"--class"_s, u"quibel-capture-agent"_s })
                .value_or(QByteArray())
                .count('\n');
        };
        const auto before = countOfWindows();
        session->press(u"Menu"_s);
        QTRY_VERIFY(countOfWindows() > before);
        session->press(u"Escape"_s);
        QTRY_COMPARE(countOfWindows(), before);
        QTRY_VERIFY(!keyboardIsFree());
        session->press(u"Escape"_s);
        QTRY_VERIFY(!session->panel());
        checkThatTheEditorIsTypedInto();
    }

    void leavesTheFocusToAProgramThatInsists()
    {
        ClientWindow rival({ .title = "rival", .overrideRedirect = true });
        rival.map();
        QTRY_VERIFY(rival.isViewable());
        int times = 0;
        const auto takeFocus = [&] {
            ++times;
            xcb_set_input_focus(
                rival.connection().get(), XCB_INPUT_FOCUS_PARENT, rival.id(), XCB_CURRENT_TIME);
            rival.connection().flush();
        };
        QObject::connect(&rival.connection(),
                         &XcbConnection::received,
                         &rival.connection(),
                         [&](const xcb_generic_event_t* event) {
                             if ((event->response_type & 0x7FU) == XCB_FOCUS_OUT)
                                 takeFocus();
                         });
        takeFocus();
        session->type(u"one two "_s);
        const auto isSettled = [&] {
            const int before = times;
            QTest::qWait(1'000);
            return times == before && rival.hasFocus();
        };
        QTRY_VERIFY_WITH_TIMEOUT(isSettled(), 10'000);
        session->type(u"three"_s);
        session->press(u"Return"_s);
        QTRY_COMPARE(session->countOf(branchPath), 1U);
        QCOMPARE(session->sent(branchPath)[u"context_snapshot"_s][u"captured_text"_s],
                 u"one two three"_s);
        QCOMPARE(rival.pressedKeys(), std::vector<xcb_keycode_t>());
    }

    void letsALockerHaveTheKeyboardOfAPanelThatIsLeftOpen()
    {
        session->type(u"one "_s);
        constexpr int longerThanAMinute = 90'000;
        QTRY_VERIFY_WITH_TIMEOUT(keyboardIsFree(), longerThanAMinute);
        session->type(u"two"_s);
        QTRY_VERIFY(!keyboardIsFree());
        session->press(u"Return"_s);
        QTRY_COMPARE(session->countOf(branchPath), 1U);
        QCOMPARE(session->sent(branchPath)[u"context_snapshot"_s][u"captured_text"_s],
                 u"one two"_s);
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::KeyboardGrabTest, QApplication>(
        argc, argv, { .keyRing = true });
}

#include "KeyboardGrabTest.moc"
