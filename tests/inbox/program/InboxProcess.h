#pragma once

#include <QByteArray>
#include <QHash>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <memory>

namespace quibel::inbox::testing {

/// What became of a command that has ended.
struct Outcome
{
    int exitCode = -1; ///< -1 when it crashed or had to be given up.
    QByteArray output;
    QByteArray errors;
};

/// The real program over one place to keep things: its commands, and one running service.
///
/// Thread: the one of the test; the calls run the event loop while they wait.
class InboxProcess
{
public:
    /// `place` is where it keeps everything: { "--data", directory } or { "--database", url }.
    explicit InboxProcess(QStringList place);
    InboxProcess(const InboxProcess&) = delete;
    InboxProcess& operator=(const InboxProcess&) = delete;
    ~InboxProcess();

    [[nodiscard]] Outcome run(const QStringList& words, const QByteArray& input = {}) const;

    /// Starts the service and waits until it says where it listens; an empty URL when it does not.
    [[nodiscard]] QUrl serve(const QStringList& options
                             = { QStringLiteral("--listen"), QStringLiteral("127.0.0.1:0") });
    /// All that the service has said on standard output.
    [[nodiscard]] QByteArray output() const { return said; }
    /// What the service has said on standard error since the last call.
    [[nodiscard]] QByteArray takeErrors() { return service->readAllStandardError(); }
    /// From then on nobody reads what the service says there.
    void closeErrors() { service->closeReadChannel(QProcess::StandardError); }

    /// Asks the service to end; true when it did so in good order.
    [[nodiscard]] bool stop();
    /// Ends the service at once, as a loss of power would.
    void kill();
    void signal(int number) const;
    [[nodiscard]] bool waitForEnd();

    /// A new key for an agent.
    [[nodiscard]] QByteArray createKey() const;
    /// The texts of all branches that are kept, by their ids.
    [[nodiscard]] QHash<QString, QString> keptBranches() const;

private:
    QString program;
    QStringList placeOptions;
    std::unique_ptr<QProcess> service;
    QByteArray said;
};

} // namespace quibel::inbox::testing
