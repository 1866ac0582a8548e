#include "tests/inbox/agent/SampleDocuments.h"
#include "tests/inbox/http/RawHttp.h"

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

namespace {

struct Outcome
{
    int exitCode = -1;
    QByteArray output;
    QByteArray errors;
};

} // namespace

/// The program as a person and as a script meet it.
class QuibelInboxTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        program = qEnvironmentVariable("QUIBEL_TEST_BIN_DIR") + u"/quibel-inbox"_s;
        QVERIFY(QFileInfo(program).isExecutable());
    }
    void init() { directory = std::make_unique<QTemporaryDir>(); }
    void cleanup()
    {
        if (service && service->state() != QProcess::NotRunning)
            service->kill();
        if (service)
            service->waitForFinished();
        service.reset();
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
        const auto url = serve(listen);
        const auto form = u"\\Alistening on http://%1[1-9][0-9]*\n\\z"_s.arg(
            QRegularExpression::escape(listen.chopped(1)));
        QVERIFY2(QRegularExpression(form).match(printed).hasMatch(), qPrintable(printed));
        RawHttp http(quint16(url.port()), url.host());
        http.send(RawHttp::request("GET /api/projects", {}));
        QCOMPARE(http.receive().status, 401);
    }

    void takesABranchAndItsScreenshotFromBeginningToEnd()
    {
        const auto url = serve(u"127.0.0.1:0"_s);
        QVERIFY(service->readAllStandardError().contains("quibel-inbox keys create --data "));
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
        const auto none = run({ u"projects"_s, u"list"_s });
        QCOMPARE(none.exitCode, 0);
        QCOMPARE(none.output, QByteArray());
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

    void hasEveryBranchThatItAnsweredWith201AfterAKill()
    {
        key = run({ u"keys"_s, u"create"_s }).output.trimmed();
        const auto url = serve(u"127.0.0.1:0"_s);
        QStringList answered;
        for (int i = 0; i < 20; ++i)
            answered.prepend(send(url, "POST /api/branches/from-agent", toBytes(sampleBranch()))
                                 .id(u"branch"_s));
        service->kill();
        QVERIFY(service->waitForFinished());
        const auto json = run({ u"branches"_s, u"--json"_s });
        QStringList kept;
        for (const auto& branch : QJsonDocument::fromJson(json.output).array())
            kept.append(branch[u"id"_s].toString());
        QCOMPARE(kept, answered);
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
        const auto url = serve(u"127.0.0.1:0"_s);
        RawHttp unfinished(quint16(url.port()));
        unfinished.send("POST / HTTP/1.1\r\nHost: x\r\n");
        QVERIFY(unfinished.flush());
        QCOMPARE(::kill(pid_t(service->processId()), signal), 0);
        QVERIFY(service->waitForFinished());
        QCOMPARE(service->exitStatus(), QProcess::NormalExit);
        QCOMPARE(service->exitCode(), 0);
        QVERIFY(unfinished.isClosedByPeer());
    }

    void canBeStartedAgainAtOnceOnTheSamePort()
    {
        const auto url = serve(u"127.0.0.1:0"_s);
        {
            RawHttp http(quint16(url.port()));
            http.send(RawHttp::request("GET /", {}));
            QCOMPARE(http.receive().status, 404);
            // The side that closes first keeps the port in memory for a while.
            service->terminate();
            QVERIFY(service->waitForFinished());
            QVERIFY(http.isClosedByPeer());
        }
        QCOMPARE(serve(u"127.0.0.1:%1"_s.arg(url.port())), url);
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

    void listensOnLoopbackOnly_data()
    {
        QTest::addColumn<QString>("listen");
        QTest::newRow("every IPv4") << u"0.0.0.0:0"_s;
        QTest::newRow("every IPv6") << u"[::]:0"_s;
        QTest::newRow("elsewhere") << u"192.0.2.1:0"_s;
    }
    void listensOnLoopbackOnly()
    {
        QFETCH(QString, listen);
        const auto outcome = run({ u"serve"_s, u"--listen"_s, listen });
        QCOMPARE(outcome.exitCode, 1);
        QCOMPARE(outcome.output, QByteArray());
        QVERIFY(outcome.errors.contains("can be reached from other machines"));
    }

    void explainsAMisuseOnStandardError()
    {
        for (const auto& words : { QStringList { u"sing"_s }, QStringList { u"--loud"_s } }) {
            const auto outcome = run(words);
            QCOMPARE(outcome.exitCode, 2);
            QCOMPARE(outcome.output, QByteArray());
            QVERIFY(outcome.errors.contains("Usage: quibel-inbox "));
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

    void saysWhenThereIsNoScreenshot()
    {
        const auto outcome = run({ u"screenshot"_s, u"b1"_s });
        QCOMPARE(outcome.exitCode, 1);
        QVERIFY(outcome.errors.contains("no screenshot of a branch b1"));
    }

    void saysWhenItsOutputCannotBeWritten()
    {
        QProcess process;
        process.setStandardOutputFile(u"/dev/full"_s);
        process.start(program, { u"keys"_s, u"create"_s, u"--data"_s, data() });
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), 1);
    }

    void keepsItsDataInTheUsersDataDirectory()
    {
        QProcess process;
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_DATA_HOME"_s, directory->path());
        process.setProcessEnvironment(environment);
        process.start(program, { u"keys"_s, u"create"_s });
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), 0);
        QVERIFY(QFileInfo::exists(directory->filePath(u"quibel/inbox/inbox.sqlite"_s)));
    }

private:
    [[nodiscard]] QString data() const { return directory->filePath(u"data"_s); }

    [[nodiscard]] Outcome run(const QStringList& words) const
    {
        QProcess process;
        process.start(program, words + QStringList { u"--data"_s, data() });
        if (!process.waitForFinished())
            return {};
        return { .exitCode = process.exitCode(),
                 .output = process.readAllStandardOutput(),
                 .errors = process.readAllStandardError() };
    }

    QUrl serve(const QString& listen)
    {
        service = std::make_unique<QProcess>();
        service->start(program, { u"serve"_s, u"--listen"_s, listen, u"--data"_s, data() });
        printed.clear();
        (void)QTest::qWaitFor(
            [this] {
                printed += QString::fromUtf8(service->readAllStandardOutput());
                return printed.contains(u'\n') || service->state() == QProcess::NotRunning;
            },
            20'000);
        return { printed.trimmed().section(u' ', -1) };
    }

    [[nodiscard]] RawAnswer
    send(const QUrl& url, const QByteArray& line, const QByteArray& body = {}) const
    {
        RawHttp http(quint16(url.port()), url.host());
        http.send(RawHttp::request(
            line, { "Authorization: Bearer " + key, "Content-Type: application/json" }, body));
        return http.receive();
    }

    QString program;
    std::unique_ptr<QTemporaryDir> directory;
    std::unique_ptr<QProcess> service;
    QString printed;
    QByteArray key;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::QuibelInboxTest)
#include "QuibelInboxTest.moc"
