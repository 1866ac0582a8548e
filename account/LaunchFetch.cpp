#include "account/LaunchFetch.h"

#include <QPointer>

namespace quibel {

LaunchFetch::LaunchFetch(ProjectStore& projectStore)
    : store(projectStore)
{
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
    if (const auto* known = std::get_if<QString>(&key))
        store.fetchProjects(*known, arrival);
}

} // namespace quibel
