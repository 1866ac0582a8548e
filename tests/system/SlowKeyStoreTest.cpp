#include "tests/desktop/StoppedProcess.h"
#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QScreen>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel::testing {

class SlowKeyStoreTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    /// The panel down to its line about the connection, without the text that is typed.
    [[nodiscard]] static QImage linesAboveTheText(const AgentSession& session)
    {
        const auto panel = session.panel();
        if (!panel)
            return {};
        const QRect area = panel->geometry;
        return QGuiApplication::primaryScreen()
            ->grabWindow(0, area.x(), area.y(), area.width(), area.height() / 2)
            .toImage();
    }

    /// Whether anything is drawn on the background.
    [[nodiscard]] static bool isPainted(const QImage& lines)
    {
        for (int y = 0; y < lines.height(); ++y)
            for (int x = 0; x < lines.width(); ++x)
                if (lines.pixel(x, y) != lines.pixel(0, 0))
                    return true;
        return false;
    }

private Q_SLOTS:
    void thePanelOpensBeforeTheStoreAnswersAndIsPutRightWhenItDoes()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        QVERIFY(session.openPanel());
        QTRY_VERIFY(isPainted(linesAboveTheText(session)));
        const QImage online = linesAboveTheText(session);
        session.press(u"Escape"_s);
        QTRY_VERIFY(editor.isActiveWindow());

        {
            const StoppedProcess hanging(desktop.keyRingProcess());
            QVERIFY(session.openPanel());
            session.type(u"thought"_s);
            QVERIFY(linesAboveTheText(session) != online);
        }
        // A panel that had waited until the store was given up would stay as it is.
        QTRY_COMPARE(linesAboveTheText(session), online);

        session.press(u"Return"_s);
        QTRY_COMPARE(session.countOf(branchPath), 1U);
        QCOMPARE(session.sent(branchPath)[u"title"_s], u"thought"_s);
        QTRY_VERIFY(editor.isActiveWindow());
    }

    void returnClosesThePanelBeforeTheStoreAnswersAndTheBranchIsSentWhenItDoes()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        {
            const StoppedProcess hanging(desktop.keyRingProcess());
            QVERIFY(session.branchOff(u"thought"_s));
            QTRY_VERIFY(!session.panel());
            QTRY_VERIFY(editor.isActiveWindow());
            QCOMPARE(session.countOf(branchPath), 0U);
        }
        QTRY_COMPARE(session.countOf(branchPath), 1U);
        QCOMPARE(session.sent(branchPath)[u"title"_s], u"thought"_s);
    }

    void theAgentStartsWhileTheStoreHangs()
    {
        AgentSession session(desktop);
        QVERIFY(session.storeKey());
        {
            const StoppedProcess hanging(desktop.keyRingProcess());
            QVERIFY(session.launch());
            QVERIFY(session.openPanel());
            QVERIFY(session.output().isEmpty());
        }
        QTRY_VERIFY(session.output().contains("Loaded"));
        session.press(u"Escape"_s);
        QTRY_VERIFY(!session.panel());
    }

    void theAgentEndsWhileTheStoreHangs()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        {
            const StoppedProcess hanging(desktop.keyRingProcess());
            QVERIFY(session.openPanel());
            session.press(u"Escape"_s);
            QTRY_VERIFY(!session.panel());
            QVERIFY(session.chooseInMenu(AgentSession::MenuItem::quit));
            QTRY_VERIFY(!session.isRunning());
        }
        QCOMPARE(session.exitCode(), 0);
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::SlowKeyStoreTest, QApplication>(
        argc, argv, { .keyRing = true, .tray = true });
}

#include "SlowKeyStoreTest.moc"
