#include "tests/system/LineLedger.h"

#include "tests/system/AgentSession.h"
#include "tests/system/MarkedWindow.h"

#include <QJsonDocument>
#include <QRegularExpression>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace quibel::testing {

QString Fate::text() const
{
    const QString what = outcome == Outcome::accepted ? u"accepted"_s
        : outcome == Outcome::refused                 ? u"refused"_s
                                                      : u"cut off"_s;
    return late ? what + u" late"_s : what;
}

QString SentLine::summary() const
{
    const QString branch = project + u", "_s + fate.text();
    return hasPicture ? branch + u"; picture "_s + pictureFate.text() : branch;
}

QString branchOf(const SentLine& line)
{
    return u"b%1"_s.arg(line.number);
}

void LineLedger::send(const SentLine& line)
{
    attempts.push_back({ .kind = Attempt::Kind::branch,
                         .line = lines.size(),
                         .fate = line.fate,
                         .keptBefore = kept });
    lines.push_back(line);
}

void LineLedger::resend(Fate fate)
{
    intercepts = false;
    attempts.push_back({ .kind = Attempt::Kind::resend, .line = kept.value(), .fate = fate });
}

std::optional<Fate> LineLedger::take(const ReceivedRequest& request, std::size_t index)
{
    if (request.target == branchPath)
        return takeBranch(request.body, index);
    static const QRegularExpression picture(u"^/api/branches/([^/]+)/screenshots$"_s);
    if (const auto match = picture.match(QString::fromLatin1(request.target)); match.hasMatch())
        return takePicture(match.captured(1), request.body, index);
    complain(u"a request of "_s + QString::fromLatin1(request.target));
    return std::nullopt;
}

std::optional<Fate> LineLedger::takeBranch(const QByteArray& body, std::size_t index)
{
    const QJsonObject document = QJsonDocument::fromJson(body).object();
    const QString text = document[u"context_snapshot"_s][u"captured_text"_s].toString();
    const auto awaited = std::ranges::find_if(attempts, [&](const Attempt& attempt) {
        return !attempt.request && lines.at(attempt.line).text == text;
    });
    if (awaited == attempts.end()) {
        complain(u"\"%1\" was posted, which the user did not send, or not again"_s.arg(text));
        return std::nullopt;
    }
    awaited->request = index;
    SentLine& line = lines.at(awaited->line);
    if (awaited->kind == Attempt::Kind::branch) {
        compare(line, document);
        line.document = body;
    } else if (line.document != body) {
        complain(u"line %1 was sent again in other words"_s.arg(line.number));
    }
    return awaited->fate;
}

void LineLedger::compare(const SentLine& line, const QJsonObject& document)
{
    const QJsonObject expected { { u"project"_s, line.project },
                                 { u"application"_s, line.application },
                                 { u"window"_s, line.windowTitle } };
    const QJsonValue snapshot = document[u"context_snapshot"_s];
    const QJsonObject posted { { u"project"_s, document[u"project_id"_s] },
                               { u"application"_s, snapshot[u"active_app"_s][u"name"_s] },
                               { u"window"_s, snapshot[u"active_window_title"_s] } };
    const auto text = [](const QJsonObject& values) {
        return QString::fromUtf8(QJsonDocument(values).toJson(QJsonDocument::Compact));
    };
    if (posted != expected)
        complain(u"line %1 was posted with %2, not %3"_s.arg(line.number)
                     .arg(text(posted), text(expected)));
}

std::optional<Fate>
LineLedger::takePicture(const QString& branch, const QByteArray& body, std::size_t index)
{
    const QJsonObject document = QJsonDocument::fromJson(body).object();
    const QImage picture = QImage::fromData(
        QByteArray::fromBase64(document[u"image_base64"_s].toString().toLatin1()), "PNG");
    const auto mark = MarkedWindow::readMark(picture);
    const auto line = std::ranges::find(lines, mark.value_or(-1), &SentLine::number);
    const QJsonValue metadata = document[u"metadata"_s];
    if (line == lines.end()) {
        complain(u"the picture for %1 (%2, %3 x %4, %5) shows no window that was in front"_s.arg(
            branch,
            metadata[u"capture_type"_s].toString(),
            QString::number(picture.width()),
            QString::number(picture.height()),
            metadata[u"window_title"_s].toString()));
        return std::nullopt;
    }
    judgePlace(*line, branch);
    if (metadata[u"window_title"_s] != line->windowTitle)
        complain(u"the picture of line %1 names the window \"%2\""_s.arg(line->number)
                     .arg(metadata[u"window_title"_s].toString()));
    line->pictureIsUploaded = true;
    attempts.push_back({ .kind = Attempt::Kind::picture,
                         .line = static_cast<std::size_t>(line - lines.begin()),
                         .fate = line->pictureFate,
                         .request = index });
    return line->pictureFate;
}

