#include "tests/system/RandomUser.h"

#include "tests/platform/ClientWindow.h"

#include <QElapsedTimer>
#include <QTest>

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

constexpr int windowCount = 3;
constexpr std::size_t mostUnanswered = 4;
const QString hotKey = u"super+shift+b"_s;
const QString agentName = u"Quibel"_s;

} // namespace

RandomUser::RandomUser(VirtualDesktop& where, AgentSession& with, std::uint32_t seed)
    : desktop(where)
    , session(with)
    , witness(with)
    , random(seed)
{
}

bool RandomUser::begin()
{
    for (int index = 0; index < windowCount; ++index) {
        windows.push_back(std::make_unique<MarkedWindow>(u"window %1"_s.arg(index)));
        windows.back()->move(100 + (200 * index), 50 + (150 * index));
        frontIndex = windows.size() - 1;
        if (!front().bringToFront())
            return false;
    }
    return true;
}

bool RandomUser::step()
{
    steps.append(u"%1:"_s.arg(steps.size() + 1));
    const std::size_t unanswered = witness.ledger.unanswered().size();
    const int choice = pick(10);
    const bool isDone = unanswered >= mostUnanswered || (choice < 2 && unanswered > 0) ? answerOne()
        : choice < 4                           ? changeWindow()
        : witness.ledger.interceptsNextPress() ? pressForResend()
                                               : writeLine();
    return isDone && intruderGotNothing() && witness.agentHasCaughtUp();
}

bool RandomUser::rest()
{
    while (!witness.ledger.unanswered().empty())
        if (!answerOne())
            return false;
    return witness.agentHasCaughtUp() && witness.everyUploadIsReported();
}

bool RandomUser::writeLine()
{
    ++lastNumber;
    draft = { .number = lastNumber,
              .project = witness.ledger.preferredProject(),
              .application = u"RandomUseTest"_s,
              .windowTitle = u"notes %1"_s.arg(lastNumber) };
    front().mark(lastNumber, draft.windowTitle.toString());
    press(hotKey, u"press"_s);
    const bool typesAhead = pick(4) == 0;
    if (!typesAhead && !witness.panelHasKeyboard())
        return false;
    if (pick(4) > 0)
        type(u"thought %1 "_s.arg(lastNumber));
    for (int count = pick(3); count > 0; --count)
        if (!distract())
            return false;
    type(u"of %1"_s.arg(lastNumber));
    if (keyboardGoesToAnybody()) {
        press(u"Left"_s);
        takesPictures = false;
    }
    return pick(4) == 0 ? cancel() : finish();
}

bool RandomUser::distract()
{
    switch (pick(5)) {
    case 0:
        return pressAgain();
    case 1:
        return intruder != nullptr || letAWindowAppear();
    case 2:
        movePointer();
        return true;
    case 3:
        return witness.ledger.unanswered().empty() || answerOne();
    default:
        pressArrows();
        return true;
    }
}

bool RandomUser::finish()
{
    draft.hasPicture = takesPictures;
    draft.fate = pickFate();
    draft.pictureFate = pickFate();
    // Answered at once, the branch may fail before or after its picture is taken.
    draft.pictureMayBeStranded = !draft.fate.late;
    witness.ledger.send(draft);
    QElapsedTimer sinceReturn;
    sinceReturn.start();
    press(u"Return"_s, u"Return (%1)"_s.arg(draft.summary()));
    return keyboardIsBack() && witness.everythingIsPosted()
        && (!draft.hasPicture || witness.pictureIsTaken([&] {
               return std::chrono::milliseconds(sinceReturn.elapsed());
           }));
}

bool RandomUser::cancel()
{
    press(u"Escape"_s);
    const bool isHasty = intruder == nullptr && pick(2) == 0;
    return isHasty ? witness.panelIsGone() : keyboardIsBack();
}

void RandomUser::pressArrows()
{
    for (int count = 1 + pick(3); count > 0; --count) {
        const QString arrow = QStringList { u"Up"_s, u"Down"_s, u"Left"_s, u"Right"_s }[pick(4)];
        press(arrow);
        if (arrow == u"Left"_s || arrow == u"Right"_s)
            takesPictures = arrow == u"Right"_s;
        else
            draft.project = draft.project == u"p1"_s ? u"p2"_s : u"p1"_s;
    }
}

