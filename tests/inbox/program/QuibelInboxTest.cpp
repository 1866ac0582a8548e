#include "tests/inbox/agent/SampleDocuments.h"
#include "tests/inbox/http/RawHttp.h"
#include "tests/inbox/program/InboxProcess.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <csignal>

namespace quibel::inbox {

using namespace testing;

/// The program as a person and as a script meet it.
class QuibelInboxTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        directory = std::make_unique<QTemporaryDir>();
        inbox = std::make_unique<InboxProcess>(QStringList { u"--data"_s, data() });
    }
    void cleanup()
    {
        inbox.reset();
        directory.reset();
    }

    void saysOnOneLineWhereItListens_data()
    {
        QTest::addColumn<QString>("listen");
        QTest::newRow("IPv4") << u"127.0.0.1:0"_s;
        QTest::newRow("IPv6") << u"[::1]:0"_s;
        QTest::newRow("name") << u"localhost:0"_s;
    }
    void saysOnOneLineWhereItListens()
    {
        QFETCH(QString, listen);
        const auto url = inbox->serve({ u"--listen"_s, listen });
        const auto printed = QString::fromUtf8(inbox->output());
        const auto form = u"\\Alistening on http://%1[1-9][0-9]*\n\\z"_s.arg(
            QRegularExpression::escape(listen.chopped(1)));
        QVERIFY2(QRegularExpression(form).match(printed).hasMatch(), qPrintable(printed));
        RawHttp http(quint16(url.port()), url.host());
        http.send(RawHttp::request("GET /api/projects", {}));
        QCOMPARE(http.receive().status, 401);
    }

    void takesABranchAndItsScreenshotFromBeginningToEnd()
    {
        const auto url = inbox->serve();
        QVERIFY(inbox->takeErrors().contains("there is no key yet"));
        const auto created = run({ u"keys"_s, u"create"_s, u"--name"_s, u"desk"_s });
        QCOMPARE(created.exitCode, 0);
        QCOMPARE(created.output.count('\n'), 1);
        key = created.output.trimmed();
        const auto added = run({ u"projects"_s, u"add"_s, u"My garden"_s });
        QCOMPARE(added.exitCode, 0);
        const auto project = QString::fromUtf8(added.output.trimmed());

        QCOMPARE(send(url, "GET /api/projects").body,
                 "[{\"id\":\"" + project.toUtf8() + "\",\"name\":\"My garden\"}]");
        const auto branch
            = send(url, "POST /api/branches/from-agent", toBytes(sampleBranch(project)))
                  .id(u"branch"_s);
        const QSize size(40, 30);
        const auto picture = samplePng(size);
        const auto uploaded = send(url,
                                   "POST /api/branches/" + branch.toUtf8() + "/screenshots",
                                   toBytes(sampleScreenshot(branch, picture, size)));
        QCOMPARE(uploaded.status, 201);

        const auto table = run({ u"branches"_s });
        QCOMPARE(table.exitCode, 0);
        QVERIFY(table.output.contains(branch.toUtf8()));
        QVERIFY(table.output.contains("My garden"));
        const auto json = run({ u"branches"_s, u"--json"_s });
        const auto list = QJsonDocument::fromJson(json.output).array();
        QCOMPARE(list.size(), 1);
        QCOMPARE(list.first()[u"id"_s], branch);
        QCOMPARE(list.first()[u"project_name"_s], u"My garden"_s);
        QCOMPARE(list.first()[u"screenshots"_s][0][u"id"_s], uploaded.id(u"screenshot"_s));

        QCOMPARE(run({ u"screenshot"_s, branch }).output, picture);
        const auto path = directory->filePath(u"shot.png"_s);
        const auto saved = run({ u"screenshot"_s, branch, u"--output"_s, path });
        QCOMPARE(saved.exitCode, 0);
        QCOMPARE(saved.output, QByteArray());
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), picture);
    }

    void listsOneProjectALine()
    {
        const auto zoo = run({ u"projects"_s, u"add"_s, u"Zoo"_s }).output.trimmed();
        const auto attic = run({ u"projects"_s, u"add"_s, u"My attic"_s }).output.trimmed();
        QCOMPARE(run({ u"projects"_s, u"list"_s }).output,
                 zoo + "  Zoo\n" + attic + "  My attic\n");
    }

    void keepsNoKeyInItsFiles()
    {
        key = run({ u"keys"_s, u"create"_s }).output.trimmed();
        const auto files = QDir(data()).entryInfoList(QDir::Files);
        QVERIFY(!files.isEmpty());
        for (const auto& info : files) {
            QFile file(info.filePath());
            QVERIFY(file.open(QIODevice::ReadOnly));
            QVERIFY(!file.readAll().contains(key));
        }
    }

    void endsCleanlyWhenAsked_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("SIGTERM") << SIGTERM;
        QTest::newRow("SIGINT") << SIGINT;
    }
    void endsCleanlyWhenAsked()
    {
        QFETCH(int, signal);
        const auto url = inbox->serve();
        RawHttp unfinished(quint16(url.port()));
        unfinished.send("POST / HTTP/1.1\r\nHost: x\r\n");
        QVERIFY(unfinished.flush());
        inbox->signal(signal);
        QVERIFY(inbox->stop());
        QVERIFY(unfinished.isClosedByPeer());
    }

    void canBeStartedAgainAtOnceOnTheSamePort()
    {
        const auto url = inbox->serve();
        {
            RawHttp http(quint16(url.port()));
            http.send(RawHttp::request("GET /healthz", {}));
            QCOMPARE(http.receive().status, 200);
            // The side that closes first keeps the port in memory for a while.
            QVERIFY(inbox->stop());
            QVERIFY(http.isClosedByPeer());
        }
        QCOMPARE(inbox->serve({ u"--listen"_s, u"127.0.0.1:%1"_s.arg(url.port()) }), url);
    }

    void saysThatThePortIsTaken()
    {
        QTcpServer other;
        QVERIFY(other.listen(QHostAddress::LocalHost));
        const auto address = u"127.0.0.1:%1"_s.arg(other.serverPort());
        const auto outcome = run({ u"serve"_s, u"--listen"_s, address });
        QCOMPARE(outcome.exitCode, 1);
        QCOMPARE(outcome.output, QByteArray());
        QVERIFY(outcome.errors.contains("cannot listen on " + address.toLatin1()
                                        + ": Address already in use"));
    }

    void explainsAMisuseOnStandardError()
    {
        for (const auto& words : { QStringList { u"sing"_s }, QStringList { u"--loud"_s } }) {
            const auto outcome = run(words);
            QCOMPARE(outcome.exitCode, 2);
            QCOMPARE(outcome.output, QByteArray());
            QVERIFY(outcome.errors.contains("quibel-inbox --help"));
        }
        QVERIFY(!QFileInfo::exists(data()));
    }

    void printsHelpAndVersion()
    {
        const auto help = run({ u"--help"_s });
        QCOMPARE(help.exitCode, 0);
        QVERIFY(help.output.startsWith("Usage: quibel-inbox "));
        const auto version = run({ u"--version"_s });
        QCOMPARE(version.exitCode, 0);
        static const QRegularExpression form(uR"(\Aquibel-inbox [0-9]+\.[0-9]+\.[0-9]+\n\z)"_s);
        QVERIFY(form.match(QString::fromUtf8(version.output)).hasMatch());
    }

    void makesNothingWhereNothingIsToBeRead_data()
    {
        QTest::addColumn<QStringList>("words");
        for (const auto& words : QList<QStringList> { { u"branches"_s },
                                                      { u"projects"_s, u"list"_s },
                                                      { u"keys"_s, u"list"_s },
                                                      { u"open"_s },
                                                      { u"backup"_s, u"b.sqlite"_s },
                                                      { u"export"_s, u"out"_s } })
            QTest::newRow(qPrintable(words.join(u' '))) << words;
    }
    void makesNothingWhereNothingIsToBeRead()
    {
        QFETCH(QStringList, words);
        const auto outcome = run(words);
        QCOMPARE(outcome.exitCode, 1);
        QVERIFY2(outcome.errors.contains(data().toUtf8()), outcome.errors.constData());
        QVERIFY(!QFileInfo::exists(data()));
    }

    void listsAndRevokesKeys()
    {
        const auto url = inbox->serve();
        key = run({ u"keys"_s, u"create"_s, u"--name"_s, u"desk"_s }).output.trimmed();
        const auto unused = run({ u"keys"_s, u"list"_s });
        QCOMPARE(unused.exitCode, 0);
        QVERIFY(unused.output.endsWith("  never used  desk\n"));
        QCOMPARE(send(url, "GET /api/projects").status, 200);
        const auto used = run({ u"keys"_s, u"list"_s }).output;
        QVERIFY(!used.contains("never used"));
        QVERIFY(!used.contains(key));

        const auto id = QString::fromUtf8(used.split(' ').first());
        QCOMPARE(run({ u"keys"_s, u"revoke"_s, id }).exitCode, 0);
        QCOMPARE(send(url, "GET /api/projects").status, 401);
        const auto again = run({ u"keys"_s, u"revoke"_s, id });
        QCOMPARE(again.exitCode, 1);
        QVERIFY(again.errors.contains("there is no key " + id.toUtf8()));
    }

    void keepsAccountsApart()
    {
        QCOMPARE(run({ u"accounts"_s, u"add"_s, u"Ada"_s }).exitCode, 0);
        const auto again = run({ u"accounts"_s, u"add"_s, u"Ada"_s });
        QCOMPARE(again.exitCode, 1);
        QVERIFY(again.errors.contains("there is an account \"Ada\" already"));
        QCOMPARE(run({ u"accounts"_s, u"list"_s }).output,
                 "owner  (no password)\nAda  (no password)\n");

        const auto url = inbox->serve();
        key = run({ u"keys"_s, u"create"_s, u"--account"_s, u"Ada"_s }).output.trimmed();
        QCOMPARE(send(url, "POST /api/branches/from-agent", toBytes(sampleBranch())).status, 201);
        QCOMPARE(run({ u"branches"_s, u"--json"_s }).output, "[\n]\n");
        QVERIFY(run({ u"branches"_s, u"--account"_s, u"Ada"_s }).output.contains("Look at"));
        const auto unknown = run({ u"branches"_s, u"--account"_s, u"Eve"_s });
        QCOMPARE(unknown.exitCode, 1);
        QVERIFY(unknown.errors.contains("there is no account \"Eve\""));
    }

    void takesAPasswordFromStandardInput_data()
    {
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QByteArray>("complaint");
        QTest::newRow("good") << "correct horse\nmore\n"_ba << 0 << ""_ba;
        QTest::newRow("no newline") << "correct horse"_ba << 0 << ""_ba;
        QTest::newRow("short") << "horse\n"_ba << 1 << "at least 10 characters"_ba;
        QTest::newRow("nothing") << ""_ba << 1 << "at least 10 characters"_ba;
        QTest::newRow("a file by mistake") << QByteArray(5000, 'x') << 1 << "at most"_ba;
    }
    void takesAPasswordFromStandardInput()
    {
        QFETCH(QByteArray, input);
        QFETCH(QByteArray, complaint);
        QCOMPARE(run({ u"accounts"_s, u"add"_s, u"Ada"_s }).exitCode, 0);
        const auto outcome = run({ u"accounts"_s, u"password"_s, u"Ada"_s }, input);
        QTEST(outcome.exitCode, "exitCode");
        QVERIFY(outcome.errors.contains(complaint));
        const auto listed = run({ u"accounts"_s, u"list"_s }).output;
        QCOMPARE(listed.contains("Ada  (no password)"), outcome.exitCode != 0);
    }

    void signsInByALinkThatWorksOnce()
    {
        QCOMPARE(run({ u"projects"_s, u"add"_s, u"Garden"_s }).exitCode, 0);
        const auto before = run({ u"open"_s, u"--print"_s });
        QCOMPARE(before.exitCode, 1);
        QVERIFY(before.errors.contains("quibel-inbox serve"));

        const auto url = inbox->serve();
        const auto printed = run({ u"open"_s, u"--print"_s });
        QCOMPARE(printed.exitCode, 0);
        const QUrl link(QString::fromUtf8(printed.output.trimmed()));
        QCOMPARE(link.port(), url.port());
        const auto signedIn = send(url, "GET " + link.path().toUtf8());
        QCOMPARE(signedIn.status, 303);
        QVERIFY(signedIn.head.contains("set-cookie: "));
        QVERIFY(!send(url, "GET " + link.path().toUtf8()).head.contains("set-cookie: "));
        QVERIFY2(!inbox->takeErrors().contains(link.fileName().toUtf8()), "the log tells the link");

        QVERIFY(inbox->stop());
        const auto after = run({ u"open"_s, u"--print"_s });
        QCOMPARE(after.exitCode, 1);
        QVERIFY(after.errors.contains("quibel-inbox serve"));
    }

    void backsUpWhileItIsServed()
    {
        key = inbox->createKey();
        const auto url = inbox->serve();
        const auto branch
            = send(url, "POST /api/branches/from-agent", toBytes(sampleBranch())).id(u"branch"_s);
        const QDir target(directory->filePath(u"restored"_s));
        QVERIFY(target.mkpath(u"."_s));
        const auto file = target.filePath(u"inbox.sqlite"_s);
        const auto outcome = run({ u"backup"_s, file });
        QVERIFY2(outcome.exitCode == 0, outcome.errors.constData());
        QCOMPARE(QFileInfo(file).permissions() & (QFile::ReadGroup | QFile::ReadOther),
                 QFile::Permissions());
        const InboxProcess restored({ u"--data"_s, target.path() });
        QVERIFY(restored.run({ u"branches"_s }).output.contains(branch.toUtf8()));
    }

    void exportsEverythingWithItsPictures()
    {
        key = inbox->createKey();
        const auto url = inbox->serve();
        const auto project
            = QString::fromUtf8(run({ u"projects"_s, u"add"_s, u"Garden"_s }).output.trimmed());
        const auto branch
            = send(url, "POST /api/branches/from-agent", toBytes(sampleBranch(project)))
                  .id(u"branch"_s);
        const QSize size(40, 30);
        const auto picture = samplePng(size);
        const auto upload = toBytes(sampleScreenshot(branch, picture, size));
        QCOMPARE(send(url, "POST /api/branches/" + branch.toUtf8() + "/screenshots", upload).status,
                 201);
        QCOMPARE(run({ u"accounts"_s, u"add"_s, u"Ada"_s }).exitCode, 0);

        const QDir target(directory->filePath(u"out"_s));
        QVERIFY(QDir().mkdir(target.path()));
        QVERIFY(QFile::setPermissions(target.path(), QFile::Permissions(0x7755)));
        const auto outcome = run({ u"export"_s, target.path() });
        QVERIFY2(outcome.exitCode == 0, outcome.errors.constData());
        QFile document(target.filePath(u"inbox.json"_s));
        QVERIFY(document.open(QIODevice::ReadOnly));
        const auto accounts = QJsonDocument::fromJson(document.readAll())[u"accounts"_s];
        QCOMPARE(accounts.toArray().size(), 2);
        QCOMPARE(accounts[1][u"name"_s], u"Ada"_s);
        QCOMPARE(accounts[1][u"branches"_s].toArray().size(), 0);
        QCOMPARE(accounts[0][u"projects"_s][0][u"name"_s], u"Garden"_s);
        QCOMPARE(accounts[0][u"branches"_s][0][u"id"_s], branch);
        const auto hash
            = accounts[0][u"branches"_s][0][u"screenshots"_s][0][u"sha256"_s].toString();
        QFile file(target.filePath(u"pictures/%1.png"_s.arg(hash)));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), picture);
        QCOMPARE(QFileInfo(target.path()).permissions() & QFile::Permissions(0x0077),
                 QFile::Permissions());

        const auto again = run({ u"export"_s, target.path() });
        QCOMPARE(again.exitCode, 1);
        QVERIFY(again.errors.contains("there already"));
    }

    void saysWhenThereIsNoScreenshot()
    {
        QCOMPARE(run({ u"projects"_s, u"add"_s, u"Garden"_s }).exitCode, 0);
        const auto outcome = run({ u"screenshot"_s, u"b1"_s });
        QCOMPARE(outcome.exitCode, 1);
        QVERIFY(outcome.errors.contains("no screenshot of a branch b1"));
    }

    void saysWhenItsOutputCannotBeWritten()
    {
        QProcess process;
        process.setStandardOutputFile(u"/dev/full"_s);
        process.start(qEnvironmentVariable("QUIBEL_TEST_BIN_DIR") + u"/quibel-inbox"_s,
                      { u"keys"_s, u"create"_s, u"--data"_s, data() });
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), 1);
    }

    void keepsItsDataInTheUsersDataDirectory()
    {
        QProcess process;
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_DATA_HOME"_s, directory->path());
        process.setProcessEnvironment(environment);
        process.start(qEnvironmentVariable("QUIBEL_TEST_BIN_DIR") + u"/quibel-inbox"_s,
                      { u"keys"_s, u"create"_s });
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), 0);
        QVERIFY(QFileInfo::exists(directory->filePath(u"quibel/inbox/inbox.sqlite"_s)));
    }

private:
    [[nodiscard]] QString data() const { return directory->filePath(u"data"_s); }

    [[nodiscard]] Outcome run(const QStringList& words, const QByteArray& input = {}) const
    {
        return inbox->run(words, input);
    }

    [[nodiscard]] RawAnswer
    send(const QUrl& url, const QByteArray& line, const QByteArray& body = {}) const
    {
        RawHttp http(quint16(url.port()), url.host());
        http.send(RawHttp::request(
            line, { "Authorization: Bearer " + key, "Content-Type: application/json" }, body));
        return http.receive();
    }

    std::unique_ptr<QTemporaryDir> directory;
    std::unique_ptr<InboxProcess> inbox;
    QByteArray key;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::QuibelInboxTest)
#include "QuibelInboxTest.moc"
