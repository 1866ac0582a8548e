#include "account/LaunchFetch.h"
#include "tests/fakes/FakeConnectivity.h"
#include "tests/fakes/FakeHttpSession.h"
#include "tests/fakes/FakePreferences.h"
#include "tests/fakes/FakeSecretItems.h"

#include <QElapsedTimer>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace quibel {

class LaunchFetchTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        preferences.emplace();
        preferences->setText(u"quibel.apiBaseURL"_s, u"https://h.example"_s);
        secretItems.emplace();
        secretItems->items = { { { u"QuibelDesktop"_s, u"apiKey"_s }, "sk_1" } };
        session.emplace();
        connectivity.emplace();
        output.clear();
        authorized = 0;
        store = std::make_unique<ProjectStore>(ProjectStore::Surroundings {
            .defaults = *preferences,
            .secretItems = *secretItems,
            .session = *session,
            .environment = QProcessEnvironment(),
            .standardOutput = [this](const QByteArray& text) { output += text; } });
        store->onAuthorized = [this] { ++authorized; };
    }

    void appliesAnAnswerInTimeAndWaitsForNothing()
    {
        LaunchFetch fetch(*store, *connectivity);
        fetch.start();
        answer(project);
        QCOMPARE(authorized, 1);
        QCOMPARE(output, "Loaded 1 projects from API\n"_ba);
        QVERIFY(!connectivity->isAwaited());
    }

    void isSentAgainWhenTheNetworkIsBackAndThenOnlyFillsTheList()
    {
        LaunchFetch fetch(*store, *connectivity);
        fetch.start();
        answer(offline);
        QCOMPARE(session->requests.size(), 1U);
        connectivity->connect();
        QCOMPARE(session->requests.size(), 2U);
        QCOMPARE(session->requests[0], session->requests[1]);
        answer(project);
        QCOMPARE(store->projects().front().name, u"Atlas"_s);
        QCOMPARE(output, "Loaded 1 projects from API\n"_ba);
        QCOMPARE(authorized, 0);
        QVERIFY(!connectivity->isAwaited());
    }

    void waitsForTheNetworkAfterNoAnswerOnly_data()
    {
        QTest::addColumn<HttpOutcome>("outcome");
        QTest::addColumn<bool>("waits");
        using Code = TransportErrorCode;
        QTest::newRow("offline") << offline << true;
        QTest::newRow("a portal that is not the service")
            << FakeHttpSession::failure(Code::secureConnectionFailed) << true;
        QTest::newRow("refused by this machine")
            << FakeHttpSession::failure(Code::requestRefused) << false;
        QTest::newRow("projects") << project << false;
        QTest::newRow("no projects") << FakeHttpSession::success(200, "[]") << false;
        QTest::newRow("rejected") << FakeHttpSession::success(401, {}) << false;
        QTest::newRow("broken") << FakeHttpSession::success(500, {}) << false;
    }

    void waitsForTheNetworkAfterNoAnswerOnly()
    {
        QFETCH(const HttpOutcome, outcome);
        QFETCH(const bool, waits);
        LaunchFetch fetch(*store, *connectivity);
        fetch.start();
        answer(outcome);
        QCOMPARE(connectivity->isAwaited(), waits);
    }

    void isSentAgainAtMostOnceInAWhile()
    {
        QCOMPARE(LaunchFetch::retryInterval, 1min);
        LaunchFetch fetch(*store, *connectivity);
        fetch.start();
        answer(offline);
        connectivity->connect();
        QCOMPARE(session->requests.size(), 2U);
        answer(offline);
        connectivity->connect();
        connectivity->connect();
        QCOMPARE(session->requests.size(), 2U);
    }

    void waitsBetweenTwoRequests()
    {
        constexpr auto interval = 100ms;
        LaunchFetch fetch(*store, *connectivity, interval);
        fetch.start();
        answer(offline);
        QElapsedTimer clock;
        clock.start();
        connectivity->connect();
        answer(offline);
        QTRY_COMPARE(session->requests.size(), 3U);
        QVERIFY(std::chrono::milliseconds(clock.elapsed()) >= interval);
    }

    void isSentAgainSomeTimesOnAConnectionThatBringsNoAnswer()
    {
        LaunchFetch fetch(*store, *connectivity, 1ms);
        fetch.start();
        answer(offline);
        std::size_t sent = 1;
        for (const auto* const connection : { "first", "second" }) {
            connectivity->connect();
            for (int retry = 0; retry < LaunchFetch::retriesPerConnection; ++retry) {
                ++sent;
                QTRY_VERIFY2(session->requests.size() == sent, connection);
                answer(offline);
            }
        }
        QCOMPARE(session->requests.size(), sent);
    }

    void isSentAgainWhenTheNetworkCameBackBeforeItFailed()
    {
        LaunchFetch fetch(*store, *connectivity, 1ms);
        fetch.start();
        answer(offline);
        connectivity->connect();
        connectivity->connect();
        QCOMPARE(session->requests.size(), 2U);
        answer(offline);
        QTRY_COMPARE(session->requests.size(), 3U);
    }

    void readsTheKeyAnew()
    {
        LaunchFetch fetch(*store, *connectivity);
        fetch.start();
        answer(offline);
        secretItems->items.front().second = "sk_2";
        connectivity->connect();
        QCOMPARE(session->requests[1].headers.front().second, "Bearer sk_2"_ba);
    }

    void asksNoMoreWithoutAKey()
    {
        LaunchFetch fetch(*store, *connectivity);
        fetch.start();
        answer(offline);
        secretItems->items.clear();
        connectivity->connect();
        QCOMPARE(session->requests.size(), 1U);
        QVERIFY(!connectivity->isAwaited());
    }

private:
    void answer(const HttpOutcome& outcome)
    {
        session->answerNext(outcome);
        QCoreApplication::processEvents();
    }

    const HttpOutcome offline = FakeHttpSession::failure(TransportErrorCode::cannotFindHost);
    const HttpOutcome project = FakeHttpSession::success(200, R"([{"id":"p1","name":"Atlas"}])");
    std::optional<FakePreferences> preferences;
    std::optional<FakeSecretItems> secretItems;
    std::optional<FakeHttpSession> session;
    std::optional<FakeConnectivity> connectivity;
    QByteArray output;
    int authorized = 0;
    std::unique_ptr<ProjectStore> store;
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::LaunchFetchTest)
#include "LaunchFetchTest.moc"
