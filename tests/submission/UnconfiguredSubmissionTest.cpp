#include "submission/BranchSubmissionClient.h"
#include "tests/fakes/FakeHttpSession.h"
#include "tests/fakes/FakePreferences.h"
#include "tests/fakes/FakeSecretItems.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel {

/// Built with a project store that was given no service to talk to.
class UnconfiguredSubmissionTest : public QObject
{
    Q_OBJECT

private:
    FakeSecretItems secretItems;
    FakePreferences preferences;
    FakeHttpSession session;
    QByteArray output;
    std::vector<SubmissionResult> results;
    ProjectStore store { { .defaults = preferences,
                           .secretItems = secretItems,
                           .session = session,
                           .environment = {},
                           .standardOutput = {} } };
    KeychainService keychain = makeAgentKeychain(secretItems);
    CaptureReport report { [this](const QByteArray& text) { output += text; } };
    BranchSubmissionClient client { session, store, keychain, report };
    const BranchSubmissionClient::Completion keepResult
        = [this](const SubmissionResult& result) { results.push_back(result); };

private Q_SLOTS:
    void init()
    {
        secretItems.items = { { { u"QuibelDesktop"_s, u"apiKey"_s }, "sk_test" } };
        results.clear();
        QCOMPARE(store.apiBaseURL(), std::nullopt);
    }

    void cleanup() const { QVERIFY(session.requests.empty()); }

    void aBranchFails()
    {
        client.submit("{}", keepResult);
        QVERIFY(results == std::vector<SubmissionResult> { SubmissionError::network });
    }

    void aBranchWithoutAKeyFailsForTheKey()
    {
        secretItems.items.clear();
        client.submit("{}", keepResult);
        QVERIFY(results == std::vector<SubmissionResult> { SubmissionError::noAPIKey });
    }

    void aKeptBranchStaysKept()
    {
        client.resend("{}", keepResult);
        QCoreApplication::processEvents();
        QVERIFY(results.empty());
    }

    void anUploadIsReportedAndDropped()
    {
        const auto created = std::make_shared<PendingScreenshot>();
        created->branch = PendingScreenshot::Branch::created;
        created->pendingScreenshotBranchID = u"b1"_s;
        client.uploadScreenshot(created, {});
        QVERIFY(output.contains("reason       : missing_api_key_or_base_url\n"));
        QVERIFY(!created->pendingScreenshot);
    }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::UnconfiguredSubmissionTest)

#include "UnconfiguredSubmissionTest.moc"
