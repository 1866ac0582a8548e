#include "tests/inbox/page/InboxUnderTest.h"

#include "tests/inbox/agent/SampleDocuments.h"
#include "tests/inbox/http/RawHttp.h"

#include <QBuffer>
#include <QJsonArray>
#include <QPainter>
#include <QRandomGenerator>

#include <csignal>
#include <cstdio>

#include <sys/prctl.h>

namespace quibel::inbox::testing {

namespace {

constexpr int patienceMs = 30'000;

RawAnswer
ask(const QUrl& base, const QString& key, const QByteArray& line, const QByteArray& body = {})
{
    RawHttp http(static_cast<quint16>(base.port()), base.host());
    http.send(RawHttp::request(
        line,
        { "Authorization: Bearer " + key.toLatin1(), "Content-Type: application/json" },
        body));
    return http.receive();
}

QString program()
{
    return qEnvironmentVariable("QUIBEL_TEST_BIN_DIR") + u"/quibel-inbox"_s;
}

} // namespace

bool InboxUnderTest::start()
{
    const auto listen
        = address.isEmpty() ? u"127.0.0.1:0"_s : u"127.0.0.1:%1"_s.arg(QUrl(address).port());
    service.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    service.start(program(), { u"serve"_s, u"--listen"_s, listen, u"--data"_s, directory.path() });
    QString printed;
    while (!printed.contains(u'\n')) {
        if (!service.waitForReadyRead(patienceMs)) {
            std::fprintf(stderr, "%s\n", service.readAllStandardError().constData());
            return false;
        }
        printed += QString::fromUtf8(service.readAllStandardOutput());
    }
    address = printed.trimmed().section(u' ', -1);
    if (key.isEmpty())
        key = run({ u"keys"_s, u"create"_s, u"--name"_s, u"Agent"_s });
    return !key.isEmpty();
}

void InboxUnderTest::stop()
{
    service.terminate();
    if (service.state() != QProcess::NotRunning && !service.waitForFinished(patienceMs)) {
        service.kill();
        service.waitForFinished();
    }
}

QUrl InboxUnderTest::url(const QString& path) const
{
    return { address + path };
}

QUrl InboxUnderTest::signInLink()
{
    return QUrl(run({ u"open"_s, u"--print"_s }));
}

QString InboxUnderTest::run(const QStringList& words, const QByteArray& input)
{
    QProcess process;
    process.start(program(), words + QStringList { u"--data"_s, directory.path() });
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(patienceMs) || process.exitCode() != 0)
        std::fprintf(stderr, "%s\n", process.readAllStandardError().constData());
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

QString InboxUnderTest::post(const QJsonObject& branch)
{
    const auto answer = ask(url(), key, "POST /api/branches/from-agent", toBytes(branch));
    if (answer.status != 201)
        std::fprintf(stderr, "%d %s\n", answer.status, answer.body.constData());
    return answer.id(u"branch"_s);
}

bool InboxUnderTest::attach(const QString& branchID, const QImage& picture)
{
    QBuffer buffer;
    const auto document = [&] { return sampleScreenshot(branchID, buffer.data(), picture.size()); };
    return buffer.open(QBuffer::WriteOnly) && picture.save(&buffer, "PNG")
        && ask(url(),
               key,
               "POST /api/branches/" + branchID.toLatin1() + "/screenshots",
               toBytes(document()))
               .status
        == 201;
}

QStringList InboxUnderTest::projectsOf(const QString& agentKey) const
{
    const auto answer = ask(url(), agentKey, "GET /api/projects");
    if (answer.status != 200)
        return { QString::number(answer.status) };
    QStringList names;
    const auto projects = QJsonDocument::fromJson(answer.body).array();
    for (const auto& project : projects)
        names.append(project[u"name"_s].toString());
    return names;
}

QJsonObject branchOf(const QString& text, const QJsonValue& projectID)
{
    auto branch = changed(sampleBranch(), u"context_snapshot.captured_text"_s, text);
    branch = changed(branch, u"title"_s, text.simplified().section(u' ', 0, 6));
    return projectID.isNull() ? branch : changed(branch, u"project_id"_s, projectID);
}

QImage windowPicture(int seed, QSize size)
{
    QRandomGenerator random(static_cast<quint32>(seed));
    const auto hue = random.bounded(360);
    QImage picture(size, QImage::Format_RGB32);
    picture.fill(QColor::fromHsl(hue, 40, 248));
    QPainter painter(&picture);
    painter.fillRect(0, 0, size.width(), 36, QColor::fromHsl(hue, 60, 90));
    painter.fillRect(0, 36, size.width() / 5, size.height(), QColor::fromHsl(hue, 40, 228));
    for (int y = 64; y < size.height() - 24; y += 24)
        painter.fillRect(size.width() / 5 + 32,
                         y,
                         random.bounded(size.width() / 4, size.width() * 3 / 4 - 32),
                         8,
                         QColor::fromHsl(hue, 50, 120 + random.bounded(60)));
    return picture;
}

} // namespace quibel::inbox::testing
