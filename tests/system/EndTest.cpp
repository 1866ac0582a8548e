#include "tests/desktop/StoppedProcess.h"
#include "tests/system/AgentRun.h"
#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"
#include "tests/system/SessionManager.h"

#include <QFile>
#include <QJsonArray>
#include <QTest>

#include <array>
#include <csignal>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace quibel::testing {

/// How the agent ends when it is asked to, and what must not end it.
class EndTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    /// Branches off, which writes reports; returns whether the branch arrived.
    [[nodiscard]] static bool branchOff(AgentSession& session)
    {
        const auto before = session.countOf(branchPath);
        if (!session.openPanel())
            return false;
        session.type(u"still here"_s);
        session.press(u"Return"_s);
        return QTest::qWaitFor([&] { return session.countOf(branchPath) > before; }, 20'000)
            && QTest::qWaitFor([&] { return !session.panel(); }, 20'000);
    }

    /// Each branch makes the agent write reports, about its screenshot.
    static void prepareReports(const AgentSession& session)
    {
        session.writePreferences({ { u"ProjectStore.projects"_s, QJsonArray({ u"p1"_s }) },
                                   { u"quibel.screenshotMode"_s, u"on"_s } });
    }

    /// All that is in a pipe now.
    [[nodiscard]] static QByteArray readAll(int pipe)
    {
        QByteArray content(1 << 20, Qt::Uninitialized);
        const ssize_t count = ::read(pipe, content.data(), content.size());
        return content.left(std::max<ssize_t>(count, 0));
    }

    static void ignoreHangUp(QProcess& process)
    {
        process.setChildProcessModifier([] { std::signal(SIGHUP, SIG_IGN); });
    }

private Q_SLOTS:
    void aSignalEndsItAsQuitDoes_data()
    {
        QTest::addColumn<int>("number");
        QTest::newRow("SIGTERM") << SIGTERM;
        QTest::newRow("SIGINT") << SIGINT;
        QTest::newRow("SIGHUP") << SIGHUP;
    }

    void aSignalEndsItAsQuitDoes()
    {
        QFETCH(const int, number);
        AgentSession session(desktop);
        QVERIFY(session.launch());
        QVERIFY(session.openPanel());
        session.signal(number);
        QTRY_VERIFY(!session.isRunning());
        QVERIFY(session.endedNormally());
        QCOMPARE(session.exitCode(), 0);
        QCOMPARE(session.errors(), QByteArray());
    }

    void theEndOfTheSessionEndsItAndNoOtherSessionRestoresIt()
    {
        SessionManager manager;
        QVERIFY(!manager.address().isEmpty());
        QProcessEnvironment environment;
        environment.insert(u"SESSION_MANAGER"_s, manager.address());
        AgentSession session(desktop);
        QVERIFY(session.launch(environment));
        QTRY_VERIFY(manager.isSaved());
        QVERIFY(session.openPanel());
        manager.logOut();
        QTRY_VERIFY(manager.isSaved());
        QCOMPARE(manager.restartStyle(), std::optional<int>(SmRestartNever));
        // The user may still keep the session, so it runs on until the session ends.
        QVERIFY(session.panel());
        manager.endSession();
        QTRY_VERIFY(!session.isRunning());
        QVERIFY(session.endedNormally());
        QCOMPARE(session.exitCode(), 0);
    }

    void oneStartedToOutliveItsTerminalDoes()
    {
        AgentSession session(desktop);
        QVERIFY(session.launch({}, {}, ignoreHangUp));
        session.signal(SIGHUP);
        QVERIFY(session.openPanel());
        session.signal(SIGTERM);
        QTRY_VERIFY(!session.isRunning());
        QCOMPARE(session.exitCode(), 0);
    }

    void itOutlivesWhoeverReadItsReports()
    {
        AgentSession session(desktop);
        QVERIFY(session.storeKey());
        prepareReports(session);
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        QVERIFY(session.launch());
        QTRY_VERIFY(session.output().contains("Loaded"));
        session.stopReading();
        QVERIFY(branchOff(session));
        QTRY_COMPARE(session.countOf("/api/branches/b1/screenshots"), 1U);
        QVERIFY(branchOff(session));
    }

    void itRunsWithoutStandardStreams()
    {
        AgentSession session(desktop);
        QVERIFY(session.storeKey());
        prepareReports(session);
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        QVERIFY(session.launch({}, {}, [](QProcess& process) {
            process.setChildProcessModifier([] {
                for (const int stream : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO })
                    ::close(stream);
            });
        }));
        for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
            QCOMPARE(QFile::symLinkTarget(u"/proc/%1/fd/%2"_s.arg(session.processId()).arg(stream)),
                     u"/dev/null"_s);
        QTRY_COMPARE(session.countOf("/api/projects"), 1U);
        QVERIFY(branchOff(session));
        QTRY_COMPARE(session.countOf("/api/branches/b1/screenshots"), 1U);
        QVERIFY(branchOff(session));
    }

    void aFullPipeNeitherEndsNorBlocksIt()
    {
        std::array<int, 2> pipe {};
        QCOMPARE(::pipe2(pipe.data(), O_CLOEXEC), 0);
        QCOMPARE(::fcntl(pipe[0], F_SETFL, O_NONBLOCK), 0);
        const auto path = "/proc/self/fd/" + std::to_string(pipe[1]);
        const int filler = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        QVERIFY(filler >= 0);
        const QByteArray chunk(4096, 'x');
        while (::write(filler, chunk.constData(), chunk.size()) > 0)
            ;
        ::close(filler);

        AgentSession session(desktop);
        QVERIFY(session.storeKey());
        prepareReports(session);
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        QVERIFY(session.launch({}, {}, [&pipe](QProcess& process) {
            process.setChildProcessModifier([&pipe] {
                ::dup2(pipe[1], STDOUT_FILENO);
                ::dup2(pipe[1], STDERR_FILENO);
            });
        }));
        QVERIFY(branchOff(session));
        QTRY_COMPARE(session.countOf("/api/branches/b1/screenshots"), 1U);
        // The test's own end is shared with the agent, and still waits.
        QCOMPARE(::fcntl(pipe[1], F_GETFL) & O_NONBLOCK, 0);

        static_cast<void>(readAll(pipe[0]));
        QVERIFY(branchOff(session));
        QByteArray later;
        QTRY_VERIFY((later += readAll(pipe[0])).contains("Screenshot saved"));
        ::close(pipe[0]);
        ::close(pipe[1]);
    }

    void aFullSocketDoesNotBlockIt()
    {
        // As the journal's is that a unit of systemd writes to.
        std::array<int, 2> sockets {};
        QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()), 0);
        const QByteArray chunk(4096, 'x');
        while (::send(sockets[1], chunk.constData(), chunk.size(), MSG_DONTWAIT) > 0)
            ;

        AgentSession session(desktop);
        QVERIFY(session.storeKey());
        prepareReports(session);
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        QVERIFY(session.launch({}, {}, [&sockets](QProcess& process) {
            process.setChildProcessModifier([&sockets] {
                ::dup2(sockets[1], STDOUT_FILENO);
                ::dup2(sockets[1], STDERR_FILENO);
            });
        }));
        QVERIFY(branchOff(session));
        QTRY_COMPARE(session.countOf("/api/branches/b1/screenshots"), 1U);

        const auto takeAll = [&sockets] {
            QByteArray content(1 << 20, Qt::Uninitialized);
            const ssize_t count = ::recv(sockets[0], content.data(), content.size(), MSG_DONTWAIT);
            return content.left(std::max<ssize_t>(count, 0));
        };
        while (!takeAll().isEmpty())
            ;
        QVERIFY(branchOff(session));
        QByteArray later;
        QTRY_VERIFY((later += takeAll()).contains("Screenshot saved"));
        session.signal(SIGTERM);
        QTRY_VERIFY(!session.isRunning());
        ::close(sockets[0]);
        ::close(sockets[1]);
    }

    void aBusThatHangsDoesNotHoldItsEndUp()
    {
        AgentSession session(desktop);
        QVERIFY(session.launch());
        const StoppedProcess hanging(desktop.busProcess());
        session.signal(SIGTERM);
        QTRY_VERIFY_WITH_TIMEOUT(!session.isRunning(), 15'000);
        QCOMPARE(session.exitCode(), 0);
    }

    void itOutlivesTheSessionBus()
    {
        AgentSession session(desktop);
        session.service.answer("/api/projects", Answer::json(503, "{}"));
        QVERIFY(session.launch());
        QVERIFY(session.openPanel());
        session.press(u"Escape"_s);
        QTRY_VERIFY(!session.panel());
        desktop.stopBus();
        QVERIFY(session.openPanel());
        QVERIFY(session.isRunning());
        const auto second = AgentRun::of(desktop.environment(), { u"--capture"_s });
        QVERIFY(second);
        QCOMPARE(second->exitCode, 1);
        QVERIFY(second->errors.contains("session bus"));
        session.signal(SIGTERM);
        QTRY_VERIFY(!session.isRunning());
        QCOMPARE(session.exitCode(), 0);
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    using namespace quibel::testing;
    return runOnDesktop<EndTest, QApplication>(argc, argv, { .keyRing = true });
}

#include "EndTest.moc"
