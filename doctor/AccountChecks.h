#pragma once

#include "doctor/Check.h"
#include "platform/SecretItems.h"

#include <QDateTime>
#include <QProcessEnvironment>
#include <QString>

#include <optional>

namespace quibel {

struct HttpOutcome;
struct ServiceAddress;
struct SessionBusFacts;

/// The secret store and the key in it.
struct SecretFacts
{
    SecretStoreState store = SecretStoreState::absent;
    bool keyIsStored = false;
    bool keyIsInEnvironment = false; ///< It serves for the list of projects only.

    bool operator==(const SecretFacts&) const = default;
};

[[nodiscard]] Finding judgeSecrets(const SecretFacts& secrets, const SessionBusFacts& bus);

/// How the service answered one request for the projects.
///
/// `key` is the one that was sent, which no word of the finding repeats; a service that asks for
/// one is reachable.
[[nodiscard]] Finding judgeService(const ServiceAddress& address,
                                   const HttpOutcome& outcome,
                                   const std::optional<QString>& key,
                                   const QDateTime& now);

/// There is no address to ask.
[[nodiscard]] Finding judgeMissingAddress();

} // namespace quibel
