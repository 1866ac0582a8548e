#include "inbox/agent/AgentDocuments.h"

#include "inbox/api/JsonFields.h"

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

BranchDocument readBranch(JsonFields& fields)
{
    BranchDocument branch;
    branch.title = fields.text(u"title"_s);
    branch.summary = fields.text(u"summary"_s);
    branch.whyForked = fields.text(u"why_forked"_s);
    fields.null(u"expected_future_value"_s);
    branch.projectID = fields.optionalText(u"project_id"_s);

    auto snapshot = fields.object(u"context_snapshot"_s);
    (void)snapshot.oneOf(u"source"_s, { u"desktop-capture"_s });
    branch.capturedText = snapshot.text(u"captured_text"_s);
    auto app = snapshot.object(u"active_app"_s);
    branch.appName = app.text(u"name"_s);
    branch.bundleID = app.text(u"bundle_id"_s);
    app.nothingElse();
    branch.windowTitle = snapshot.optionalText(u"active_window_title"_s);
    branch.capturedAt = snapshot.utcTime(u"captured_at"_s);
    snapshot.nothingElse();
    fields.nothingElse();
    return branch;
}

ScreenshotDocument readScreenshot(JsonFields& fields)
{
    ScreenshotDocument screenshot;
    screenshot.picture = fields.base64(u"image_base64"_s);

    auto metadata = fields.object(u"metadata"_s);
    (void)metadata.oneOf(u"source"_s, { u"desktop"_s });
    screenshot.captureType
        = metadata.oneOf(u"capture_type"_s, { u"active_window"_s, u"display_fallback"_s });
    screenshot.capturedAt = metadata.utcTime(u"captured_at"_s);
    (void)metadata.optionalText(u"app_name"_s);
    (void)metadata.optionalText(u"bundle_id"_s);
    (void)metadata.optionalText(u"window_title"_s);

    auto image = metadata.object(u"image"_s);
    image.nullOr(u"format"_s, u"png"_s);
    screenshot.width = image.optionalCount(u"width"_s);
    screenshot.height = image.optionalCount(u"height"_s);
    screenshot.byteSize = image.optionalCount(u"byte_size"_s);
    image.nothingElse();

    auto branch = metadata.object(u"branch"_s);
    screenshot.branchID = branch.text(u"branch_id"_s);
    (void)branch.optionalText(u"project"_s);
    branch.nothingElse();
    metadata.nothingElse();
    fields.nothingElse();
    return screenshot;
}

} // namespace

Decoded<BranchDocument> decodeBranch(const QByteArray& body)
{
    return decodeJson(body, readBranch);
}

Decoded<ScreenshotDocument> decodeScreenshot(const QByteArray& body)
{
    return decodeJson(body, readScreenshot);
}

} // namespace quibel::inbox
