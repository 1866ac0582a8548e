#include "account/ProjectStore.h"

#include "account/ServiceAddress.h"
#include "account/ServiceRequest.h"

#include <QCollator>
#include <QHash>
#include <QPointer>
#include <QTextStream>

#include <algorithm>
#include <limits>
#include <utility>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

const QString projectsKey = u"ProjectStore.projects"_s;
const QString lastUsedProjectKey = u"quibel.lastUsedProjectId"_s;

QCollator makeNameCollator()
{
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    // The C locale orders by bytes and knows no case.
    if (collator.locale() == QLocale::c())
        collator.setLocale(QLocale(QLocale::English));
    return collator;
}

QHash<QString, qsizetype> ranksOf(const QStringList& identifiers)
{
    QHash<QString, qsizetype> ranks;
    for (qsizetype i = identifiers.size(); i-- > 0;)
        ranks.insert(identifiers[i], i);
    if (ranks.size() != identifiers.size())
        QTextStream(stderr) << projectsKey
                            << " names a project more than once; its first position counts"
                            << Qt::endl;
    return ranks;
}

} // namespace

ProjectStore::ProjectStore(const Surroundings& surroundings)
    : defaults(surroundings.defaults)
    , session(surroundings.session)
    , environment(surroundings.environment)
    , standardOutput(surroundings.standardOutput)
    , keychain(makeAgentKeychain(surroundings.secretItems))
{
}

ProjectList ProjectStore::projects() const
{
    if (!fetchedProjects.empty())
        return fetchedProjects;

    ProjectList remembered;
    for (const QString& id : identifierCache())
        remembered.push_back({ .id = id, .name = id });
    return remembered;
}

std::optional<Project> ProjectStore::preferredProject(const ProjectList& list) const
{
    if (lastUsedProjectIDInSession) {
        const auto used = std::ranges::find(list, *lastUsedProjectIDInSession, &Project::id);
        if (used != list.end())
            return *used;
    }
    if (const std::optional<QString> lastUsed = defaults.text(lastUsedProjectKey)) {
        const auto used = std::ranges::find_if(list, [&lastUsed](const Project& project) {
            return project.id == *lastUsed && !project.isMock;
        });
        if (used != list.end())
            return *used;
    }
    return list.empty() ? std::nullopt : std::optional(list.front());
}

void ProjectStore::recordUse(const Project& project)
{
    lastUsedProjectIDInSession = project.id;
    if (project.isMock)
        return;

    QStringList identifiers = identifierCache();
    identifiers.removeAll(project.id);
    identifiers.prepend(project.id);
    defaults.setTextList(projectsKey, identifiers);
    defaults.setText(lastUsedProjectKey, project.id);
}

void ProjectStore::apiKey(KeychainService::Receive receive)
{
    keychain.read(*this, takeKey(std::move(receive), &ProjectStore::apiKey));
}

void ProjectStore::apiKeyWhenAnswered(KeychainService::Receive receive)
{
    keychain.readWhenAnswered(*this,
                              takeKey(std::move(receive), &ProjectStore::apiKeyWhenAnswered));
}

KeychainService::Receive ProjectStore::takeKey(KeychainService::Receive receive, ReadKey read)
{
    return [this, read, generation = keyGeneration, receive = std::move(receive)](
               const KeyResult& stored) {
        if (generation == keyGeneration)
            receive(effectiveKey(stored));
        else
            (this->*read)(receive);
    };
}

KeyResult ProjectStore::effectiveKey(const KeyResult& stored) const
{
    const auto* key = std::get_if<SecretText>(&stored);
    if (key != nullptr && !(*key)->isEmpty())
        return stored;
    SecretText fromEnvironment(environment.value(u"QUIBEL_API_KEY"_s));
    if (!fromEnvironment->isEmpty())
        return fromEnvironment;
    return key != nullptr ? KeyResult(KeyError::noKey) : stored;
}

