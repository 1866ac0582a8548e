#include "account/LaunchFetch.h"

#include "account/APIError.h"
#include "platform/Connectivity.h"

#include <QPointer>

namespace quibel {

namespace {

/// Whether there was no answer, and another network may bring one.
bool isWorthRepeating(const HttpOutcome& outcome)
{
    const auto error = classifyResponse(outcome);
    return (error == APIError::offline || error == APIError::network)
        && outcome.error->code != TransportErrorCode::requestRefused;
}

} // namespace

LaunchFetch::LaunchFetch(ProjectStore& projectStore,
                         Connectivity& network,
                         std::chrono::milliseconds betweenRetries)
    : store(projectStore)
    , connectivity(network)
    , interval(betweenRetries)
{
    untilEarliest.setSingleShot(true);
    connect(&untilEarliest, &QTimer::timeout, this, &LaunchFetch::tryAgain);
}

void LaunchFetch::start()
{
    using Arrival = ProjectStore::Arrival;
    store.apiKey([self = QPointer(this)](const KeyResult& key) {
        if (!self)
            return;
        if (key != KeyResult(KeyError::noAnswer)) {
            self->fetch(key, Arrival::inTime);
            return;
        }
        self->store.apiKeyWhenAnswered([self](const KeyResult& lateKey) {
            if (self)
                self->fetch(lateKey, Arrival::late);
        });
    });
}

void LaunchFetch::fetch(const KeyResult& key, ProjectStore::Arrival arrival)
{
    const auto* known = std::get_if<SecretText>(&key);
    if (known == nullptr) {
        unconnected.reset();
        return;
    }
    store.fetchProjects(*known, arrival, [self = QPointer(this)](const HttpOutcome& outcome) {
        if (self)
            self->takeOutcome(outcome);
    });
}

void LaunchFetch::takeOutcome(const HttpOutcome& outcome)
{
    isUnderWay = false;
    if (!isWorthRepeating(outcome)) {
        unconnected.reset();
    } else if (!unconnected) {
        unconnected = std::make_unique<QObject>();
        connectivity.whenConnected(*unconnected, [this] { takeConnection(); });
    } else if (retriesLeft > 0) {
        tryAgain();
    }
}

void LaunchFetch::takeConnection()
{
    retriesLeft = retriesPerConnection;
    tryAgain();
}

void LaunchFetch::tryAgain()
{
    if (isUnderWay)
        return;
    if (!earliestRetry.hasExpired()) {
        untilEarliest.start(static_cast<int>(earliestRetry.remainingTime()));
        return;
    }
    earliestRetry.setRemainingTime(interval);
    isUnderWay = true;
    --retriesLeft;
    store.apiKeyWhenAnswered([self = QPointer(this)](const KeyResult& key) {
        if (self)
            self->fetch(key, ProjectStore::Arrival::late);
    });
}

} // namespace quibel
