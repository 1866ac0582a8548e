#include "app/CommandLine.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel {

class AgentCommandLineTest : public QObject
{
    Q_OBJECT

private:
    using Command = CommandLine::Command;
    using Notice = CommandLine::Notice;

    [[nodiscard]] static std::variant<CommandLine, Notice> parse(const QStringList& words)
    {
        return CommandLine::parse(QStringList { u"/some/where/quibel-capture-agent"_s } + words);
    }

    [[nodiscard]] static QString said(const QStringList& words, Notice::Kind kind)
    {
        const auto parsed = parse(words);
        const auto* notice = std::get_if<Notice>(&parsed);
        return notice != nullptr && notice->kind == kind ? notice->text : QString();
    }

private Q_SLOTS:
    void readsEachCommand_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<Command>("command");
        QTest::newRow("none") << QStringList() << Command::start;
        QTest::newRow("send") << QStringList(u"--send-branch"_s) << Command::sendBranch;
        QTest::newRow("capture") << QStringList(u"--capture"_s) << Command::capture;
        QTest::newRow("connect") << QStringList(u"--connect-account"_s) << Command::connectAccount;
        QTest::newRow("quit") << QStringList(u"--quit"_s) << Command::quit;
    }

    void readsEachCommand()
    {
        QFETCH(const QStringList, words);
        QFETCH(const Command, command);
        const auto parsed = parse(words);
        const auto* line = std::get_if<CommandLine>(&parsed);
        QVERIFY(line != nullptr);
        QCOMPARE(line->command, command);
    }

    void readsTheWordThatBelongsToACommand()
    {
        for (const auto& word : { u"on"_s, u"off"_s, u"status"_s }) {
            const auto parsed = parse({ u"--autostart"_s, word });
            const auto* line = std::get_if<CommandLine>(&parsed);
            QVERIFY(line != nullptr);
            QCOMPARE(line->command, Command::autostart);
            QCOMPARE(line->operand, word);
        }
    }

    void tellsTheDiagnosisAsJsonWhenAsked_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<bool>("json");
        QTest::newRow("table") << QStringList(u"--doctor"_s) << false;
        QTest::newRow("JSON") << QStringList({ u"--doctor"_s, u"--json"_s }) << true;
        QTest::newRow("JSON first") << QStringList({ u"--json"_s, u"--doctor"_s }) << true;
    }

    void tellsTheDiagnosisAsJsonWhenAsked()
    {
        QFETCH(const QStringList, words);
        QFETCH(const bool, json);
        const auto parsed = parse(words);
        const auto* line = std::get_if<CommandLine>(&parsed);
        QVERIFY(line != nullptr);
        QCOMPARE(line->command, Command::doctor);
        QCOMPARE(line->json, json);
    }

    void refusesWhatItDoesNotKnow_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<QString>("complaint");
        QTest::newRow("option") << QStringList(u"--capture-all"_s) << u"'capture-all'"_s;
        QTest::newRow("word") << QStringList(u"capture"_s) << u"\"capture\""_s;
        QTest::newRow("one dash") << QStringList(u"-capture"_s) << u"option"_s;
        QTest::newRow("value") << QStringList(u"--capture=now"_s) << u"--capture"_s;
        QTest::newRow("toolkit's option")
            << QStringList({ u"-platform"_s, u"xcb"_s }) << u"option"_s;
        QTest::newRow("two commands") << QStringList({ u"--capture"_s, u"--connect-account"_s })
                                      << u"--connect-account does not go with --capture"_s;
        QTest::newRow("the same twice") << QStringList({ u"--capture"_s, u"--capture"_s })
                                        << u"--capture does not go with --capture"_s;
        QTest::newRow("JSON of nothing") << QStringList(u"--json"_s) << u"--json is no command"_s;
        QTest::newRow("JSON of a command that tells nothing")
            << QStringList({ u"--json"_s, u"--capture"_s })
            << u"--json does not go with --capture"_s;
        QTest::newRow("no word for it") << QStringList(u"--autostart"_s) << u"autostart"_s;
        QTest::newRow("another word")
            << QStringList({ u"--autostart"_s, u"maybe"_s }) << u"on, off, status"_s;
        QTest::newRow("a word too many")
            << QStringList({ u"--autostart"_s, u"on"_s, u"off"_s }) << u"\"off\""_s;
        QTest::newRow("empty word") << QStringList(QString()) << u"\"\""_s;
    }

    void refusesWhatItDoesNotKnow()
    {
        QFETCH(const QStringList, words);
        QFETCH(const QString, complaint);
        const QString text = said(words, Notice::Kind::misuse);
        QVERIFY2(text.contains(complaint), qPrintable(text));
        QVERIFY2(text.endsWith(u"\nTry: quibel-capture-agent --help\n"), qPrintable(text));
    }

    void tellsItsVersion_data()
    {
        QTest::addColumn<QString>("option");
        QTest::newRow("long") << u"--version"_s;
        QTest::newRow("short") << u"-v"_s;
    }

    void tellsItsVersion()
    {
        QFETCH(const QString, option);
        const QString text = said({ option }, Notice::Kind::answer);
        QVERIFY(text.startsWith(u"quibel-capture-agent 0."));
        QCOMPARE(text.count(u'\n'), 1);
    }

    void theHelpExplainsEachCommandInALine_data()
    {
        QTest::addColumn<QString>("option");
        for (const auto& option : { u"--send-branch"_s,
                                    u"--capture"_s,
                                    u"--connect-account"_s,
                                    u"--quit"_s,
                                    u"--autostart on|off|status"_s,
                                    u"--doctor"_s,
                                    u"--version"_s,
                                    u"--help"_s })
            QTest::newRow(qPrintable(option)) << option;
    }

    void theHelpExplainsEachCommandInALine()
    {
        QFETCH(const QString, option);
        const QStringList lines = said({ u"--help"_s }, Notice::Kind::answer).split(u'\n');
        const auto explains = [&](const QString& line) {
            return line.startsWith(u"  "_s + option + u' ') && line.size() > 34
                && line.at(32) != u' ' && line.size() <= 110;
        };
        QCOMPARE(std::ranges::count_if(lines, explains), 1);
        QVERIFY(!lines.constFirst().contains(u"/some/where"));
    }

    void theHelpComesWhateverElseIsAskedFor()
    {
        const QString help = said({ u"-h"_s }, Notice::Kind::answer);
        QVERIFY(help.startsWith(u"Usage: quibel-capture-agent"));
        QCOMPARE(said({ u"--capture"_s, u"--help"_s, u"more"_s }, Notice::Kind::answer), help);
    }
};

} // namespace quibel

QTEST_APPLESS_MAIN(quibel::AgentCommandLineTest)

#include "AgentCommandLineTest.moc"
