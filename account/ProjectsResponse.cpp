#include "account/ProjectsResponse.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <optional>
#include <utility>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

/// The projects of a response body; none when it is not an array of objects with "id" and "name".
std::optional<ProjectList> decodeProjects(const QByteArray& body)
{
    const QJsonDocument document = QJsonDocument::fromJson(body);
    if (!document.isArray())
        return std::nullopt;

    ProjectList projects;
    const QJsonArray elements = document.array();
    for (const QJsonValue element : elements) {
        const QJsonValue id = element[u"id"_s];
        const QJsonValue name = element[u"name"_s];
        if (!id.isString() || !name.isString())
            return std::nullopt;
        projects.push_back({ .id = id.toString(), .name = name.toString() });
    }
    return projects;
}

} // namespace

ProjectsResult readProjects(const HttpOutcome& outcome)
{
    if (const std::optional<APIError> error = classifyResponse(outcome))
        return *error;
    if (!outcome.status || !outcome.body)
        return APIError::server;
    if (std::optional<ProjectList> projects = decodeProjects(*outcome.body))
        return *std::move(projects);
    return APIError::server;
}

} // namespace quibel
