#pragma once

#include "account/ProjectStore.h"

#include <QDeadlineTimer>
#include <QObject>
#include <QTimer>

#include <chrono>
#include <memory>

namespace quibel {

class Connectivity;

/// The one request for the projects of the run, made at launch.
///
/// While the secret store does not say whether there is a key, it waits without a prompt. If the
/// service gives no answer, it is sent again when the network is back and some more times after
/// that, once a minute, until there is an answer. A request that this machine refuses to send is
/// not repeated. An answer that had to be waited for fills the list and does nothing else: by then
/// the user may have worked on, and a branch may have been kept.
///
/// Thread: main.
class LaunchFetch : public QObject
{
    Q_OBJECT

public:
    static constexpr std::chrono::minutes retryInterval { 1 };
    /// How often it is sent again once the network is back: name services and VPNs come up later.
    static constexpr int retriesPerConnection = 10;

    /// Both outlive this.
    LaunchFetch(ProjectStore& projectStore,
                Connectivity& network,
                std::chrono::milliseconds betweenRetries = retryInterval);

    void start();

private:
    void fetch(const KeyResult& key, ProjectStore::Arrival arrival);
    void takeOutcome(const HttpOutcome& outcome);
    void takeConnection();
    void tryAgain();

    ProjectStore& store;
    Connectivity& connectivity;
    std::chrono::milliseconds interval;
    bool isUnderWay = true;
    int retriesLeft = 0;
    std::unique_ptr<QObject> unconnected; ///< While the network is waited for.
    QDeadlineTimer earliestRetry { 0 };
    QTimer untilEarliest;
};

} // namespace quibel
