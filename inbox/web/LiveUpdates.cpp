#include "inbox/web/LiveUpdates.h"

#include "inbox/storage/Sessions.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace quibel::inbox {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

LiveUpdates::LiveUpdates(Sessions& storedSessions)
    : sessions(storedSessions)
{
    timer.setInterval(25s);
    connect(&timer, &QTimer::timeout, this, &LiveUpdates::checkSessions);
}

void LiveUpdates::branchChanged(const QString& accountID, const QString& branchID)
{
    const QJsonDocument data(QJsonObject { { u"id"_s, branchID } });
    queue({ accountID, "branch", data.toJson(QJsonDocument::Compact) });
}

void LiveUpdates::projectsChanged(const QString& accountID)
{
    queue({ accountID, "projects", "{}" });
}

void LiveUpdates::publish()
{
    for (const auto& change : std::as_const(changes))
        for (const auto& subscriber : std::as_const(subscribers))
            if (subscriber.accountID == change.accountID)
                subscriber.stream->send(change.type, change.data);
    drop();
}

void LiveUpdates::drop()
{
    changes.clear();
}

std::shared_ptr<EventStream> LiveUpdates::subscribe(const WebSession& session)
{
    removeEnded();
    const auto isOfAccount
        = [&](const Subscriber& subscriber) { return subscriber.accountID == session.account.id; };
    if (std::count_if(subscribers.begin(), subscribers.end(), isOfAccount)
        >= mostStreamsOfAccount) {
        const auto oldest = std::find_if(subscribers.begin(), subscribers.end(), isOfAccount);
        oldest->stream->end();
        subscribers.erase(oldest);
    }
    auto stream = std::make_shared<EventStream>();
    stream->send("hello", "{}");
    subscribers.append({ session.account.id, session.hash, stream });
    timer.start();
    return stream;
}

void LiveUpdates::endSession(const QByteArray& hash)
{
    for (const auto& subscriber : std::as_const(subscribers))
        if (subscriber.sessionHash == hash)
            subscriber.stream->end();
    removeEnded();
}

void LiveUpdates::checkSessions()
{
    for (const auto& subscriber : std::as_const(subscribers)) {
        const auto used = sessions.use(subscriber.sessionHash);
        const auto* account = std::get_if<std::optional<Account>>(&used);
        if (account && !*account)
            subscriber.stream->end();
    }
    removeEnded();
}

void LiveUpdates::queue(Change change)
{
    if (!changes.contains(change))
        changes.append(std::move(change));
}

void LiveUpdates::removeEnded()
{
    subscribers.removeIf([](const Subscriber& one) { return one.stream->hasEnded(); });
    if (subscribers.isEmpty())
        timer.stop();
}

} // namespace quibel::inbox
