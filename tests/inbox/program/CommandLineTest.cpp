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
    void init() { qunsetenv("QUIBEL_INBOX_DATABASE"); }

    void servesOnLoopbackUnlessToldOtherwise()
    {
        const auto line = parsed(u"serve"_s);
        QCOMPARE(line.command, CommandLine::Command::serve);
        QCOMPARE(line.listen.toString(), u"127.0.0.1:8787"_s);
        QVERIFY(line.certificateFile.isEmpty());
        QVERIFY(!line.behindProxy);
        QVERIFY(line.database.directory.endsWith(u"/quibel/inbox"));
        QVERIFY(line.database.server.isEmpty());
        QCOMPARE(parsed(u"serve --listen [::1]:99"_s).listen.toString(), u"[::1]:99"_s);
    }

    void servesOverTlsOrBehindAProxy()
    {
        const auto tls = parsed(u"serve --tls-certificate c.pem --tls-key k.pem"_s);
        QCOMPARE(tls.certificateFile, u"c.pem"_s);
        QCOMPARE(tls.privateKeyFile, u"k.pem"_s);
        QVERIFY(parsed(u"serve --behind-proxy"_s).behindProxy);
    }

    void readsEveryCommand_data()
    {
        using enum CommandLine::Command;
        QTest::addColumn<QString>("words");
        QTest::addColumn<CommandLine::Command>("command");
        QTest::addColumn<QString>("operand");
        QTest::addColumn<bool>("mustExist");
        const auto row = [](const char* words,
                            CommandLine::Command command,
                            const QString& operand,
                            bool mustExist) {
            QTest::newRow(words) << QString::fromLatin1(words) << command << operand << mustExist;
        };
        row("serve", serve, {}, false);
        row("open", openPage, {}, true);
        row("accounts add Ada", addAccount, u"Ada"_s, false);
        row("accounts list", listAccounts, {}, true);
        row("accounts password Ada", setPassword, u"Ada"_s, true);
        row("keys create", createKey, {}, false);
        row("keys list", listKeys, {}, true);
        row("keys revoke k1", revokeKey, u"k1"_s, true);
        row("projects add Garden", addProject, u"Garden"_s, false);
        row("projects list", listProjects, {}, true);
        row("branches", listBranches, {}, true);
        row("screenshot b1", writeScreenshot, u"b1"_s, true);
        row("backup f.sqlite", backUp, u"f.sqlite"_s, true);
        row("export out", exportAll, u"out"_s, true);
    }
    void readsEveryCommand()
    {
        QFETCH(QString, words);
        const auto line = parsed(words);
        QTEST(line.command, "command");
        QTEST(line.operand, "operand");
        QTEST(line.database.mustExist, "mustExist");
        QCOMPARE(line.account, u"owner"_s);
    }

    void readsTheOptionsOfCommands()
    {
        QCOMPARE(parsed(u"keys create"_s).keyName, u"agent"_s);
        QCOMPARE(parsed(u"keys create --name desk"_s).keyName, u"desk"_s);
        QCOMPARE(parsed(u"keys create --account Ada"_s).account, u"Ada"_s);
        QVERIFY(!parsed(u"branches"_s).json);
        QVERIFY(parsed(u"branches --json"_s).json);
        QVERIFY(!parsed(u"open"_s).printOnly);
        QVERIFY(parsed(u"open --print"_s).printOnly);
        QVERIFY(!parsed(u"screenshot b1"_s).outputFile);
        QCOMPARE(parsed(u"screenshot b1 --output x.png"_s).outputFile, u"x.png"_s);
    }

    void takesNamesWithoutTheBlanksAroundThem()
    {
        const auto read = [](const QStringList& words) {
            return std::get<CommandLine>(
                CommandLine::parse(QStringList { u"quibel-inbox"_s } + words));
        };
        QCOMPARE(read({ u"accounts"_s, u"add"_s, u" Ada L "_s }).operand, u"Ada L"_s);
        QCOMPARE(read({ u"accounts"_s, u"password"_s, u" Ada "_s }).operand, u"Ada"_s);
        QCOMPARE(read({ u"projects"_s, u"add"_s, u"\tGarden"_s }).operand, u"Garden"_s);
        const auto key
            = read({ u"keys"_s, u"create"_s, u"--name"_s, u" x "_s, u"--account"_s, u" Ada "_s });
        QCOMPARE(key.keyName, u"x"_s);
        QCOMPARE(key.account, u"Ada"_s);
        QCOMPARE(read({ u"backup"_s, u" f "_s }).operand, u" f "_s);
    }

    void takesTheDatabaseEverywhere_data()
    {
        QTest::addColumn<QString>("words");
        for (const auto& words : { u"serve"_s,
                                   u"open"_s,
                                   u"accounts list"_s,
                                   u"keys create"_s,
                                   u"projects add x"_s,
                                   u"branches"_s,
                                   u"screenshot x"_s,
                                   u"backup x"_s,
                                   u"export x"_s })
            QTest::newRow(qPrintable(words)) << words;
    }
    void takesTheDatabaseEverywhere()
    {
        QFETCH(QString, words);
        QCOMPARE(parsed(words + u" --data /d"_s).database.directory, u"/d"_s);
        QCOMPARE(parsed(u"--data=/d "_s + words).database.directory, u"/d"_s);
        const QUrl server(u"postgresql://ada@db.example/inbox"_s);
        QCOMPARE(parsed(words + u" --database "_s + server.toString()).database.server, server);
    }

    void readsTheDatabaseFromTheEnvironmentUnlessOneIsNamed()
    {
        qputenv("QUIBEL_INBOX_DATABASE", "postgresql:///inbox?host=/run/postgresql");
        QCOMPARE(parsed(u"serve"_s).database.server,
                 QUrl(u"postgresql:///inbox?host=/run/postgresql"_s));
        QVERIFY(parsed(u"serve --data /d"_s).database.server.isEmpty());
        QCOMPARE(parsed(u"serve --database postgresql://h/other"_s).database.server,
                 QUrl(u"postgresql://h/other"_s));
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
        row({ u"serve"_s, u"now"_s }, u"\"serve\" takes no more words"_s);
        row({ u"projects"_s, u"add"_s }, u"\"projects add\" takes a name"_s);
        row({ u"backup"_s, u""_s }, u"\"backup\" takes a file"_s);
        row({ u"screenshot"_s, u"a"_s, u"b"_s }, u"\"screenshot\" takes the id of a branch"_s);
        row({ u"branches"_s, u"--loud"_s }, u"loud"_s);
        row({ u"branches"_s, u"--name"_s, u"x"_s }, u"--name does not belong to \"branches\""_s);
        row({ u"serve"_s, u"--json"_s }, u"--json does not belong to \"serve\""_s);
        row({ u"serve"_s, u"--account"_s, u"x"_s }, u"--account does not belong to \"serve\""_s);
        row({ u"serve"_s, u"--data"_s }, u"data"_s);
        row({ u"serve"_s, u"--data"_s, u""_s }, u"--data needs a directory"_s);
        row({ u"serve"_s, u"--data"_s, u"d"_s, u"--database"_s, u"postgresql://h/d"_s },
            u"--data and --database"_s);
        for (const auto& url : { u"mysql://h/d"_s, u"here"_s, u"postgresql://h"_s, u"::"_s })
            row({ u"serve"_s, u"--database"_s, url }, u"the database needs a URL"_s);
        row({ u"serve"_s, u"--listen"_s, u"here"_s }, u"--listen needs"_s);
        row({ u"serve"_s, u"--tls-key"_s, u"k"_s }, u"belong together"_s);
        row({ u"serve"_s, u"--tls-certificate"_s, u"c"_s }, u"belong together"_s);
        row({ u"serve"_s, u"--tls-certificate"_s, u""_s, u"--tls-key"_s, u""_s },
            u"need a file each"_s);
        row({ u"serve"_s,
              u"--tls-certificate"_s,
              u"c"_s,
              u"--tls-key"_s,
              u"k"_s,
              u"--behind-proxy"_s },
            u"the proxy speaks TLS"_s);
        row({ u"screenshot"_s, u"a"_s, u"--output"_s, u""_s }, u"--output needs a file"_s);
        row({ u"projects"_s, u"add"_s, u" "_s }, u"a name must be 1 to 100"_s);
        row({ u"projects"_s, u"add"_s, u"a\nb"_s }, u"other control characters"_s);
        row({ u"accounts"_s, u"add"_s, u"a\u2028b"_s }, u"without line breaks"_s);
        row({ u"accounts"_s, u"add"_s, QString(101, u'x') }, u"a name must be 1 to 100"_s);
        row({ u"keys"_s, u"create"_s, u"--name"_s, QString(101, u'x') },
            u"a name must be 1 to 100"_s);
        row({ u"branches"_s, u"--account"_s, u""_s }, u"a name must be 1 to 100"_s);
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
        QVERIFY(notice->text.contains(u"quibel-inbox --help"));
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::CommandLineTest)
#include "CommandLineTest.moc"
