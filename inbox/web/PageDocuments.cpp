#include "inbox/web/PageDocuments.h"

#include "inbox/api/OptionalText.h"

namespace quibel::inbox {

using namespace Qt::StringLiterals;

BranchChange readBranchChange(JsonFields& fields)
{
    BranchChange change;
    if (fields.has(u"done"_s))
        change.done = fields.flag(u"done"_s);
    if (fields.has(u"deleted"_s))
        change.deleted = fields.flag(u"deleted"_s);
    if (fields.has(u"project_id"_s))
        change.projectID = fields.optionalText(u"project_id"_s);
    fields.nothingElse();
    return change;
}

ProjectChange readProjectChange(JsonFields& fields)
{
    ProjectChange change;
    if (fields.has(u"name"_s))
        change.name = fields.name(u"name"_s);
    if (fields.has(u"archived"_s))
        change.archived = fields.flag(u"archived"_s);
    if (fields.has(u"place"_s))
        change.place = fields.place(u"place"_s);
    fields.nothingElse();
    return change;
}

QString readName(JsonFields& fields)
{
    auto name = fields.name(u"name"_s);
    fields.nothingElse();
    return name;
}

QJsonObject toJson(const StoredScreenshot& screenshot)
{
    return {
        { u"picture"_s, QString(u"/pictures/"_s + screenshot.sha256) },
        { u"width"_s, screenshot.width },
        { u"height"_s, screenshot.height },
        { u"byte_size"_s, screenshot.byteSize },
        { u"capture_type"_s, screenshot.captureType },
        { u"captured_at"_s, screenshot.capturedAt },
    };
}

QJsonObject toJson(const StoredBranch& branch)
{
    const auto& document = branch.document;
    QJsonValue project(QJsonValue::Null);
    if (document.projectID)
        project = QJsonObject { { u"id"_s, *document.projectID },
                                { u"name"_s, branch.projectName.value_or(QString()) } };
    return {
        { u"id"_s, branch.id },
        { u"number"_s, branch.number },
        { u"title"_s, document.title },
        { u"text"_s, document.capturedText },
        { u"app_name"_s, document.appName },
        { u"bundle_id"_s, document.bundleID },
        { u"window_title"_s, orNull(document.windowTitle) },
        { u"captured_at"_s, document.capturedAt },
        { u"received_at"_s, branch.receivedAt },
        { u"project"_s, project },
        { u"done"_s, branch.done },
        { u"deleted"_s, branch.deleted },
        { u"likely_double"_s, branch.likelyDouble },
        { u"screenshots"_s, toJson(branch.screenshots) },
    };
}

QJsonObject toJson(const StoredProject& project)
{
    return { { u"id"_s, project.id },
             { u"name"_s, project.name },
             { u"archived"_s, project.archived } };
}

QJsonObject toJson(const StoredKey& key)
{
    return { { u"id"_s, key.id },
             { u"name"_s, key.name },
             { u"created_at"_s, key.createdAt },
             { u"last_used_at"_s, orNull(key.lastUsedAt) } };
}

} // namespace quibel::inbox
