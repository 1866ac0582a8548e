#include "inbox/program/CommandLine.h"

#include <QTest>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

std::variant<CommandLine, CommandLine::Notice> parse(const QString& words)
{
    return CommandLine::parse(u"quibel-inbox "_s.append(words).split(u' '));
}

CommandLine parsed(const QString& words)
{
    return std::get<CommandLine>(parse(words));
}

} // namespace

class CommandLineTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void servesOnLoopbackUnlessToldOtherwise()
    {
        const auto line = parsed(u"serve"_s);
        QCOMPARE(line.command, CommandLine::Command::serve);
        QCOMPARE(line.listen.toString(), u"127.0.0.1:8787"_s);
        QVERIFY(line.dataDirectory.endsWith(u"/quibel/inbox"));
        QCOMPARE(parsed(u"serve --listen [::1]:99"_s).listen.toString(), u"[::1]:99"_s);
    }

    void readsEveryCommand()
    {
        QCOMPARE(parsed(u"keys create"_s).command, CommandLine::Command::createKey);
        QCOMPARE(parsed(u"keys create --name desk"_s).name, u"desk"_s);
        QCOMPARE(parsed(u"projects add Garden"_s).command, CommandLine::Command::addProject);
        QCOMPARE(parsed(u"projects add Garden"_s).name, u"Garden"_s);
        QCOMPARE(parsed(u"projects list"_s).command, CommandLine::Command::listProjects);
        QCOMPARE(parsed(u"branches"_s).command, CommandLine::Command::listBranches);
        QVERIFY(!parsed(u"branches"_s).json);
        QVERIFY(parsed(u"branches --json"_s).json);
        QCOMPARE(parsed(u"screenshot b1"_s).command, CommandLine::Command::writeScreenshot);
        QCOMPARE(parsed(u"screenshot b1"_s).branchID, u"b1"_s);
        QVERIFY(!parsed(u"screenshot b1"_s).outputFile);
        QCOMPARE(parsed(u"screenshot b1 --output x.png"_s).outputFile, u"x.png"_s);
    }

    void takesTheDataDirectoryEverywhere_data()
    {
        QTest::addColumn<QString>("words");
        for (const auto& words : { u"serve"_s,
                                   u"keys create"_s,
                                   u"projects add x"_s,
                                   u"projects list"_s,
                                   u"branches"_s,
                                   u"screenshot x"_s })
            QTest::newRow(qPrintable(words)) << words;
    }
    void takesTheDataDirectoryEverywhere()
    {
        QFETCH(QString, words);
        QCOMPARE(parsed(words + u" --data /d"_s).dataDirectory, u"/d"_s);
        QCOMPARE(parsed(u"--data=/d "_s + words).dataDirectory, u"/d"_s);
    }

    void answersHelpAndVersion()
    {
        const auto help = std::get<CommandLine::Notice>(parse(u"--help"_s));
        QCOMPARE(help.kind, CommandLine::Notice::Kind::answer);
        QVERIFY(help.text.startsWith(u"Usage: quibel-inbox "));
        const auto version = std::get<CommandLine::Notice>(parse(u"--version"_s));
        QCOMPARE(version.kind, CommandLine::Notice::Kind::answer);
        QVERIFY(version.text.startsWith(u"quibel-inbox "));
    }

    void explainsAMisuse_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<QString>("expected");
        const auto row = [](const QStringList& words, const QString& expected) {
            QTest::newRow(qPrintable(words.join(u' '))) << words << expected;
        };
        row({}, u"no command given"_s);
        row({ u"sing"_s }, u"no command \"sing\""_s);
        row({ u"keys"_s }, u"no command \"keys\""_s);
        row({ u"serve"_s, u"now"_s }, u"\"serve\" takes nothing more"_s);
        row({ u"projects"_s, u"add"_s }, u"\"projects add\" takes exactly one word more"_s);
        row({ u"screenshot"_s, u"a"_s, u"b"_s }, u"\"screenshot\" takes exactly one word more"_s);
        row({ u"branches"_s, u"--loud"_s }, u"loud"_s);
        row({ u"branches"_s, u"--name"_s, u"x"_s }, u"--name does not belong to \"branches\""_s);
        row({ u"serve"_s, u"--json"_s }, u"--json does not belong to \"serve\""_s);
        row({ u"serve"_s, u"--data"_s }, u"data"_s);
        row({ u"serve"_s, u"--data"_s, u""_s }, u"--data needs a directory"_s);
        row({ u"serve"_s, u"--listen"_s, u"here"_s }, u"--listen needs"_s);
        row({ u"screenshot"_s, u"a"_s, u"--output"_s, u""_s }, u"--output needs a file"_s);
        row({ u"projects"_s, u"add"_s, u" "_s }, u"a name has 1 to 200"_s);
        row({ u"projects"_s, u"add"_s, u"a\nb"_s }, u"no control characters"_s);
        row({ u"keys"_s, u"create"_s, u"--name"_s, QString(201, u'x') }, u"a name has 1 to 200"_s);
    }
    void explainsAMisuse()
    {
        QFETCH(QStringList, words);
        QFETCH(QString, expected);
        const auto result = CommandLine::parse(QStringList { u"quibel-inbox"_s } + words);
        const auto* notice = std::get_if<CommandLine::Notice>(&result);
        QVERIFY(notice);
        QCOMPARE(notice->kind, CommandLine::Notice::Kind::misuse);
        QVERIFY2(notice->text.section(u'\n', 0, 0).contains(expected), qPrintable(notice->text));
        QVERIFY(notice->text.contains(u"Usage: quibel-inbox "));
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::CommandLineTest)
#include "CommandLineTest.moc"
