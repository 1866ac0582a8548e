#pragma once

#include "tests/service/Answer.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace quibel::testing {

/// What becomes of a request.
struct Fate
{
    enum class Outcome { accepted, refused, cutOff }; ///< Cut off: the connection ends instead.

    Outcome outcome = Outcome::accepted;
    bool late = false; ///< The answer waits until it is called for.

    [[nodiscard]] QString text() const;
};

/// A line that the user sends, as the service must get it, and what has become of it.
struct SentLine
{
    int number = 0; ///< Also what the window in front is marked with.
    QString text {};
    QString project {};
    QString application {};
    QJsonValue windowTitle {};
    bool hasPicture = false;
    Fate fate {};
    Fate pictureFate {};

    QByteArray document {};            ///< As it was posted first.
    std::optional<int> storedAt {};    ///< When its branch was accepted, counted in answers.
    std::optional<int> failedAt {};    ///< The same for a failure.
    bool pictureIsUploaded = false;    ///< To whatever branch.
    bool pictureMayBeStranded = false; ///< The branch may have failed before it was taken.

    [[nodiscard]] QString summary() const;
};

/// All lines that the user has sent and all requests that the agent makes of them: which branch is
/// kept, what the next press of the hot key does, and what is wrong.
class LineLedger
{
public:
    /// The user has pressed Return.
    void send(const SentLine& line);
    /// The user has pressed the hot key, which sends the kept branch again.
    void resend(Fate fate);

    /// Judges a request; `index` is its place among all. None when there must be no such request.
    [[nodiscard]] std::optional<Fate> take(const ReceivedRequest& request, std::size_t index);
    /// What the service says when it accepts the request at `index`.
    [[nodiscard]] QByteArray acceptance(std::size_t index) const;
    /// The agent is given the answer to the request at `index`.
    void answer(std::size_t index);

    /// Whether the next press sends the kept branch again.
    [[nodiscard]] bool interceptsNextPress() const { return intercepts; }
    /// The branch document that must be on disk; empty when there must be none.
    [[nodiscard]] QByteArray keptDocument() const;
    /// The project that the panel must offer first.
    [[nodiscard]] QString preferredProject() const { return lastUsedProject; }
    /// Whether every line and every resend has been posted.
    [[nodiscard]] bool isPosted() const;
    /// Whether the picture of every stored branch has been uploaded.
    [[nodiscard]] bool isIllustrated() const;
    /// The requests whose answers wait, oldest first.
    [[nodiscard]] std::vector<std::size_t> unanswered() const;

    [[nodiscard]] std::size_t pictureCount() const;
    [[nodiscard]] std::size_t savedPictureCount() const;

    /// Names the request at `index`.
    [[nodiscard]] QString describe(std::size_t index) const;

    void complain(const QString& complaint) { found.append(complaint); }
    [[nodiscard]] const QStringList& complaints() const { return found; }

private:
    /// A request that the agent makes, or has to make.
    struct Attempt
    {
        enum class Kind { branch, resend, picture };

        Kind kind = Kind::branch;
        std::size_t line = 0;
        Fate fate {};
        std::optional<std::size_t> keptBefore {}; ///< What was kept when a branch was sent.
        std::optional<std::size_t> request {};    ///< None until it has come.
        bool isAnswered = false;
    };

    [[nodiscard]] std::optional<Fate> takeBranch(const QByteArray& body, std::size_t index);
    [[nodiscard]] std::optional<Fate>
    takePicture(const QString& branch, const QByteArray& body, std::size_t index);
    void compare(const SentLine& line, const QJsonObject& document);
    [[nodiscard]] const Attempt& attemptAt(std::size_t index) const;
    void judgePlace(const SentLine& line, const QString& branch);
    /// If it is still this one that is kept.
    void forget(std::optional<std::size_t> line);

    std::vector<SentLine> lines;
    std::vector<Attempt> attempts;
    std::optional<std::size_t> kept;
    bool intercepts = false;
    int answers = 0;
    QString lastUsedProject = QStringLiteral("p1");
    QStringList found;
};

/// The branch id that the service gives to a line.
[[nodiscard]] QString branchOf(const SentLine& line);

} // namespace quibel::testing
