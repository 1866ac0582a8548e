#include "tests/inbox/page/InboxUnderTest.h"

#include "tests/inbox/agent/SampleDocuments.h"
#include "tests/inbox/http/RawHttp.h"

#include <QBuffer>
#include <QJsonArray>
#include <QPainter>
#include <QRandomGenerator>

#include <algorithm>
#include <cstdio>

namespace quibel::inbox::testing {

namespace {

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

} // namespace

InboxUnderTest::InboxUnderTest()
    : inbox({ u"--data"_s, directory.path() })
{
}

bool InboxUnderTest::start()
{
    const auto listen = u"127.0.0.1:%1"_s.arg(std::max(address.port(), 0));
    address = inbox.serve({ u"--listen"_s, listen });
    if (key.isEmpty())
        key = run({ u"keys"_s, u"create"_s, u"--name"_s, u"Agent"_s });
    return !address.isEmpty() && !key.isEmpty();
}

void InboxUnderTest::stop()
{
    (void)inbox.stop();
}

QUrl InboxUnderTest::url(const QString& path) const
{
    return { address.toString() + path };
}

QUrl InboxUnderTest::signInLink()
{
    return QUrl(run({ u"open"_s, u"--print"_s }));
}

QString InboxUnderTest::run(const QStringList& words, const QByteArray& input)
{
    const auto outcome = inbox.run(words, input);
    if (outcome.exitCode != 0)
        std::fprintf(stderr, "%s\n", outcome.errors.constData());
    return QString::fromUtf8(outcome.output).trimmed();
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
