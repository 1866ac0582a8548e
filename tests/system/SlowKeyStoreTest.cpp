#include "tests/desktop/StoppedProcess.h"
#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QElapsedTimer>
#include <QScreen>
#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;

namespace quibel::testing {

class SlowKeyStoreTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    /// After which a round says nothing: the agent soon gives the store up.
    static constexpr qint64 storeIsAwaitedMs = 1'200;
    static constexpr int rounds = 20;

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
        QVERIFY(session.storeKey());
        QVERIFY(session.launch());
        QTRY_VERIFY(session.output().contains("Loaded"));
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        QVERIFY(session.openPanel());
        QTRY_VERIFY(isPainted(linesAboveTheText(session)));
        const QImage online = linesAboveTheText(session);
        session.press(u"Escape"_s);
        QTRY_VERIFY(editor.isActiveWindow());

        bool wasInTime = false;
        for (int round = 0; round < rounds && !wasInTime; ++round) {
            std::optional<StoppedProcess> hanging(desktop.keyRingProcess());
            QElapsedTimer timer;
            timer.start();
            QVERIFY(session.openPanel());
            session.type(u"thought"_s);
            const QImage offline = linesAboveTheText(session);
            wasInTime = timer.elapsed() < storeIsAwaitedMs;
            hanging.reset();
            if (wasInTime) {
                QVERIFY(offline != online);
                QTRY_COMPARE(linesAboveTheText(session), online);
            } else {
                session.press(u"Escape"_s);
                QTRY_VERIFY(editor.isActiveWindow());
            }
        }
        QVERIFY2(wasInTime, "the panel waited for the store");

        session.press(u"Return"_s);
        QTRY_COMPARE(session.countOf("/api/branches/from-agent"), 1U);
        QCOMPARE(session.sent("/api/branches/from-agent")[u"title"_s], u"thought"_s);
        QTRY_VERIFY(editor.isActiveWindow());
    }

    void theAgentEndsWhileTheStoreHangs()
    {
        AgentSession session(desktop);
        QVERIFY(session.storeKey());
        QVERIFY(session.launch());
        QTRY_VERIFY(session.output().contains("Loaded"));
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
