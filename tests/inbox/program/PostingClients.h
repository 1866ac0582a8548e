#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QUrl>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace quibel::inbox::testing {

/// Agents that post branches at the same time, each over a connection of its own that it keeps,
/// and remember what they were answered.
///
/// A connection that breaks is opened again, with a short pause while nobody listens.
/// Thread: any.
class PostingClients
{
public:
    /// Starts posting at once. Every branch has a text of its own, "branch <n>".
    PostingClients(const QUrl& service, QByteArray key, int connections);
    PostingClients(const PostingClients&) = delete;
    PostingClients& operator=(const PostingClients&) = delete;
    ~PostingClients();

    /// Ends all posting; each client first gets the answer that it waits for, or loses it.
    void stop();

    /// The branches that were answered with 201 so far: id and text.
    [[nodiscard]] QHash<QString, QString> created() const;
    [[nodiscard]] qsizetype createdCount() const;
    /// How often a status was answered so far; 0 counts broken connections.
    [[nodiscard]] int count(int status) const;

private:
    void post(const std::stop_token& stopped);
    void note(int status, const QByteArray& body, const QString& text);

    QByteArray host;
    quint16 port;
    QByteArray apiKey;
    std::atomic<int> next = 0;

    mutable std::mutex mutex; ///< Guards the two below.
    QHash<QString, QString> branches;
    QHash<int, int> statuses;

    std::vector<std::jthread> clients;
};

} // namespace quibel::inbox::testing
