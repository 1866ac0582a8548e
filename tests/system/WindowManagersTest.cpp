#include "tests/platform/ClientWindow.h"
#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QApplication>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel::testing {

/// What holds whatever window manager there is, and whatever it does with the keyboard.
///
/// Runs under the window manager that QUIBEL_TEST_WINDOW_MANAGER names.
class WindowManagersTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    std::unique_ptr<AgentSession> session;
    std::unique_ptr<EditorWindow> editor;

    [[nodiscard]] QJsonValue contextOfBranch(std::size_t index) const
    {
        return session->sent(branchPath, index)[u"context_snapshot"_s];
    }

    void pointTo(QPoint place) const
    {
        QVERIFY(desktop.output(
            u"xdotool"_s,
            { u"mousemove"_s, QString::number(place.x()), QString::number(place.y()) }));
    }
    /// At a point of a window, wherever the window manager has put that.
    void click(WId window, QPoint point) const
    {
        QVERIFY(desktop.output(u"xdotool"_s,
                               { u"mousemove"_s,
                                 u"--window"_s,
                                 QString::number(window),
                                 QString::number(point.x()),
                                 QString::number(point.y()),
                                 u"click"_s,
                                 u"1"_s }));
    }

private Q_SLOTS:
    void init()
    {
        session = std::make_unique<AgentSession>(desktop);
        QVERIFY(session->launchConnected());
        editor = std::make_unique<EditorWindow>(u"notes"_s);
        QVERIFY(editor->bringToFront());
    }

    void cleanup()
    {
        session.reset();
        editor.reset();
    }

    void namesTheApplicationInFrontAgainAfterADoublePress_data()
    {
        QTest::addColumn<QString>("closing");
        QTest::addColumn<bool>("sends");
        QTest::newRow("Escape") << u"Escape"_s << false;
        QTest::newRow("Return") << u"Return"_s << true;
    }

    void namesTheApplicationInFrontAgainAfterADoublePress()
    {
        QFETCH(const QString, closing);
        QFETCH(const bool, sends);
        QVERIFY(session->openPanel());
        session->press(u"super+shift+b"_s);
        session->type(u"twice"_s);
        session->press(closing);
        QTRY_COMPARE(session->countOf(branchPath), sends ? 1U : 0U);
        if (sends)
            QCOMPARE(contextOfBranch(0)[u"active_app"_s][u"bundle_id"_s],
                     u"org.quibel.CaptureAgent"_s);
        QTRY_VERIFY(session->windowWithKeyboardIs(u"notes"_s));
        for (std::size_t sent = sends ? 1 : 0; sent < (sends ? 4 : 3); ++sent) {
            QVERIFY(session->branchOff(u"again"_s));
            QTRY_COMPARE(session->countOf(branchPath), sent + 1);
            const QJsonValue context = contextOfBranch(sent);
            QCOMPARE(context[u"active_app"_s][u"name"_s], u"WindowManagersTest"_s);
            QCOMPARE(context[u"active_window_title"_s], u"notes"_s);
            QTRY_VERIFY(editor->isActiveWindow());
        }
    }

    void aWindowThatAppearsGetsNothingOfTheLine()
    {
        QVERIFY(session->openPanel());
        session->type(u"one "_s);
        ClientWindow newcomer({ .title = "newcomer", .geometry = { 300, 200, 300, 200 } });
        newcomer.map();
        QTRY_VERIFY(newcomer.isViewable());
        // Before the window manager has given it the keyboard, and after that.
        session->type(u"two "_s);
        QVERIFY(settleWindowManager());
        session->type(u"three"_s);
        session->press(u"Return"_s);
        QTRY_COMPARE(session->countOf(branchPath), 1U);
        QCOMPARE(contextOfBranch(0)[u"captured_text"_s], u"one two three"_s);
        QCOMPARE(newcomer.pressedKeys(), std::vector<xcb_keycode_t>());
        // KWin gives it to the newcomer once the panel has gone.
        if (qEnvironmentVariable("QUIBEL_TEST_WINDOW_MANAGER") == u"kwin_x11")
            return;
        QTRY_VERIFY(session->windowWithKeyboardIs(u"notes"_s));
        QVERIFY(settleWindowManager());
        QVERIFY(session->windowWithKeyboardIs(u"notes"_s));
    }

    void aPointerThatMovesTakesNothingOfTheLine()
    {
        ClientWindow other({ .title = "other", .geometry = { 800, 500, 300, 200 } });
        other.map();
        QTRY_VERIFY(other.hasFocus());
        click(editor->winId(), { 5, editor->height() - 5 });
        QTRY_VERIFY(session->windowWithKeyboardIs(u"notes"_s));
        QVERIFY(session->openPanel());
        const auto before = other.pressedKeys();
        session->type(u"one "_s);
        for (const QPoint place : { QPoint(900, 600), QPoint(100, 100), QPoint(1000, 700) })
            pointTo(place);
        session->type(u"two"_s);
        session->press(u"Return"_s);
        QTRY_COMPARE(session->countOf(branchPath), 1U);
        QCOMPARE(contextOfBranch(0)[u"captured_text"_s], u"one two"_s);
        QCOMPARE(other.pressedKeys(), before);
    }

    void aClickElsewhereTakesTheKeyboardAndAClickBringsItBack()
    {
        QVERIFY(session->openPanel());
        click(editor->winId(), { 5, editor->height() - 5 });
        QTRY_VERIFY(session->windowWithKeyboardIs(u"notes"_s));
        session->type(u"work"_s);
        QTRY_COMPARE(editor->field.text(), u"work"_s);
        QVERIFY(session->panel());

        const AgentSession::Window panel = *session->panel();
        click(panel.id, QRect({}, panel.geometry.size()).center());
        QTRY_VERIFY(session->panelHasKeyboard());
        session->type(u"thought"_s);
        session->press(u"Return"_s);
        QTRY_COMPARE(session->countOf(branchPath), 1U);
        QCOMPARE(contextOfBranch(0)[u"captured_text"_s], u"thought"_s);
        QCOMPARE(editor->field.text(), u"work"_s);
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::WindowManagersTest, QApplication>(
        argc,
        argv,
        { .windowManager = qEnvironmentVariable("QUIBEL_TEST_WINDOW_MANAGER", u"openbox"_s),
          .keyRing = true });
}

#include "WindowManagersTest.moc"
