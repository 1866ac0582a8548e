#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel::testing {

/// The agent where there is no desktop to serve.
class StartTest : public QObject
{
    Q_OBJECT

private:
    struct End
    {
        int exitCode = 0;
        QByteArray output;
        QByteArray errors;
    };

    /// How the agent ends; none when it crashes, or does not end.
    [[nodiscard]] static std::optional<End> run(const QString& display,
                                                const QStringList& arguments)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove(u"QT_QPA_PLATFORM"_s);
        environment.remove(u"DISPLAY"_s);
        if (!display.isEmpty())
            environment.insert(u"DISPLAY"_s, display);
        QProcess agent;
        agent.setProcessEnvironment(environment);
        agent.start(qEnvironmentVariable("QUIBEL_TEST_BIN_DIR") + u"/quibel-capture-agent"_s,
                    arguments);
        if (!agent.waitForFinished() || agent.exitStatus() != QProcess::NormalExit)
            return std::nullopt;
        return End { .exitCode = agent.exitCode(),
                     .output = agent.readAllStandardOutput(),
                     .errors = agent.readAllStandardError() };
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
};

} // namespace quibel::testing

QTEST_GUILESS_MAIN(quibel::testing::StartTest)
#include "StartTest.moc"