bool RandomUser::pressAgain()
{
    if (witness.ledger.interceptsNextPress())
        return pressForResend();
    press(hotKey, u"press again"_s);
    draft.text.clear();
    draft.project = witness.ledger.preferredProject();
    draft.application = agentName;
    draft.windowTitle = QJsonValue();
    return true;
}

bool RandomUser::pressForResend()
{
    const Fate fate = pickFate();
    witness.ledger.resend(fate);
    press(hotKey, u"press for the kept branch (%1)"_s.arg(fate.text()));
    return witness.everythingIsPosted();
}

bool RandomUser::answerOne()
{
    const auto waiting = witness.ledger.unanswered();
    const std::size_t request = waiting.at(pick(static_cast<int>(waiting.size())));
    note(u"answer to "_s + witness.ledger.describe(request));
    witness.answer(request);
    return witness.agentHasCaughtUp();
}

bool RandomUser::changeWindow()
{
    frontIndex = (frontIndex + 1 + pick(windowCount - 1)) % windowCount;
    note(u"window %1"_s.arg(frontIndex));
    return witness.sees(u"the window comes to the front"_s,
                        [this] { return front().bringToFrontAsItIs(); });
}

bool RandomUser::letAWindowAppear()
{
    note(u"a window appears"_s);
    // Beside the others, so that pictures show them whole.
    intruder = desktop.launch(u"xev"_s,
                              { u"-event"_s,
                                u"keyboard"_s,
                                u"-name"_s,
                                u"intruder"_s,
                                u"-geometry"_s,
                                u"300x200+920+%1"_s.arg(pick(500)) });
    const QStringList search { u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^intruder$"_s };
    return intruder != nullptr && witness.sees(u"the window appears"_s, [&] {
        return desktop.output(u"xdotool"_s, search).has_value();
    }) && settleWindowManager();
}

bool RandomUser::intruderGotNothing()
{
    if (intruder == nullptr)
        return true;
    if (intruder->readAllStandardOutput().contains("KeyPress event"))
        witness.ledger.complain(u"the window that appeared got keys"_s);
    desktop.stop(std::exchange(intruder, nullptr));
    return settleWindowManager() && complaints().isEmpty();
}

void RandomUser::movePointer()
{
    const QPoint to(pick(1280), pick(800));
    note(u"pointer to %1,%2"_s.arg(to.x()).arg(to.y()));
    session.xdotool({ u"mousemove"_s, QString::number(to.x()), QString::number(to.y()) });
}

bool RandomUser::keyboardGoesToAnybody() const
{
    // A panel that was opened from the panel gives the keyboard back to no application, so another
    // window that has asked for it meanwhile may have it.
    return intruder != nullptr && draft.application == agentName;
}

bool RandomUser::keyboardIsBack()
{
    if (keyboardGoesToAnybody())
        return witness.panelIsGone() && front().bringToFrontAsItIs();
    const auto frontHasKeyboard
        = [this] { return front().isActiveWindow() && front().field.hasFocus(); };
    if (!witness.panelIsGone()
        || !witness.sees(u"the window has the keyboard again"_s, frontHasKeyboard))
        return false;
    session.type(u"x"_s);
    const bool isBack = witness.sees(u"keys reach the window again"_s,
                                     [this] { return front().field.text() == u"x"_s; });
    front().field.clear();
    for (const auto& window : windows)
        if (!window->field.text().isEmpty())
            witness.ledger.complain(u"another window got \"%1\""_s.arg(window->field.text()));
    return isBack && complaints().isEmpty();
}

int RandomUser::pick(int count)
{
    return static_cast<int>(random() % static_cast<std::uint32_t>(count));
}

Fate RandomUser::pickFate()
{
    static constexpr std::array outcomes { Fate::Outcome::accepted,
                                           Fate::Outcome::accepted,
                                           Fate::Outcome::refused,
                                           Fate::Outcome::cutOff };
    const auto outcome = outcomes.at(static_cast<std::size_t>(pick(outcomes.size())));
    return { .outcome = outcome, .late = pick(3) == 0 };
}

void RandomUser::press(const QString& keys, const QString& why)
{
    note(why.isEmpty() ? keys : why);
    session.press(keys);
}

void RandomUser::type(const QString& text)
{
    note(u'"' + text + u'"');
    session.type(text);
    draft.text += text;
}

} // namespace quibel::testing
