#include "tests/system/AgentRun.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel::testing {

/// The agent where there is no desktop to serve.
class StartTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir runtime;

    /// No bus either: an agent that runs on the desktop of whoever runs this must not hear of it.
    [[nodiscard]] std::optional<AgentRun> run(const QString& display,
                                              const QStringList& arguments) const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove(u"QT_QPA_PLATFORM"_s);
        environment.remove(u"DISPLAY"_s);
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nowhere"_s);
        environment.insert(u"XDG_RUNTIME_DIR"_s, runtime.path());
        if (!display.isEmpty())
            environment.insert(u"DISPLAY"_s, display);
        return AgentRun::of(environment, arguments);
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

    void hasNothingToQuitWhenNothingRuns()
    {
        const auto end = run({}, { u"--quit"_s });
        QVERIFY(end);
        QCOMPARE(end->exitCode, 0);
        QCOMPARE(end->output, "quibel-capture-agent: it is not running\n"_ba);
        QCOMPARE(end->errors, QByteArray());
    }
};

} // namespace quibel::testing

QTEST_GUILESS_MAIN(quibel::testing::StartTest)
#include "StartTest.moc"
