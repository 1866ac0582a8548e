#include "submission/BranchSubmissionClient.h"
#include "tests/fakes/FakeHttpSession.h"
#include "tests/fakes/FakePreferences.h"
#include "tests/fakes/FakeSecretItems.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

/// A client with all that it works with, signed in.
struct Bench
{
    Bench()
    {
        secretItems.items = { { { u"QuibelDesktop"_s, u"apiKey"_s }, "sk_test" } };
        preferences.values.insert(u"quibel.apiBaseURL"_s, u"https://service.invalid/base/"_s);
        preferences.values.insert(u"ProjectStore.projects"_s, QStringList { u"p1"_s });
    }

    /// Sends a branch, which the service stores as `id`; or says that it has, without an id.
    [[nodiscard]] PendingScreenshotRef createBranch(const QByteArray& id = "b1")
    {
        auto pending = client->submit("{}", [](const SubmissionResult&) {});
        session.answerNext(FakeHttpSession::success(
            201, id.isEmpty() ? QByteArray() : QByteArray(R"({"id":")" + id + R"("})")));
        processAnswers();
        return pending;
    }

    /// Sends a branch that fails.
    [[nodiscard]] PendingScreenshotRef failBranch(int status = 500)
    {
        auto pending = client->submit("{}", [](const SubmissionResult&) {});
        session.answerNext(FakeHttpSession::success(status, {}));
        processAnswers();
        return pending;
    }

    void processAnswers() { QCoreApplication::processEvents(); }

    /// The paths of the uploads so far.
    [[nodiscard]] QStringList uploads() const
    {
        QStringList paths;
        for (const HttpRequest& request : session.requests)
            if (request.url.path().endsWith(u"/screenshots"_s))
                paths << request.url.path().sliced(u"/base/api/branches/"_s.size());
        return paths;
    }

    FakeSecretItems secretItems;
    FakePreferences preferences;
    FakeHttpSession session;
    QByteArray output;
    ProjectStore store { { .defaults = preferences,
                           .secretItems = secretItems,
                           .session = session,
                           .environment = {},
                           .standardOutput = {} } };
    KeychainService keychain = makeAgentKeychain(secretItems);
    CaptureReport report { [this](const QByteArray& text) { output += text; } };
    std::unique_ptr<BranchSubmissionClient> client
        = std::make_unique<BranchSubmissionClient>(session, store, keychain, report);
    std::vector<SubmissionResult> results;
    BranchSubmissionClient::Completion keepResult
        = [this](const SubmissionResult& result) { results.push_back(result); };
};

ScreenshotCapture screenshot()
{
    ScreenshotCapture made { .data = QByteArray("\x89PNG\xff\x00\x01", 7), .metadata = {} };
    made.metadata.source = u"desktop"_s;
    made.metadata.captureType = u"active_window"_s;
    made.metadata.capturedAt = u"2026-11-15T22:24:38Z"_s;
    made.metadata.branchID = u"not this one"_s;
    return made;
}

/// A screenshot that can be told from others.
ScreenshotCapture screenshot(const QByteArray& data)
{
    ScreenshotCapture made = screenshot();
    made.data = data;
    return made;
}

HttpOutcome brokenAfter(int status, TransportErrorCode code)
{
    return { .error = TransportError { .code = code, .localizedDescription = u"it broke"_s },
             .status = status,
             .body = {} };
}

} // namespace

class BranchSubmissionClientTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void postsTheDocumentWithTheKey()
    {
        Bench bench;
        bench.client->submit("{\"a\":1}", bench.keepResult);
        QCOMPARE(bench.session.requests.size(), 1U);
        const HttpRequest& request = bench.session.requests.front();
        QCOMPARE(request.method, "POST"_ba);
        QCOMPARE(request.url, QUrl(u"https://service.invalid/base/api/branches/from-agent"_s));
        QVERIFY(
            (request.headers
             == std::vector<std::pair<QByteArray, QByteArray>> {
                 { "Authorization", "Bearer sk_test" }, { "Content-Type", "application/json" } }));
        QCOMPARE(request.body.joined(), "{\"a\":1}"_ba);
        QVERIFY(bench.results.empty());
    }

    void classifiesEveryOutcome_data()
    {
        using enum TransportErrorCode;
        QTest::addColumn<HttpOutcome>("outcome");
        QTest::addColumn<SubmissionResult>("result");
        const auto row
            = [](const char* name, const HttpOutcome& outcome, const SubmissionResult& result) {
                  QTest::newRow(name) << outcome << result;
              };
        const SubmissionResult noId = CreatedBranch {};
        row("401", FakeHttpSession::success(401, "{}"), SubmissionError::unauthorized);
        row("401 and an error", brokenAfter(401, timedOut), SubmissionError::unauthorized);
        row("no network",
            FakeHttpSession::failure(notConnectedToInternet),
            SubmissionError::offline);
        row("no such host", FakeHttpSession::failure(cannotFindHost), SubmissionError::offline);
        row("refused", FakeHttpSession::failure(cannotConnectToHost), SubmissionError::offline);
        row("timed out", FakeHttpSession::failure(timedOut), SubmissionError::offline);
        row("no name service", FakeHttpSession::failure(dnsLookupFailed), SubmissionError::offline);
        row("connection lost", brokenAfter(200, networkConnectionLost), SubmissionError::network);
        row("wrong certificate",
            FakeHttpSession::failure(secureConnectionFailed),
            SubmissionError::network);
        row("refused here", FakeHttpSession::failure(requestRefused), SubmissionError::network);
        row("other error", FakeHttpSession::failure(other), SubmissionError::network);
        row("unknown error", FakeHttpSession::failure(unknown), SubmissionError::network);
        row("unknown error after a 200", brokenAfter(200, unknown), SubmissionError::network);
        row("unknown error after a 500", brokenAfter(500, unknown), SubmissionError::server);
        row("too large", brokenAfter(200, responseTooLarge), SubmissionError::server);
        row("302", FakeHttpSession::success(302, {}), SubmissionError::server);
        row("403", FakeHttpSession::success(403, {}), SubmissionError::server);
        row("404", FakeHttpSession::success(404, {}), SubmissionError::server);
        row("500", FakeHttpSession::success(500, {}), SubmissionError::server);
        row("199", FakeHttpSession::success(199, {}), SubmissionError::server);
        row("300", FakeHttpSession::success(300, {}), SubmissionError::server);
        row("no HTTP response", {}, SubmissionError::server);
        row("200", FakeHttpSession::success(200, {}), noId);
        row("299", FakeHttpSession::success(299, {}), noId);
    }

    void classifiesEveryOutcome()
    {
        QFETCH(HttpOutcome, outcome);
        QFETCH(SubmissionResult, result);
        Bench bench;
        bench.client->submit("{}", bench.keepResult);
        bench.session.answerNext(outcome);
        QTRY_COMPARE(bench.results.size(), 1U);
        QVERIFY(bench.results.front() == result);
    }

    void readsTheIdFromTheFirstPlaceThatHasAText_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<std::optional<QString>>("id");
        const std::optional<QString> none;
        QTest::newRow("branch") << QByteArray(R"({"branch":{"id":"b1"}})")
                                << std::optional(u"b1"_s);
        QTest::newRow("id") << QByteArray(R"({"id":"b2","branch":{"id":"b1"}})")
                            << std::optional(u"b2"_s);
        QTest::newRow("branch_id")
            << QByteArray(R"({"branch_id":"b3","id":"b2"})") << std::optional(u"b3"_s);
        QTest::newRow("number") << QByteArray(R"({"branch_id":7})") << none;
        QTest::newRow("number before a text")
            << QByteArray(R"({"branch_id":7,"id":"b2"})") << std::optional(u"b2"_s);
        QTest::newRow("number in branch") << QByteArray(R"({"branch":{"id":1}})") << none;
        QTest::newRow("branch is a text") << QByteArray(R"({"branch":"b1"})") << none;
        QTest::newRow("empty text") << QByteArray(R"({"id":""})") << std::optional(u""_s);
        QTest::newRow("empty body") << QByteArray() << none;
        QTest::newRow("array") << QByteArray(R"([{"id":"b1"}])") << none;
        QTest::newRow("not JSON") << QByteArray("<html>") << none;
        QTest::newRow("deeply nested") << QByteArray(100'000, '[') << none;
    }

    void readsTheIdFromTheFirstPlaceThatHasAText()
    {
        QFETCH(QByteArray, body);
        QFETCH(std::optional<QString>, id);
        Bench bench;
        bench.client->submit("{}", bench.keepResult);
        bench.session.answerNext(FakeHttpSession::success(201, body));
        QTRY_COMPARE(bench.results.size(), 1U);
        QCOMPARE(std::get<CreatedBranch>(bench.results.front()).id, id);
    }

    void aRejectedKeySignsOutBeforeTheCompletion()
    {
        Bench bench;
        bool signedOutBefore = false;
        bench.client->submit("{}", [&](const SubmissionResult&) {
            signedOutBefore = bench.secretItems.items.empty() && bench.store.projects().empty();
            bench.results.emplace_back();
        });
        bench.session.answerNext(FakeHttpSession::success(401, "{}"));
        QTRY_COMPARE(bench.results.size(), 1U);
        QVERIFY(signedOutBefore);
    }

    void aForbiddenBranchSignsNobodyOut()
    {
        Bench bench;
        bench.client->submit("{}", bench.keepResult);
        bench.session.answerNext(FakeHttpSession::success(403, "{}"));
        QTRY_COMPARE(bench.results.size(), 1U);
        QCOMPARE(bench.secretItems.items.size(), 1U);
    }

    void withoutAKeyNothingIsSent_data()
    {
        QTest::addColumn<bool>("hasEmptyKey");
        QTest::newRow("no key") << false;
        QTest::newRow("empty key") << true;
    }

    void withoutAKeyNothingIsSent()
    {
        QFETCH(bool, hasEmptyKey);
        Bench bench;
        bench.secretItems.items.clear();
        if (hasEmptyKey)
            bench.secretItems.items = { { { u"QuibelDesktop"_s, u"apiKey"_s }, "" } };
        bench.client->submit("{}", bench.keepResult);
        QVERIFY(bench.session.requests.empty());
        QVERIFY(bench.results == std::vector<SubmissionResult> { SubmissionError::noAPIKey });
        bench.client->resend("{}", bench.keepResult);
        QVERIFY(bench.session.requests.empty());
        QCOMPARE(bench.results.size(), 1U);
    }

    void sendsABranchWhenTheUserHasUnlockedTheStore()
    {
        Bench bench;
        bench.secretItems.locked = true;
        bench.client->submit("{}", bench.keepResult);
        QVERIFY(bench.session.requests.empty());
        bench.secretItems.answerPrompts(true);
        QCOMPARE(bench.session.requests.size(), 1U);
        QVERIFY(bench.results.empty());
    }

    void aStoreThatDoesNotSayWhetherItHasAKeyIsLikeAFailingNetwork_data()
    {
        QTest::addColumn<bool>("available");
        QTest::newRow("it stays locked") << true;
        QTest::newRow("it is gone") << false;
    }

    void aStoreThatDoesNotSayWhetherItHasAKeyIsLikeAFailingNetwork()
    {
        QFETCH(const bool, available);
        Bench bench;
        bench.secretItems.available = available;
        bench.secretItems.locked = true;
        bench.client->submit("{}", bench.keepResult);
        bench.secretItems.answerPrompts(false);
        QVERIFY(bench.results == std::vector<SubmissionResult> { SubmissionError::network });
        QVERIFY(bench.session.requests.empty());

        bench.client->resend("{}", bench.keepResult);
        bench.secretItems.answerPrompts(false);
        QCOMPARE(bench.results.size(), 1U);
        QVERIFY(bench.session.requests.empty());
    }

    void aResendIsTheSameRequest()
    {
        Bench bench;
        bench.client->submit("{\"a\":1}", bench.keepResult);
        bench.client->resend("{\"a\":1}", bench.keepResult);
        QVERIFY(bench.session.requests.at(0) == bench.session.requests.at(1));
        bench.session.answer(1, FakeHttpSession::success(401, {}));
        QTRY_COMPARE(bench.results.size(), 1U);
        QVERIFY(bench.secretItems.items.empty());
    }

    void waitsForNoStore()
    {
        Bench bench;
        const auto pending = bench.createBranch();
        bench.client->resend("{}", bench.keepResult);
        bench.client->uploadScreenshot(pending, screenshot());
        QCOMPARE(bench.secretItems.holds, std::vector(3, std::chrono::milliseconds(0)));
    }

    void sendsABranchWhenASlowStoreHasGivenTheKey()
    {
        Bench bench;
        bench.secretItems.slow = true;
        bench.client->submit("{\"a\":1}", bench.keepResult);
        QVERIFY(bench.session.requests.empty());
        QVERIFY(bench.secretItems.answerLate());
        QCOMPARE(bench.session.requests.size(), 1U);
        QCOMPARE(bench.session.requests.front().body.joined(), "{\"a\":1}"_ba);
        QCOMPARE(bench.session.requests.front().headers.at(0).second, "Bearer sk_test"_ba);

        bench.client->resend("{\"a\":1}", bench.keepResult);
        QCOMPARE(bench.session.requests.size(), 1U);
        QVERIFY(bench.secretItems.answerLate());
        QVERIFY(bench.session.requests.at(0) == bench.session.requests.at(1));
        QVERIFY(bench.results.empty());
    }

    void sendsNothingWhenASlowStoreHasNoKey()
    {
        Bench bench;
        bench.secretItems.items.clear();
        bench.secretItems.slow = true;
        bench.client->submit("{}", bench.keepResult);
        bench.client->resend("{}", bench.keepResult);
        QVERIFY(bench.results.empty());
        QVERIFY(bench.secretItems.answerLate());
        QVERIFY(bench.results == std::vector<SubmissionResult> { SubmissionError::noAPIKey });
        QVERIFY(bench.secretItems.answerLate());
        QVERIFY(bench.session.requests.empty());
        QCOMPARE(bench.results.size(), 1U);
    }

    void sendsNothingForAKeyThatComesAfterItsEnd()
    {
        Bench bench;
        bench.secretItems.slow = true;
        bench.client->submit("{}", bench.keepResult);
        bench.client.reset();
        QVERIFY(bench.secretItems.answerLate());
        QVERIFY(bench.session.requests.empty());
        QVERIFY(bench.results.empty());
    }

    void uploadsToItsBranchWhenASlowStoreHasGivenTheKey()
    {
        Bench bench;
        const auto pending = bench.createBranch();
        bench.secretItems.slow = true;
        bench.client->uploadScreenshot(pending, screenshot());
        const auto next = bench.client->submit("{}", bench.keepResult);
        QVERIFY(bench.secretItems.answerLate());
        QCOMPARE(bench.uploads(), QStringList(u"b1/screenshots"_s));
        QVERIFY(bench.session.requests.back().body.joined().contains("iVBOR/8AAQ=="));
    }

    void waitsForTheBranchOfTheScreenshot()
    {
        Bench bench;
        const auto first = bench.client->submit("{}", bench.keepResult);
        const auto second = bench.client->submit("{}", bench.keepResult);
        bench.client->uploadScreenshot(second, screenshot());
        bench.session.answer(0, FakeHttpSession::success(201, R"({"id":"b1"})"));
        bench.processAnswers();
        QCOMPARE(bench.uploads(), QStringList());
        bench.session.answer(1, FakeHttpSession::success(201, R"({"id":"b2"})"));
        bench.processAnswers();
        QCOMPARE(bench.uploads(), QStringList(u"b2/screenshots"_s));
    }

    void uploadsOnceThoughAnotherBranchIsCreatedMeanwhile()
    {
        Bench bench;
        bench.client->uploadScreenshot(bench.createBranch("b1"), screenshot());
        const auto upload = bench.session.requests.size() - 1;
        const auto other = bench.client->submit("{}", bench.keepResult);
        bench.session.answer(upload + 1, FakeHttpSession::success(201, R"({"id":"b2"})"));
        bench.processAnswers();
        QCOMPARE(bench.uploads(), QStringList(u"b1/screenshots"_s));
        bench.session.answer(upload, FakeHttpSession::success(201, {}));
        bench.processAnswers();
        bench.client->uploadScreenshot(other, screenshot());
        QCOMPARE(bench.uploads(), QStringList({ u"b1/screenshots"_s, u"b2/screenshots"_s }));
    }

    void aFailureOrAnUploadEndsNoOtherSubmission()
    {
        Bench bench;
        const auto waiting = bench.client->submit("{}", bench.keepResult);
        bench.client->uploadScreenshot(waiting, screenshot());
        bench.client->submit("{}", bench.keepResult);
        bench.session.answer(1, FakeHttpSession::success(500, {}));
        bench.processAnswers();
        const auto done = bench.client->submit("{}", bench.keepResult);
        bench.session.answer(2, FakeHttpSession::success(201, R"({"id":"b3"})"));
        bench.processAnswers();
        bench.client->uploadScreenshot(done, screenshot());
        bench.session.answer(3, FakeHttpSession::success(201, {}));
        bench.processAnswers();
        QCOMPARE(bench.uploads(), QStringList(u"b3/screenshots"_s));
        bench.session.answer(0, FakeHttpSession::success(201, R"({"id":"b1"})"));
        bench.processAnswers();
        QCOMPARE(bench.uploads(), QStringList({ u"b3/screenshots"_s, u"b1/screenshots"_s }));
    }

    void aFailureDropsTheScreenshotThatWaitedForIt_data()
    {
        QTest::addColumn<int>("status");
        QTest::newRow("server") << 500;
        QTest::newRow("unauthorized") << 401;
    }

    void aFailureDropsTheScreenshotThatWaitedForIt()
    {
        QFETCH(int, status);
        Bench bench;
        const auto pending = bench.client->submit("{}", bench.keepResult);
        bench.client->uploadScreenshot(pending, screenshot());
        bench.session.answerNext(FakeHttpSession::success(status, {}));
        bench.processAnswers();
        QVERIFY(!pending->pendingScreenshot);
        bench.secretItems.items = { { { u"QuibelDesktop"_s, u"apiKey"_s }, "sk_test" } };
        QVERIFY(bench.createBranch());
        QCOMPARE(bench.uploads(), QStringList());
    }

    void aMissingKeyDropsTheScreenshotThatWaitedForIt()
    {
        Bench bench;
        bench.secretItems.slow = true;
        const auto pending = bench.client->submit("{}", bench.keepResult);
        bench.client->uploadScreenshot(pending, screenshot());
        const auto items = std::exchange(bench.secretItems.items, {});
        QVERIFY(bench.secretItems.answerLate());
        QVERIFY(bench.results == std::vector<SubmissionResult> { SubmissionError::noAPIKey });
        QVERIFY(!pending->pendingScreenshot);
        bench.secretItems.slow = false;
        bench.secretItems.items = items;
        QVERIFY(bench.createBranch());
        QCOMPARE(bench.uploads(), QStringList());
    }

    void aScreenshotOfAFailedBranchGoesWithTheNextOneThatIsCreated()
    {
        Bench bench;
        bench.client->uploadScreenshot(bench.failBranch(), screenshot());
        QVERIFY(bench.failBranch());
        QVERIFY(bench.createBranch(""));
        QCOMPARE(bench.uploads(), QStringList());
        QVERIFY(bench.createBranch("b2"));
        QVERIFY(bench.createBranch("b3"));
        QCOMPARE(bench.uploads(), QStringList(u"b2/screenshots"_s));
    }

    void aNewerScreenshotTakesThePlaceOfAFailedBranchsOne()
    {
        Bench bench;
        bench.client->uploadScreenshot(bench.failBranch(), screenshot("old"));
        bench.client->uploadScreenshot(bench.failBranch(), screenshot("new"));
        QVERIFY(bench.createBranch("b1"));
        QCOMPARE(bench.uploads(), QStringList(u"b1/screenshots"_s));
        QVERIFY(bench.session.requests.back().body.joined().contains("\"bmV3\""));

        bench.client->uploadScreenshot(bench.failBranch(503), screenshot("old"));
        const auto pending = bench.client->submit("{}", bench.keepResult);
        bench.client->uploadScreenshot(pending, screenshot("own"));
        bench.session.answer(bench.session.requests.size() - 1,
                             FakeHttpSession::success(201, R"({"id":"b2"})"));
        bench.processAnswers();
        QCOMPARE(bench.uploads(), QStringList({ u"b1/screenshots"_s, u"b2/screenshots"_s }));
        QVERIFY(bench.session.requests.back().body.joined().contains("\"b3du\""));
    }

    void aBranchWithoutAnIdUploadsNothing()
    {
        Bench bench;
        bench.client->uploadScreenshot(bench.createBranch(""), screenshot());
        QVERIFY(bench.createBranch("b2"));
        QCOMPARE(bench.uploads(), QStringList());
        QVERIFY(bench.output.isEmpty());
    }

    void uploadsThePictureWithItsMetadata()
    {
        Bench bench;
        bench.client->uploadScreenshot(bench.createBranch(), screenshot());
        const HttpRequest& request = bench.session.requests.back();
        QCOMPARE(request.url, QUrl(u"https://service.invalid/base/api/branches/b1/screenshots"_s));
        QCOMPARE(request.headers.at(0).second, "Bearer sk_test"_ba);
        QCOMPARE(request.headers.at(1).second, "application/json"_ba);
        const QJsonValue null;
        QCOMPARE(QJsonDocument::fromJson(request.body.joined()).object(),
                 QJsonObject({
                     { u"image_base64"_s, u"iVBOR/8AAQ=="_s },
                     { u"metadata"_s,
                       QJsonObject {
                           { u"source"_s, u"desktop"_s },
                           { u"capture_type"_s, u"active_window"_s },
                           { u"captured_at"_s, u"2026-11-15T22:24:38Z"_s },
                           { u"app_name"_s, null },
                           { u"bundle_id"_s, null },
                           { u"window_title"_s, null },
                           { u"image"_s,
                             QJsonObject { { u"format"_s, null },
                                           { u"width"_s, null },
                                           { u"height"_s, null },
                                           { u"byte_size"_s, null } } },
                           { u"branch"_s,
                             QJsonObject { { u"branch_id"_s, u"b1"_s }, { u"project"_s, null } } },
                       } },
                 }));
    }

    void writesTheMetadataThatIsThere()
    {
        Bench bench;
        ScreenshotCapture described = screenshot();
        ScreenshotMetadata& metadata = described.metadata;
        metadata.appName = u"Editor"_s;
        metadata.bundleID = u"org.example.Editor"_s;
        metadata.windowTitle = u"\"notes\""_s;
        metadata.imageFormat = u"png"_s;
        metadata.imageWidth = 2;
        metadata.imageHeight = 3;
        metadata.byteSize = 7;
        metadata.projectName = u"Atlas"_s;
        bench.client->uploadScreenshot(bench.createBranch(), described);
        const QJsonValue sent
            = QJsonDocument::fromJson(bench.session.requests.back().body.joined())[u"metadata"_s];
        QCOMPARE(sent[u"app_name"_s], u"Editor"_s);
        QCOMPARE(sent[u"bundle_id"_s], u"org.example.Editor"_s);
        QCOMPARE(sent[u"window_title"_s], u"\"notes\""_s);
        QCOMPARE(sent[u"image"_s],
                 QJsonObject({ { u"format"_s, u"png"_s },
                               { u"width"_s, 2 },
                               { u"height"_s, 3 },
                               { u"byte_size"_s, 7 } }));
        QCOMPARE(sent[u"branch"_s][u"project"_s], u"Atlas"_s);
    }

    void reportsHowAnUploadEnded_data()
    {
        QTest::addColumn<HttpOutcome>("outcome");
        QTest::addColumn<QByteArray>("line");
        const QByteArray serverError = "reason       : server_error\n";
        QTest::newRow("201") << FakeHttpSession::success(201, {})
                             << QByteArray("byte_size    : 7\nstatus       : stored\n");
        QTest::newRow("500") << FakeHttpSession::success(500, {}) << serverError;
        QTest::newRow("401") << FakeHttpSession::success(401, {}) << serverError;
        QTest::newRow("no HTTP response") << HttpOutcome {} << serverError;
        QTest::newRow("transport error") << brokenAfter(201, TransportErrorCode::timedOut)
                                         << QByteArray("reason       : it broke\n");
    }

    void reportsHowAnUploadEnded()
    {
        QFETCH(HttpOutcome, outcome);
        QFETCH(QByteArray, line);
        Bench bench;
        bench.client->uploadScreenshot(bench.createBranch(), screenshot());
        bench.session.answerNext(outcome);
        QTRY_VERIFY(bench.output.contains(line));
        QVERIFY(bench.output.contains("branch_id    : b1\ncapture_type : active_window\n"));
        QCOMPARE(bench.secretItems.items.size(), 1U);
    }

    void anUploadWithoutAKeyIsReportedAndDropped()
    {
        Bench bench;
        const auto pending = bench.createBranch();
        bench.secretItems.items.clear();
        bench.client->uploadScreenshot(pending, screenshot());
        QVERIFY(bench.output.contains("reason       : missing_api_key_or_base_url\n"));
        QVERIFY(!pending->pendingScreenshot);
        QCOMPARE(bench.uploads(), QStringList());
    }

    void anUploadWithBrokenTextIsReportedAndDropped()
    {
        Bench bench;
        ScreenshotCapture broken = screenshot();
        broken.metadata.windowTitle = QString(1, QChar(0xdc00));
        const auto pending = bench.createBranch();
        bench.client->uploadScreenshot(pending, broken);
        QVERIFY(bench.output.contains("reason       : invalid_payload\n"));
        QVERIFY(!pending->pendingScreenshot);
        QCOMPARE(bench.uploads(), QStringList());
    }

    void answersAfterItsEndAreDropped()
    {
        Bench bench;
        bench.client->uploadScreenshot(bench.createBranch(), screenshot());
        bench.client->submit("{}", bench.keepResult);
        bench.client.reset();
        bench.session.answer(1, FakeHttpSession::success(201, {}));
        bench.session.answer(2, FakeHttpSession::success(401, {}));
        QCoreApplication::processEvents();
        QVERIFY(bench.results.empty());
        QVERIFY(bench.output.isEmpty());
        QCOMPARE(bench.secretItems.items.size(), 1U);
    }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::BranchSubmissionClientTest)

#include "BranchSubmissionClientTest.moc"
