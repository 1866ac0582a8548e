#include "submission/BranchSubmissionClient.h"

#include "account/ServiceRequest.h"
#include "submission/ScreenshotDocument.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>

#include <utility>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

const QString branchPath = u"api/branches/from-agent"_s;

SubmissionError submissionError(APIError error)
{
    switch (error) {
    case APIError::unauthorized:
        return SubmissionError::unauthorized;
    case APIError::offline:
        return SubmissionError::offline;
    case APIError::network:
        return SubmissionError::network;
    case APIError::server:
        break;
    }
    return SubmissionError::server;
}

std::optional<QString> readBranchID(const QByteArray& body)
{
    const QJsonObject answer = QJsonDocument::fromJson(body).object();
    for (const QJsonValue& candidate :
         { answer[u"branch_id"_s], answer[u"id"_s], answer[u"branch"_s][u"id"_s] })
        if (candidate.isString())
            return candidate.toString();
    return std::nullopt;
}

bool isSuccess(const HttpOutcome& outcome)
{
    return !outcome.error && outcome.status && *outcome.status >= 200 && *outcome.status <= 299;
}

} // namespace

SubmissionResult readSubmissionResult(const HttpOutcome& outcome)
{
    if (const auto error = classifyResponse(outcome))
        return submissionError(*error);
    if (!isSuccess(outcome))
        return SubmissionError::server;
    return CreatedBranch { .id = readBranchID(outcome.body.value_or(QByteArray())) };
}

BranchSubmissionClient::BranchSubmissionClient(HttpSession& httpSession,
                                               ProjectStore& store,
                                               const KeychainService& keys,
                                               const CaptureReport& captureReport)
    : session(httpSession)
    , projectStore(store)
    , keychain(keys)
    , report(captureReport)
{
}

PendingScreenshotRef BranchSubmissionClient::submit(const QByteArray& document,
                                                    const Completion& completion)
{
    auto pending = std::make_shared<PendingScreenshot>();
    const auto finish
        = [self = QPointer(this), pending, completion](const SubmissionResult& result) {
              completion(result);
              if (self)
                  self->branchEnded(*pending, result);
          };
    prepare(branchPath, document, [this, finish](const Prepared& prepared) {
        if (const auto* error = std::get_if<SubmissionError>(&prepared))
            finish(*error);
        else
            send(std::get<HttpRequest>(prepared), finish);
    });
    return pending;
}

void BranchSubmissionClient::resend(const QByteArray& document, const Completion& completion)
{
    prepare(branchPath, document, [this, completion](const Prepared& prepared) {
        if (const auto* request = std::get_if<HttpRequest>(&prepared))
            send(*request, completion);
    });
}

void BranchSubmissionClient::uploadScreenshot(const PendingScreenshotRef& pending,
                                              ScreenshotCapture screenshot)
{
    strandedScreenshot.reset();
    if (pending->branch == PendingScreenshot::Branch::failed) {
        strandedScreenshot = std::move(screenshot);
        return;
    }
    pending->pendingScreenshot = std::move(screenshot);
    uploadPendingScreenshot(*pending);
}

void BranchSubmissionClient::branchEnded(PendingScreenshot& pending, const SubmissionResult& result)
{
    const auto* created = std::get_if<CreatedBranch>(&result);
    if (created == nullptr) {
        pending.branch = PendingScreenshot::Branch::failed;
        pending.pendingScreenshot.reset();
        return;
    }
    pending.branch = PendingScreenshot::Branch::created;
    pending.pendingScreenshotBranchID = created->id;
    if (created->id && strandedScreenshot)
        upload(*std::exchange(strandedScreenshot, std::nullopt), *created->id);
    uploadPendingScreenshot(pending);
}

void BranchSubmissionClient::uploadPendingScreenshot(PendingScreenshot& pending)
{
    if (pending.pendingScreenshot && pending.pendingScreenshotBranchID)
        upload(*std::exchange(pending.pendingScreenshot, std::nullopt),
               *pending.pendingScreenshotBranchID);
}

void BranchSubmissionClient::upload(const ScreenshotCapture& screenshot, const QString& branchID)
{
    const QString path = u"api/branches/"_s + branchID + u"/screenshots"_s;
    prepare(path, {}, [this, screenshot, branchID](const Prepared& prepared) {
        uploadPrepared(prepared, screenshot, branchID);
    });
}

void BranchSubmissionClient::prepare(const QString& path,
                                     const QByteArray& json,
                                     std::function<void(const Prepared&)> proceed)
{
    keychain.readAsking(*this,
                        [this, path, json, proceed = std::move(proceed)](const KeyResult& stored) {
                            const auto* key = std::get_if<SecretText>(&stored);
                            const auto base = projectStore.apiBaseURL();
                            const bool hasKey = key != nullptr && !(*key)->isEmpty();
                            if (hasKey && base)
                                proceed(makePostRequest(*base, path, *key, json));
                            else if (hasKey || stored == KeyResult(KeyError::noAnswer))
                                proceed(SubmissionError::network);
                            else
                                proceed(SubmissionError::noAPIKey);
                        });
}

void BranchSubmissionClient::send(const HttpRequest& request, Completion completion)
{
    session.send(
        request,
        [self = QPointer(this), completion = std::move(completion)](const HttpOutcome& outcome) {
            if (!self)
                return;
            const SubmissionResult result = readSubmissionResult(outcome);
            if (result == SubmissionResult(SubmissionError::unauthorized))
                self->projectStore.handleUnauthorized();
            completion(result);
        });
}

void BranchSubmissionClient::uploadPrepared(const Prepared& prepared,
                                            const ScreenshotCapture& screenshot,
                                            const QString& branchID)
{
    const QString captureType = screenshot.metadata.captureType;
    if (std::holds_alternative<SubmissionError>(prepared)) {
        report.uploadFailed(branchID, captureType, u"missing_api_key_or_base_url"_s);
        return;
    }
    auto document = buildScreenshotDocument(screenshot, branchID);
    if (!document) {
        report.uploadFailed(branchID, captureType, u"invalid_payload"_s);
        return;
    }
    HttpRequest request = std::get<HttpRequest>(prepared);
    request.body = *std::move(document);

    const auto finish = [self = QPointer(this),
                         branchID,
                         captureType,
                         byteSize = screenshot.data.size()](const HttpOutcome& outcome) {
        if (!self)
            return;
        if (outcome.error)
            self->report.uploadFailed(branchID, captureType, outcome.error->localizedDescription);
        else if (!isSuccess(outcome))
            self->report.uploadFailed(branchID, captureType, u"server_error"_s);
        else
            self->report.saved(branchID, captureType, byteSize);
    };
    session.send(request, finish);
}

} // namespace quibel
