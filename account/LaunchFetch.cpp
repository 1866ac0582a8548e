#include "account/LaunchFetch.h"

#include "platform/Connectivity.h"

#include <QPointer>

#include <utility>

namespace quibel {

namespace {

bool isWithoutAnswer(const ProjectsResult& result)
{
    return result == ProjectsResult(APIError::offline)
        || result == ProjectsResult(APIError::network);
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
    store.fetchProjects(*known, arrival, [self = QPointer(this)](const ProjectsResult& result) {
        if (self)
            self->takeResult(result);
    });
}

void LaunchFetch::takeResult(const ProjectsResult& result)
{
    isUnderWay = false;
    if (!isWithoutAnswer(result)) {
        unconnected.reset();
        return;
    }
    if (!unconnected) {
        unconnected = std::make_unique<QObject>();
        connectivity.whenConnected(*unconnected, [this] { tryAgain(); });
    } else if (std::exchange(isToBeSentAgain, false)) {
        tryAgain();
    }
}

void LaunchFetch::tryAgain()
{
    if (isUnderWay) {
        isToBeSentAgain = true;
        return;
    }
    if (!earliestRetry.hasExpired()) {
        untilEarliest.start(static_cast<int>(earliestRetry.remainingTime()));
        return;
    }
    earliestRetry.setRemainingTime(interval);
    isUnderWay = true;
    store.apiKeyWhenAnswered([self = QPointer(this)](const KeyResult& key) {
        if (self)
            self->fetch(key, ProjectStore::Arrival::late);
    });
}

} // namespace quibel