std::optional<QUrl> ProjectStore::apiBaseURL() const
{
    const auto address = findServiceAddress(defaults, environment);
    return address ? std::optional(address->url) : std::nullopt;
}

void ProjectStore::fetchProjects(const QString& apiKey,
                                 Arrival arrival,
                                 HttpSession::Completion completion)
{
    ask(apiKey,
        [this, arrival, generation = keyGeneration, completion = std::move(completion)](
            const HttpOutcome& outcome) {
            if (generation == keyGeneration) {
                const ProjectsResult result = readProjects(outcome);
                signOutIfRejected(result);
                takeProjects(result, arrival);
            }
            if (completion)
                completion(outcome);
        });
}

void ProjectStore::takeProjects(const ProjectsResult& result, Arrival arrival)
{
    const auto* fetched = std::get_if<ProjectList>(&result);
    if (!fetched || fetched->empty())
        return;
    if (arrival == Arrival::late)
        fillList(*fetched);
    else
        applyFetchedProjects(*fetched);
    standardOutput("Loaded " + QByteArray::number(fetched->size()) + " projects from API\n");
}

void ProjectStore::requestProjects(const QString& apiKey,
                                   std::function<void(const ProjectsResult&)> completion)
{
    ask(apiKey, [this, completion = std::move(completion)](const HttpOutcome& outcome) {
        const ProjectsResult result = readProjects(outcome);
        signOutIfRejected(result);
        completion(result);
    });
}

void ProjectStore::ask(const QString& apiKey, HttpSession::Completion completion)
{
    const std::optional<QUrl> base = apiBaseURL();
    if (!base) {
        completion({ .error = TransportError { TransportErrorCode::requestRefused, {} },
                     .status = {},
                     .body = {} });
        return;
    }

    session.send(
        makeGetRequest(*base, u"api/projects"_s, apiKey),
        [store = QPointer(this), completion = std::move(completion)](const HttpOutcome& outcome) {
            if (store)
                completion(outcome);
        });
}

void ProjectStore::signOutIfRejected(const ProjectsResult& result)
{
    if (result == ProjectsResult(APIError::unauthorized))
        handleUnauthorized();
}

void ProjectStore::applyFetchedProjects(ProjectList fetched)
{
    fillList(std::move(fetched));
    if (onAuthorized)
        onAuthorized();
}

void ProjectStore::fillList(ProjectList fetched)
{
    struct Entry
    {
        qsizetype rank;
        QCollatorSortKey nameKey;
        Project project;
    };

    const QHash<QString, qsizetype> ranks = ranksOf(identifierCache());
    const QCollator collator = makeNameCollator();
    std::vector<Entry> entries;
    entries.reserve(fetched.size());
    for (Project& project : fetched) {
        const qsizetype rank = ranks.value(project.id, std::numeric_limits<qsizetype>::max());
        const QCollatorSortKey nameKey = collator.sortKey(project.name);
        entries.push_back({ rank, nameKey, std::move(project) });
    }
    std::ranges::stable_sort(entries, [](const Entry& a, const Entry& b) {
        return a.rank != b.rank ? a.rank < b.rank : a.nameKey < b.nameKey;
    });

    fetchedProjects.clear();
    fetchedProjects.reserve(static_cast<qsizetype>(entries.size()));
    for (Entry& entry : entries)
        fetchedProjects.push_back(std::move(entry.project));
}

void ProjectStore::abandonFetches()
{
    ++keyGeneration;
}

void ProjectStore::handleUnauthorized()
{
    abandonFetches();
    keychain.remove();
    fetchedProjects.clear();
    lastUsedProjectIDInSession.reset();
    defaults.remove(projectsKey);
    defaults.remove(lastUsedProjectKey);
    const auto report = [this] {
        if (onUnauthorized)
            onUnauthorized();
    };
    QMetaObject::invokeMethod(this, report, Qt::QueuedConnection);
}

QStringList ProjectStore::identifierCache() const
{
    return defaults.textList(projectsKey).value_or(QStringList());
}

} // namespace quibel