void LineLedger::judgePlace(const SentLine& line, const QString& branch)
{
    const auto say = [&](const QString& what) {
        complain(u"the picture of line %1, posted to %2, %3"_s.arg(line.number).arg(branch, what));
    };
    if (!line.hasPicture)
        say(u"was not asked for"_s);
    if (line.pictureIsUploaded)
        say(u"had been posted before"_s);
    const auto owner = std::ranges::find(lines, branch, &branchOf);
    if (owner == lines.end() || !owner->storedAt) {
        say(u"came before the answer to that branch"_s);
        return;
    }
    // A picture that was taken after its branch had failed goes with the next one that is stored.
    const bool isStranded
        = line.pictureMayBeStranded && line.failedAt && *line.failedAt < *owner->storedAt;
    if (owner->number != line.number && !isStranded)
        say(u"belongs to another branch"_s);
}

void LineLedger::answer(std::size_t index)
{
    const auto attempt = std::ranges::find(attempts, index, &Attempt::request);
    if (attempt == attempts.end() || std::exchange(attempt->isAnswered, true))
        return;
    ++answers;
    SentLine& line = lines.at(attempt->line);
    const bool isAccepted = attempt->fate.outcome == Fate::Outcome::accepted;
    switch (attempt->kind) {
    case Attempt::Kind::branch:
        (isAccepted ? line.storedAt : line.failedAt) = answers;
        if (isAccepted) {
            lastUsedProject = line.project;
            forget(attempt->keptBefore);
        } else {
            kept = attempt->line;
            intercepts = true;
        }
        break;
    case Attempt::Kind::resend:
        if (isAccepted)
            forget(attempt->line);
        break;
    case Attempt::Kind::picture:
        break;
    }
}

void LineLedger::forget(std::optional<std::size_t> line)
{
    if (kept != line)
        return;
    kept.reset();
    intercepts = false;
}

QByteArray LineLedger::acceptance(std::size_t index) const
{
    const Attempt& attempt = attemptAt(index);
    if (attempt.kind == Attempt::Kind::picture)
        return "{}";
    return R"({"branch":{"id":")" + branchOf(lines.at(attempt.line)).toLatin1() + R"("}})";
}

QString LineLedger::describe(std::size_t index) const
{
    const Attempt& attempt = attemptAt(index);
    const QString what = attempt.kind == Attempt::Kind::branch ? u"line"_s
        : attempt.kind == Attempt::Kind::resend                ? u"line, sent again,"_s
                                                               : u"picture of line"_s;
    return u"%1 %2: %3"_s.arg(what).arg(lines.at(attempt.line).number).arg(attempt.fate.text());
}

const LineLedger::Attempt& LineLedger::attemptAt(std::size_t index) const
{
    return *std::ranges::find(attempts, index, &Attempt::request);
}

QByteArray LineLedger::keptDocument() const
{
    return kept ? lines.at(*kept).document : QByteArray();
}

bool LineLedger::isPosted() const
{
    return std::ranges::all_of(attempts,
                               [](const Attempt& attempt) { return attempt.request.has_value(); });
}

bool LineLedger::isIllustrated() const
{
    return std::ranges::all_of(lines, [](const SentLine& line) {
        return !line.hasPicture || !line.storedAt || line.pictureIsUploaded;
    });
}

std::vector<std::size_t> LineLedger::unanswered() const
{
    std::vector<std::size_t> requests;
    for (const Attempt& attempt : attempts)
        if (attempt.request && !attempt.isAnswered)
            requests.push_back(*attempt.request);
    return requests;
}

std::size_t LineLedger::pictureCount() const
{
    return static_cast<std::size_t>(std::ranges::count_if(lines, &SentLine::hasPicture));
}

std::size_t LineLedger::savedPictureCount() const
{
    return static_cast<std::size_t>(std::ranges::count_if(attempts, [](const Attempt& attempt) {
        return attempt.kind == Attempt::Kind::picture && attempt.isAnswered
            && attempt.fate.outcome == Fate::Outcome::accepted;
    }));
}

} // namespace quibel::testing
