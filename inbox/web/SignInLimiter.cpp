#include "inbox/web/SignInLimiter.h"

#include <QCryptographicHash>

#include <algorithm>
#include <array>

#include <arpa/inet.h>

namespace quibel::inbox {

using namespace std::chrono_literals;

namespace {

/// One client, as far as addresses tell: whoever has an IPv6 address has all of its /64.
QByteArray keyOfClient(const QByteArray& address)
{
    constexpr qsizetype prefix = 8;
    std::array<char, sizeof(in6_addr)> bytes {};
    const bool isIPv6 = inet_pton(AF_INET6, address.constData(), bytes.data()) == 1;
    const bool isMapped = address.startsWith("::ffff:");
    return "client " + (isIPv6 && !isMapped ? QByteArray(bytes.data(), prefix) : address);
}

/// A hash, because people type passwords into the wrong field, and because it is short.
QByteArray keyOfAccount(const QString& account)
{
    return "account " + QCryptographicHash::hash(account.toUtf8(), QCryptographicHash::Sha256);
}

} // namespace

SignInLimiter::SignInLimiter(Clock clock)
    : now(std::move(clock))
{
}

std::chrono::seconds SignInLimiter::admit(const QByteArray& client, const QString& account)
{
    const auto present = now();
    const auto allowed = std::max({ tries.value(keyOfClient(client)).blockedUntil,
                                    tries.value(keyOfAccount(account)).blockedUntil,
                                    allAreUsedUntil - (burst - 1) * 1s });
    if (allowed > present)
        return std::chrono::ceil<std::chrono::seconds>(allowed - present);
    allAreUsedUntil = std::max(allAreUsedUntil, present) + 1s;
    return 0s;
}

void SignInLimiter::failed(const QByteArray& client, const QString& account)
{
    const auto present = now();
    remember(keyOfClient(client), longestWaitOfClient, present);
    remember(keyOfAccount(account), longestWaitOfAccount, present);
}

void SignInLimiter::succeeded(const QString& account)
{
    tries.remove(keyOfAccount(account));
}

void SignInLimiter::remember(const QByteArray& key,
                             std::chrono::steady_clock::duration longestWait,
                             Time present)
{
    constexpr int mostDoublings = 16;
    makeRoom(present);
    auto& entry = tries[key];
    if (present - entry.last >= memory)
        entry = {};
    entry.last = present;
    if (++entry.wrong < freeTries)
        return;
    const auto doublings = std::min(entry.wrong - freeTries, mostDoublings);
    entry.blockedUntil = present
        + std::min<std::chrono::steady_clock::duration>(longestWait,
                                                        shortestWait * (1 << doublings));
}

void SignInLimiter::makeRoom(Time present)
{
    if (tries.size() < mostRemembered)
        return;
    tries.removeIf([&](const auto& entry) { return present - entry.value().last >= memory; });
    if (tries.size() < mostRemembered)
        return;
    const auto oldest
        = std::min_element(tries.cbegin(), tries.cend(), [](const Tries& one, const Tries& other) {
              return one.last < other.last;
          });
    tries.erase(oldest);
}

} // namespace quibel::inbox
