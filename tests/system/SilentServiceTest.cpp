#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QElapsedTimer>
#include <QTest>

#include <chrono>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace quibel::testing {

class SilentServiceTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private Q_SLOTS:
    void aBranchIsKeptAfterAMinuteOfSilence()
    {
        // The toolkit's timers end up to a twentieth early.
        constexpr std::chrono::milliseconds earliest = 57s;
        constexpr std::chrono::milliseconds latest = 100s;
        AgentSession session(desktop);
        session.service.answer(branchPath, Answer::never());
        QVERIFY(session.launchConnected());
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        QVERIFY(session.branchOff(u"unheard"_s));
        QTRY_COMPARE(session.countOf(branchPath), 1U);
        QElapsedTimer clock;
        clock.start();
        QTRY_VERIFY_WITH_TIMEOUT(session.preferences().contains(keptKey),
                                 static_cast<int>(latest.count()));
        QVERIFY2(std::chrono::milliseconds(clock.elapsed()) >= earliest, "given up too early");
        QCOMPARE(session.countOf(branchPath), 1U);
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::SilentServiceTest, QApplication>(
        argc, argv, { .keyRing = true });
}

#include "SilentServiceTest.moc"
