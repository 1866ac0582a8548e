#include "account/ProjectStore.h"
#include "tests/fakes/FakeHttpSession.h"
#include "tests/fakes/FakePreferences.h"
#include "tests/fakes/FakeSecretItems.h"

#include <QTest>

namespace quibel {

using namespace Qt::StringLiterals;

/// A store for which no base URL can be formed.
class UnconfiguredProjectStoreTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void knowsNoBaseURL() { QCOMPARE(store.apiBaseURL(), std::nullopt); }

    void reportsNetworkAtOnceAndSendsNothing()
    {
        std::vector<ProjectsResult> results;
        store.requestProjects(
            u"sk"_s, [&results](const ProjectsResult& result) { results.push_back(result); });
        QCOMPARE(results, std::vector<ProjectsResult> { APIError::network });
        QVERIFY(session.requests.empty());
    }

    void fetchesNothingSilently()
    {
        store.fetchProjects(u"sk"_s);
        QCoreApplication::processEvents();
        QVERIFY(session.requests.empty());
        QVERIFY(store.projects().empty());
        QCOMPARE(output, QByteArray());
    }

private:
    FakePreferences preferences;
    FakeSecretItems secretItems;
    FakeHttpSession session;
    QByteArray output;
    ProjectStore store { { .defaults = preferences,
                           .secretItems = secretItems,
                           .session = session,
                           .environment = QProcessEnvironment(),
                           .standardOutput = [this](const QByteArray& text) { output += text; } } };
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::UnconfiguredProjectStoreTest)
#include "UnconfiguredProjectStoreTest.moc"
