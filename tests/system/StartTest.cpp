#include "tests/system/AgentRun.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <array>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace quibel::testing {

/// The agent where there is no desktop to serve.
class StartTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir home;

    /// No bus either: an agent that runs on the desktop of whoever runs this must not hear of it.
    [[nodiscard]] std::optional<AgentRun> run(const QString& display,
                                              const QStringList& arguments,
                                              const std::function<void(QProcess&)>& prepare
                                              = {}) const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove(u"QT_QPA_PLATFORM"_s);
        environment.remove(u"DISPLAY"_s);
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nowhere"_s);
        environment.insert(u"XDG_RUNTIME_DIR"_s, home.path());
        environment.insert(u"XDG_CONFIG_HOME"_s, home.path() + u"/config"_s);
        environment.insert(u"XDG_CONFIG_DIRS"_s, home.path() + u"/system"_s);
        if (!display.isEmpty())
            environment.insert(u"DISPLAY"_s, display);
        return AgentRun::of(environment, arguments, prepare);
    }

private Q_SLOTS:
    void saysThatThereIsNoDesktop_data()
    {
        QTest::addColumn<QString>("display");
        QTest::newRow("none") << QString();
        QTest::newRow("nobody answers") << u"/nowhere:0"_s;
    }

    void saysThatThereIsNoDesktop()
    {
        QFETCH(const QString, display);
        const auto end = run(display, {});
        QVERIFY(end);
        QCOMPARE(end->exitCode, 1);
        QCOMPARE(end->errors.count('\n'), 1);
        QVERIFY(end->errors.contains("is DISPLAY set?"));
    }

    void tellsItsVersionAndItsUseWithoutADesktop()
    {
        const auto version = run({}, { u"--version"_s });
        QVERIFY(version);
        QCOMPARE(version->exitCode, 0);
        QVERIFY(version->output.startsWith("quibel-capture-agent "));
        const auto help = run({}, { u"--help"_s });
        QVERIFY(help);
        QCOMPARE(help->exitCode, 0);
        QVERIFY(help->output.contains("Super+Shift+B"));
    }

    void refusesAnOptionThatItDoesNotKnow()
    {
        const auto end = run({}, { u"--frobnicate"_s });
        QVERIFY(end);
        QCOMPARE(end->exitCode, 2);
        QCOMPARE(end->output, QByteArray());
        QVERIFY(end->errors.contains("frobnicate"));
    }

    void endsWithItsCodeAlsoWhenNobodyReadsItsAnswer_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("version") << QStringList(u"--version"_s) << 0;
        QTest::newRow("use") << QStringList(u"--help"_s) << 0;
        QTest::newRow("quit") << QStringList(u"--quit"_s) << 0;
        QTest::newRow("not at login") << QStringList({ u"--autostart"_s, u"status"_s }) << 1;
        QTest::newRow("diagnosis") << QStringList(u"--doctor"_s) << 1;
    }

    void endsWithItsCodeAlsoWhenNobodyReadsItsAnswer()
    {
        QFETCH(const QStringList, arguments);
        QFETCH(const int, exitCode);
        std::array<int, 2> pipe {};
        QCOMPARE(::pipe2(pipe.data(), O_CLOEXEC), 0);
        ::close(pipe[0]);
        const auto end = run({}, arguments, [&pipe](QProcess& process) {
            process.setChildProcessModifier([&pipe] { ::dup2(pipe[1], STDOUT_FILENO); });
        });
        ::close(pipe[1]);
        QVERIFY(end);
        QCOMPARE(end->exitCode, exitCode);
    }

    void hasNothingToQuitWhenNothingRuns()
    {
        const auto end = run({}, { u"--quit"_s });
        QVERIFY(end);
        QCOMPARE(end->exitCode, 0);
        QCOMPARE(end->output, "quibel-capture-agent: it is not running\n"_ba);
        QCOMPARE(end->errors, QByteArray());
    }

    void isStartedAtLoginAsAskedFor()
    {
        const auto status = [this] { return run({}, { u"--autostart"_s, u"status"_s }); };
        QCOMPARE(status()->output, "off\n"_ba);
        QCOMPARE(status()->exitCode, 1);
        const auto on = run({}, { u"--autostart"_s, u"on"_s });
        QCOMPARE(on->exitCode, 0);
        QCOMPARE(on->output + on->errors, QByteArray());
        QCOMPARE(status()->output, "on\n"_ba);
        QCOMPARE(status()->exitCode, 0);
        QFile entry(home.path() + u"/config/autostart/org.quibel.CaptureAgent.desktop"_s);
        QVERIFY(entry.open(QIODevice::ReadOnly));
        QVERIFY(entry.readAll().contains("\nExec=\"" + AgentRun::program().toUtf8() + "\"\n"));
        QCOMPARE(run({}, { u"--autostart"_s, u"off"_s })->exitCode, 0);
        QCOMPARE(status()->output, "off\n"_ba);
    }

    void saysWhyItCannotBeStartedAtLogin()
    {
        const QString folder = home.path() + u"/config/autostart"_s;
        QVERIFY(!QFile::exists(folder) || QDir(folder).removeRecursively());
        QDir().mkpath(home.path() + u"/config"_s);
        QFile inTheWay(folder);
        QVERIFY(inTheWay.open(QIODevice::WriteOnly));
        const auto end = run({}, { u"--autostart"_s, u"on"_s });
        QVERIFY(inTheWay.remove());
        QVERIFY(end);
        QCOMPARE(end->exitCode, 1);
        QCOMPARE(end->errors.count('\n'), 1);
        QVERIFY(end->errors.contains(folder.toUtf8()));
    }
};

} // namespace quibel::testing

QTEST_GUILESS_MAIN(quibel::testing::StartTest)
#include "StartTest.moc"
