#pragma once

#include "account/ProjectStore.h"

#include <QObject>

namespace quibel {

/// The one request for the projects of the run, made at launch.
///
/// It waits, without asking anybody, while the secret store does not say whether there is a key. An
/// answer that had to be waited for fills the list and does nothing else: by then the user may have
/// worked on, and a branch may have been kept.
///
/// Thread: main.
class LaunchFetch : public QObject
{
    Q_OBJECT

public:
    /// The store outlives this.
    explicit LaunchFetch(ProjectStore& projectStore);

    void start();

private:
    void fetch(const KeyResult& key, ProjectStore::Arrival arrival);

    ProjectStore& store;
};

} // namespace quibel
