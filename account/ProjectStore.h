#pragma once

#include "account/KeychainService.h"
#include "account/Project.h"
#include "account/ProjectsResponse.h"
#include "platform/HttpSession.h"
#include "platform/Preferences.h"

#include <QObject>
#include <QProcessEnvironment>
#include <QUrl>

#include <functional>
#include <optional>

namespace quibel {

/// The user's projects and the account state around them.
///
/// Thread: main.
class ProjectStore : public QObject
{
    Q_OBJECT

public:
    struct Surroundings
    {
        Preferences& defaults;
        SecretItems& secretItems;
        HttpSession& session;
        QProcessEnvironment environment;
        /// Takes whole lines, the last one ended too.
        std::function<void(const QByteArray& text)> standardOutput;
    };

    explicit ProjectStore(const Surroundings& surroundings);

    /// The list that the capture panel offers: the fetched one, else the remembered identifiers.
    [[nodiscard]] ProjectList projects() const;

    /// The entry that the panel selects first; none for an empty list.
    [[nodiscard]] std::optional<Project> preferredProject(const ProjectList& list) const;

    /// Remembers `project` as the one used last, for this run and, unless it is a mock, beyond.
    void recordUse(const Project& project);

    /// Reads the effective API key: the stored one, else the environment's; empty counts as none.
    /// `receive` gets it as from `KeychainService::read`, unless the store is gone by then. A key
    /// that is replaced meanwhile is read anew.
    void apiKey(KeychainService::Receive receive);

    /// The same as from `KeychainService::readWhenAnswered`.
    void apiKeyWhenAnswered(KeychainService::Receive receive);

    /// Where the service is: preference, environment, built-in default; none when nothing parses.
    [[nodiscard]] std::optional<QUrl> apiBaseURL() const;

    /// What an answer does: it is applied, or, when it is `late`, fills the list and nothing else.
    enum class Arrival { inTime, late };

    /// Asks the service for the projects and takes an answer that is not empty, unless the fetch
    /// was abandoned. `completion` is called after that, when `requestProjects` would call it, with
    /// how the request ended: as one that is not sent when there is no base URL.
    void fetchProjects(const QString& apiKey,
                       Arrival arrival = Arrival::inTime,
                       HttpSession::Completion completion = {});

    /// Asks the service for the projects. `completion` is called once: at once with `network` when
    /// there is no base URL, else in a later turn of the event loop; not when the store is gone.
    ///
    /// A key that the service rejects signs the user out before `completion` is called.
    void requestProjects(const QString& apiKey,
                         std::function<void(const ProjectsResult&)> completion);

    /// Sorts `fetched` (recently used first, the rest by name), installs it and reports it.
    void applyFetchedProjects(ProjectList fetched);

    /// Makes the answers to all fetches under way change nothing: their key has been replaced.
    void abandonFetches();

    /// Signs the user out locally and abandons all fetches: key, list and remembered projects are
    /// gone at once, `onUnauthorized` is called in a later turn of the event loop.
    void handleUnauthorized();

    bool didAttemptFetch = false;
    std::function<void()> onUnauthorized;
    std::function<void()> onAuthorized;

private:
    using ReadKey = void (ProjectStore::*)(KeychainService::Receive);

    [[nodiscard]] KeychainService::Receive takeKey(KeychainService::Receive receive, ReadKey read);
    [[nodiscard]] KeyResult effectiveKey(const KeyResult& stored) const;
    void ask(const QString& apiKey, HttpSession::Completion completion);
    void signOutIfRejected(const ProjectsResult& result);
    void takeProjects(const ProjectsResult& result, Arrival arrival);
    void fillList(ProjectList fetched);
    [[nodiscard]] QStringList identifierCache() const;

    Preferences& defaults;
    HttpSession& session;
    QProcessEnvironment environment;
    std::function<void(const QByteArray& text)> standardOutput;
    KeychainService keychain;
    std::optional<QString> lastUsedProjectIDInSession;
    ProjectList fetchedProjects;
    unsigned keyGeneration = 0; ///< Raised whenever the key is replaced or removed.
};

} // namespace quibel
