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
        // Within the time that the window manager may take to name another window, and after it.
        for (std::size_t sent = sends ? 1 : 0; sent < (sends ? 4 : 3); ++sent) {
            QVERIFY(session->branchOff(u"again"_s));
            QTRY_COMPARE(session->countOf(branchPath), sent + 1);
            const QJsonValue context = contextOfBranch(sent);
            QCOMPARE(context[u"active_app"_s][u"name"_s], u"WindowManagersTest"_s);
            QCOMPARE(context[u"active_window_title"_s], u"notes"_s);
            QTRY_VERIFY(editor->isActiveWindow());
        }
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
