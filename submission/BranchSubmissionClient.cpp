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
                                               PendingScreenshot& pendingScreenshot,
                                               const CaptureReport& captureReport)
    : session(httpSession)
    , projectStore(store)
    , keychain(keys)
    , pending(pendingScreenshot)
    , report(captureReport)
{
}

void BranchSubmissionClient::submit(const QByteArray& document, const Completion& completion)
{
    const auto request = makeRequest(u"api/branches/from-agent"_s, document);
    if (const auto* error = std::get_if<SubmissionError>(&request))
        completion(*error);
    else
        send(std::get<HttpRequest>(request), completion);
}

void BranchSubmissionClient::resend(const QByteArray& document, const Completion& completion)
{
    const auto request = makeRequest(u"api/branches/from-agent"_s, document);
    if (std::holds_alternative<HttpRequest>(request))
        send(std::get<HttpRequest>(request), completion);
}

void BranchSubmissionClient::uploadPendingScreenshot()
{
    if (!pending.pendingScreenshot || !pending.pendingScreenshotBranchID)
        return;
    const QString branchID = *pending.pendingScreenshotBranchID;
    auto request = makeRequest(u"api/branches/"_s + branchID + u"/screenshots"_s, {});
    if (std::holds_alternative<SubmissionError>(request)) {
        failUpload(u"missing_api_key_or_base_url"_s);
        return;
    }
    auto document = buildScreenshotDocument(*pending.pendingScreenshot, branchID);
    if (!document) {
        failUpload(u"invalid_payload"_s);
        return;
    }
    std::get<HttpRequest>(request).body = *std::move(document);

    const QString captureType = pending.pendingScreenshot->metadata.captureType;
    const qint64 byteSize = pending.pendingScreenshot->data.size();
    session.send(
        std::get<HttpRequest>(request),
        [self = QPointer(this), branchID, captureType, byteSize](const HttpOutcome& outcome) {
            if (!self)
                return;
            if (outcome.error)
                self->report.uploadFailed(
                    branchID, captureType, outcome.error->localizedDescription);
            else if (isSuccess(outcome))
                self->report.saved(branchID, captureType, byteSize);
            else
                self->report.uploadFailed(branchID, captureType, u"server_error"_s);
            self->pending.clear();
        });
}

std::variant<HttpRequest, SubmissionError>
BranchSubmissionClient::makeRequest(const QString& path, const QByteArray& json) const
{
    const QString key = keychain.read().value_or(QString());
    if (key.isEmpty())
        return SubmissionError::noAPIKey;
    const auto base = projectStore.apiBaseURL();
    if (!base)
        return SubmissionError::network;
    return makePostRequest(*base, path, key, json);
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

void BranchSubmissionClient::failUpload(const QString& reason)
{
    report.uploadFailed(*pending.pendingScreenshotBranchID,
                        pending.pendingScreenshot->metadata.captureType,
                        reason);
    pending.clear();
}

} // namespace quibel
