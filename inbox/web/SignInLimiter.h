#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

#include <chrono>
#include <functional>

namespace quibel::inbox {

/// Keeps passwords from being guessed, and the guessing from taking the service's time.
///
/// After five wrong tries of a client or for an account each further one has to wait longer than
/// the one before. For an account the wait stays short, so that nobody can lock its owner out.
/// Whatever the clients and accounts, no more than one try a second is made in the long run.
/// What is remembered is bounded, and goes with the process.
class SignInLimiter
{
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    static constexpr int freeTries = 5;
    static constexpr int burst = 6; ///< Tries that may come at once, of all clients.
    static constexpr std::chrono::seconds shortestWait { 2 };
    static constexpr std::chrono::minutes longestWaitOfClient { 15 };
    static constexpr std::chrono::minutes longestWaitOfAccount { 1 };
    /// Wrong tries count until there were none for this long.
    static constexpr std::chrono::hours memory { 1 };
    static constexpr qsizetype mostRemembered = 8192;

    explicit SignInLimiter(Clock clock = std::chrono::steady_clock::now);

    /// How long this try must wait. None: it counts as made, and how it ended must be told.
    [[nodiscard]] std::chrono::seconds admit(const QByteArray& client, const QString& account);
    void failed(const QByteArray& client, const QString& account);
    /// Forgets the wrong tries for the account. Those of the client stay: it may have an account
    /// of its own to sign in to between its guesses.
    void succeeded(const QString& account);

private:
    using Time = std::chrono::steady_clock::time_point;

    struct Tries
    {
        int wrong = 0;
        Time last {};
        Time blockedUntil {};
    };

    void
    remember(const QByteArray& key, std::chrono::steady_clock::duration longestWait, Time present);
    void makeRoom(Time present);

    Clock now;
    QHash<QByteArray, Tries> tries;
    Time allAreUsedUntil {}; ///< Every try moves it by a second.
};

} // namespace quibel::inbox
