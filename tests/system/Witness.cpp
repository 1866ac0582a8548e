#include "tests/system/Witness.h"

#include <QJsonObject>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

constexpr int patienceMs = 20'000;
/// The agent waits so long for a picture of the window before it takes one of the display.
constexpr std::chrono::milliseconds shortestFallback { 600 };

Answer answerFor(const Fate& fate, const QByteArray& body)
{
    switch (fate.outcome) {
    case Fate::Outcome::accepted:
        return Answer::json(201, body);
    case Fate::Outcome::refused:
        return Answer::json(500, "{}");
    case Fate::Outcome::cutOff:
        break;
    }
    return Answer::raw({});
}

} // namespace

Witness::Witness(AgentSession& watchedSession)
    : session(watchedSession)
{
    session.service.leaveToScript(branchPath);
    session.service.leaveToScript("/api/branches/b1/screenshots");
    session.service.answer([this](const ReceivedRequest& request) { return answerTo(request); });
}

Answer Witness::answerTo(const ReceivedRequest& request)
{
    const std::size_t index = session.service.requests().size() - 1;
    const auto fate = ledger.take(request, index);
    if (!fate)
        return Answer::reply(404);
    Answer answer = answerFor(*fate, ledger.acceptance(index));
    if (fate->late)
        return answer.heldBack();
    ledger.answer(index);
    return answer;
}

void Witness::answer(std::size_t request)
{
    ledger.answer(request);
    session.service.release(request);
}

bool Witness::panelHasKeyboard()
{
    return sees(u"the panel has the keyboard"_s, [this] { return session.panelHasKeyboard(); });
}

bool Witness::panelIsGone()
{
    return sees(u"the panel is gone"_s, [this] { return !session.panel(); });
}

bool Witness::everythingIsPosted()
{
    return sees(u"the line is posted"_s, [this] { return ledger.isPosted(); });
}

bool Witness::pictureIsTaken(const std::function<std::chrono::milliseconds()>& sinceReturn)
{
    const bool isTaken = sees(u"the picture is taken"_s, [this] {
        return static_cast<std::size_t>(session.output().count("status     : pending\n"))
            == ledger.pictureCount();
    });
    const QByteArray report
        = session.output().sliced(session.output().lastIndexOf("Screenshot captured\n"));
    // A busy machine may not give the window's frame in time.
    if (isTaken && sinceReturn() < shortestFallback
        && !report.contains("capture_type : active_window\n"))
        ledger.complain(u"the picture does not show the window that was in front"_s);
    return isTaken;
}

bool Witness::agentHasCaughtUp()
{
    // The agent lets go of a connection once it has dealt with the answer.
    const bool isDone = sees(u"the agent has dealt with every answer"_s, [this] {
        return session.service.openConnectionCount()
            == static_cast<qsizetype>(ledger.unanswered().size());
    });
    const bool isKept = isDone && sees(u"the kept branch is on disk, or none"_s, [this] {
                            const QString kept
                                = session.preferences()[keptKey][u"base64"_s].toString();
                            return QByteArray::fromBase64(kept.toLatin1()) == ledger.keptDocument();
                        });
    return isKept && sees(u"every stored branch has its picture"_s, [this] {
               return ledger.isIllustrated();
           });
}

bool Witness::everyUploadIsReported()
{
    return sees(u"every uploaded picture is reported"_s, [this] {
        return static_cast<std::size_t>(session.output().count("Screenshot saved\n"))
            == ledger.savedPictureCount();
    });
}

bool Witness::sees(const QString& what, const std::function<bool()>& condition)
{
    const auto isOver = [&] { return !ledger.complaints().isEmpty() || condition(); };
    if (!QTest::qWaitFor(isOver, patienceMs))
        ledger.complain(u"not so: "_s + what);
    return ledger.complaints().isEmpty();
}

} // namespace quibel::testing
