#pragma once

#include "inbox/http/EventStream.h"
#include "inbox/web/WebSession.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>
#include <QTimer>

#include <memory>

namespace quibel::inbox {

class Sessions;

/// Tells the open pages of an account what changed, as soon as that is kept.
///
/// Each stream begins with the event "hello"; a page that sees it again has missed something.
/// A stream ends with its session.
class LiveUpdates : public QObject
{
    Q_OBJECT

public:
    static constexpr qsizetype mostStreamsOfAccount = 100; ///< One more ends the oldest.

    explicit LiveUpdates(Sessions& storedSessions);

    void branchChanged(const QString& accountID, const QString& branchID);
    void projectsChanged(const QString& accountID);
    /// Sends what was told since the last time, each change once.
    void publish();
    /// Forgets it instead, because it was not kept after all.
    void drop();

    [[nodiscard]] std::shared_ptr<EventStream> subscribe(const WebSession& session);
    /// Ends the streams of a session.
    void endSession(const QByteArray& hash);
    /// Ends the streams of sessions that ended elsewhere. Happens by itself every 25 seconds.
    void checkSessions();

private:
    struct Change
    {
        QString accountID;
        QByteArray type;
        QByteArray data;

        bool operator==(const Change&) const = default;
    };
    struct Subscriber
    {
        QString accountID;
        QByteArray sessionHash;
        std::shared_ptr<EventStream> stream;
    };

    void queue(Change change);
    void removeEnded();

    Sessions& sessions;
    QList<Change> changes;
    QList<Subscriber> subscribers;
    QTimer timer;
};

} // namespace quibel::inbox
