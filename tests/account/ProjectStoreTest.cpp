#include "account/ProjectStore.h"
#include "tests/account/CapturedOutput.h"
#include "tests/account/StoredKey.h"
#include "tests/fakes/FakeHttpSession.h"
#include "tests/fakes/FakePreferences.h"
#include "tests/fakes/FakeSecretItems.h"

#include <QTest>

#include <algorithm>
#include <memory>
#include <ranges>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

const QString projectsKey = u"ProjectStore.projects"_s;
const QString lastUsedKey = u"quibel.lastUsedProjectId"_s;
const QString baseURLKey = u"quibel.apiBaseURL"_s;

const Project x { .id = u"x"_s, .name = u"X"_s };
const Project y { .id = u"y"_s, .name = u"Y"_s };
const Project mock { .id = u"m"_s, .name = u"Mock"_s, .isMock = true };

QStringList idsOf(const ProjectList& projects)
{
    QStringList ids;
    for (const Project& project : projects)
        ids << project.id;
    return ids;
}

} // namespace

class ProjectStoreTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        preferences.emplace();
        secretItems.emplace();
        session.emplace();
        environment = QProcessEnvironment();
        startNewRun();
    }

    void cleanup()
    {
        store.reset();
        QLocale::setDefault(QLocale::system());
    }

    // Projects

    void offersRememberedIdentifiersUntilAListIsFetched()
    {
        preferences->setTextList(projectsKey, { u"p2"_s, u"p1"_s });
        const ProjectList remembered { { .id = u"p2"_s, .name = u"p2"_s },
                                       { .id = u"p1"_s, .name = u"p1"_s } };
        QCOMPARE(store->projects(), remembered);
        store->applyFetchedProjects({ x });
        QCOMPARE(store->projects(), ProjectList { x });
    }

    void offersNothingAtFirst() { QVERIFY(store->projects().empty()); }

    void treatsADamagedCacheAsEmpty_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::newRow("a number among texts") << QVariant(QVariantList { u"p1"_s, 7, u"p2"_s });
        QTest::newRow("a text") << QVariant(u"p1"_s);
    }

    void treatsADamagedCacheAsEmpty()
    {
        QFETCH(const QVariant, value);
        preferences->values.insert(projectsKey, value);
        QVERIFY(store->projects().empty());
        store->applyFetchedProjects(
            { { .id = u"p2"_s, .name = u"b"_s }, { .id = u"p1"_s, .name = u"a"_s } });
        QCOMPARE(idsOf(store->projects()), QStringList({ u"p1"_s, u"p2"_s }));
        store->recordUse(x);
        QCOMPARE(preferences->textList(projectsKey), QStringList { u"x"_s });
    }

    // Order of fetched projects

    void putsRememberedProjectsFirstAndTheRestByName_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::newRow("system") << QLocale::system();
        QTest::newRow("C") << QLocale::c();
        QTest::newRow("English") << QLocale(QLocale::English);
        QTest::newRow("German") << QLocale(QLocale::German);
        QTest::newRow("Turkish") << QLocale(QLocale::Turkish);
    }

    void putsRememberedProjectsFirstAndTheRestByName()
    {
        QFETCH(const QLocale, locale);
        QLocale::setDefault(locale);
        preferences->setTextList(projectsKey, { u"C"_s });
        store->applyFetchedProjects({ { .id = u"B"_s, .name = u"beta"_s },
                                      { .id = u"A"_s, .name = u"Alpha"_s },
                                      { .id = u"C"_s, .name = u"gamma"_s },
                                      { .id = u"D"_s, .name = u"Delta"_s } });
        QCOMPARE(idsOf(store->projects()), QStringList({ u"C"_s, u"A"_s, u"B"_s, u"D"_s }));
    }

    void ordersRememberedProjectsAsTheyWereUsed()
    {
        preferences->setTextList(projectsKey, { u"3"_s, u"gone"_s, u"1"_s, u"2"_s });
        store->applyFetchedProjects({ { .id = u"1"_s, .name = u"a"_s },
                                      { .id = u"2"_s, .name = u"b"_s },
                                      { .id = u"3"_s, .name = u"c"_s } });
        QCOMPARE(idsOf(store->projects()), QStringList({ u"3"_s, u"1"_s, u"2"_s }));
    }

    void ordersNamesAsTheUsersLanguageDoes_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<QStringList>("order");
        QTest::newRow("German") << QLocale(QLocale::German)
                                << QStringList { u"apfel"_s, u"\u00c4rger"_s, u"Zebra"_s };
        QTest::newRow("Swedish") << QLocale(QLocale::Swedish)
                                 << QStringList { u"apfel"_s, u"Zebra"_s, u"\u00c4rger"_s };
    }

    void ordersNamesAsTheUsersLanguageDoes()
    {
        QFETCH(const QLocale, locale);
        QFETCH(const QStringList, order);
        QLocale::setDefault(locale);
        ProjectList fetched;
        for (const QString& name : { u"Zebra"_s, u"\u00c4rger"_s, u"apfel"_s })
            fetched.push_back({ .id = name, .name = name });
        store->applyFetchedProjects(fetched);
        QCOMPARE(idsOf(store->projects()), order);
    }

    void keepsTheServicesOrderOfEqualNames_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::newRow("C") << QLocale::c();
        QTest::newRow("English") << QLocale(QLocale::English);
    }

    void keepsTheServicesOrderOfEqualNames()
    {
        QFETCH(const QLocale, locale);
        QLocale::setDefault(locale);
        ProjectList fetched;
        for (int i = 0; i < 100; ++i)
            fetched.push_back(
                { .id = QString::number(i), .name = i % 2 != 0 ? u"same"_s : u"SAME"_s });
        store->applyFetchedProjects(fetched);
        QCOMPARE(idsOf(store->projects()), idsOf(fetched));
    }

    void sortsAHundredThousandProjects()
    {
        constexpr int count = 100'000;
        constexpr qint64 stride = 7919; // Coprime to the count: visits every number once.
        ProjectList fetched;
        for (int i = 0; i < count; ++i) {
            const QString number = u"%1"_s.arg((i * stride) % count, 5, 10, QChar(u'0'));
            fetched.push_back({ .id = number, .name = (i % 2 != 0 ? u"P"_s : u"p"_s) + number });
        }
        store->applyFetchedProjects(fetched);
        const ProjectList sorted = store->projects();
        QCOMPARE(sorted.size(), count);
        QVERIFY(std::ranges::is_sorted(sorted, {}, &Project::id));
    }

    void handsOutTheListItHolds()
    {
        store->applyFetchedProjects({ x, y });
        QVERIFY(store->projects().isSharedWith(store->projects()));
    }

    void letsTheFirstPositionOfARepeatedIdentifierCount()
    {
        preferences->setTextList(projectsKey, { u"2"_s, u"1"_s, u"2"_s, u"2"_s });
        CapturedOutput standardError(stderr);
        store->applyFetchedProjects(
            { { .id = u"1"_s, .name = u"a"_s }, { .id = u"2"_s, .name = u"b"_s } });
        QCOMPARE(idsOf(store->projects()), QStringList({ u"2"_s, u"1"_s }));
        QCOMPARE(standardError.text().count('\n'), 1);
    }

    void saysNothingAboutASoundCache()
    {
        preferences->setTextList(projectsKey, { u"2"_s, u"1"_s });
        CapturedOutput standardError(stderr);
        store->applyFetchedProjects({ x });
        QCOMPARE(standardError.text(), QByteArray());
    }

    void replacesTheFormerList()
    {
        store->applyFetchedProjects({ x, y });
        store->applyFetchedProjects({ y });
        QCOMPARE(store->projects(), ProjectList { y });
    }

    void reportsAnAppliedListAtOnce()
    {
        QStringList seen;
        store->onAuthorized = [this, &seen] { seen = idsOf(store->projects()); };
        store->applyFetchedProjects({ x, y });
        QCOMPARE(seen, QStringList({ u"x"_s, u"y"_s }));
    }

    // Preferred project

    void prefersNothingInAnEmptyList()
    {
        store->recordUse(x);
        QCOMPARE(store->preferredProject({}), std::nullopt);
    }

    void prefersTheFirstWhenNothingMatches()
    {
        QCOMPARE(store->preferredProject({ y, x }), y);
        store->recordUse({ .id = u"gone"_s, .name = u"Gone"_s });
        QCOMPARE(store->preferredProject({ y, x }), y);
    }

    void prefersTheProjectUsedInThisRun()
    {
        preferences->setText(lastUsedKey, y.id);
        store->recordUse(x);
        preferences->setText(lastUsedKey, y.id);
        QCOMPARE(store->preferredProject({ y, x }), x);
    }

    void prefersTheFirstOfSeveralWithTheUsedIdentifier()
    {
        const Project twin { .id = x.id, .name = u"Twin"_s, .isMock = true };
        store->recordUse(x);
        QCOMPARE(store->preferredProject({ y, twin, x }), twin);
    }

    void fallsBackToThePersistedProject()
    {
        preferences->setText(lastUsedKey, x.id);
        QCOMPARE(store->preferredProject({ y, x }), x);
        store->recordUse(mock);
        QCOMPARE(store->preferredProject({ y, x }), x);
    }

    void neverPrefersAMockForThePersistedProject()
    {
        preferences->setText(lastUsedKey, mock.id);
        QCOMPARE(store->preferredProject({ y, mock }), y);
        const Project real { .id = mock.id, .name = u"Real"_s };
        QCOMPARE(store->preferredProject({ y, mock, real }), real);
    }

    void comparesIdentifiersAsExactText()
    {
        preferences->setText(lastUsedKey, u"X"_s);
        QCOMPARE(store->preferredProject({ y, x }), y);
    }

    // Recording a use

    void remembersUsesMostRecentFirst()
    {
        store->recordUse(x);
        store->recordUse(x);
        store->recordUse(y);
        QCOMPARE(preferences->textList(projectsKey), QStringList({ u"y"_s, u"x"_s }));
        QCOMPARE(preferences->text(lastUsedKey), u"y"_s);
        const QStringList change { u"set "_s + projectsKey, u"set "_s + lastUsedKey };
        QCOMPARE(preferences->changes, change + change + change);
    }

    void removesEveryFormerMentionOfAUsedProject()
    {
        preferences->setTextList(projectsKey, { u"x"_s, u"a"_s, u"x"_s });
        store->recordUse(x);
        QCOMPARE(preferences->textList(projectsKey), QStringList({ u"x"_s, u"a"_s }));
    }

    void remembersAnyNumberOfProjects()
    {
        for (int i = 0; i < 500; ++i)
            store->recordUse({ .id = QString::number(i), .name = {} });
        QCOMPARE(preferences->textList(projectsKey)->size(), 500);
        QCOMPARE(preferences->textList(projectsKey)->back(), u"0"_s);
    }

    void remembersAMockForThisRunOnly()
    {
        store->recordUse(x);
        preferences->changes.clear();
        store->recordUse(mock);
        QCOMPARE(store->preferredProject({ y, x, mock }), mock);
        QVERIFY(preferences->changes.isEmpty());
        startNewRun();
        QCOMPARE(store->preferredProject({ y, x, mock }), x);
    }

    // Key and base URL

    void resolvesTheKey_data()
    {
        QTest::addColumn<std::optional<QByteArray>>("stored");
        QTest::addColumn<std::optional<QString>>("variable");
        QTest::addColumn<std::optional<QString>>("expected");
        const auto row = [](const char* name,
                            const std::optional<QByteArray>& stored,
                            const std::optional<QString>& variable,
                            const std::optional<QString>& expected) {
            QTest::newRow(name) << stored << variable << expected;
        };
        row("nothing", {}, {}, {});
        row("stored", "s", {}, u"s"_s);
        row("environment", {}, u"e"_s, u"e"_s);
        row("both", "s", u"e"_s, u"s"_s);
        row("stored is empty", "", u"e"_s, u"e"_s);
        row("both are empty", "", u""_s, {});
        row("environment is empty", {}, u""_s, {});
        row("stored is no text", "\xff", u"e"_s, u"e"_s);
        row("stored with spaces", " s ", {}, u" s "_s);
        row("environment with spaces", {}, u" "_s, u" "_s);
    }

    void resolvesTheKey()
    {
        QFETCH(const std::optional<QByteArray>, stored);
        QFETCH(const std::optional<QString>, variable);
        QFETCH(const std::optional<QString>, expected);
        if (stored)
            storeSecret(*stored);
        if (variable)
            environment.insert(u"QUIBEL_API_KEY"_s, *variable);
        startNewRun();
        QCOMPARE(effectiveKey(), expected);
    }

    void resolvesTheKeyThatASlowStoreGives()
    {
        storeSecret("s");
        secretItems->slow = true;
        std::vector<std::optional<QString>> received;
        store->apiKey([&received](const KeyResult& key) { received.push_back(keyIn(key)); });
        QCOMPARE(secretItems->holds, std::vector { std::chrono::milliseconds(0) });
        QVERIFY(received.empty());
        QVERIFY(secretItems->answerLate());
        QCOMPARE(received, std::vector { std::optional(u"s"_s) });
    }

    void resolvesNoKeyAfterItsEnd()
    {
        secretItems->slow = true;
        bool received = false;
        store->apiKey([&received](const auto&) { received = true; });
        store.reset();
        QVERIFY(secretItems->answerLate());
        QVERIFY(!received);
    }

    void resolvesTheBaseURL_data()
    {
        QTest::addColumn<std::optional<QString>>("preference");
        QTest::addColumn<std::optional<QString>>("variable");
        QTest::addColumn<QString>("expected");
        const QString fallback = QStringLiteral(QUIBEL_DEFAULT_BASE_URL);
        const auto row = [](const char* name,
                            const std::optional<QString>& preference,
                            const std::optional<QString>& variable,
                            const QString& expected) {
            QTest::newRow(name) << preference << variable << expected;
        };
        row("nothing", {}, {}, fallback);
        row("preference", u"https://p.example/"_s, u"https://e.example"_s, u"https://p.example/"_s);
        row("environment", {}, u"http://localhost:8787/a"_s, u"http://localhost:8787/a"_s);
        row("preference does not parse",
            u"https://p.example:port"_s,
            u"https://e.example"_s,
            u"https://e.example"_s);
        row("preference with a blank",
            u"https://p.example/a b"_s,
            u"https://e.example"_s,
            u"https://e.example"_s);
        row("preference is empty", u""_s, u"https://e.example"_s, u"https://e.example"_s);
        row("neither parses", u"http://["_s, u"%%%"_s, fallback);
        row("both are empty", u""_s, u""_s, fallback);
    }

    void resolvesTheBaseURL()
    {
        QFETCH(const std::optional<QString>, preference);
        QFETCH(const std::optional<QString>, variable);
        QFETCH(const QString, expected);
        if (preference)
            preferences->setText(baseURLKey, *preference);
        if (variable)
            environment.insert(u"QUIBEL_API_BASE_URL"_s, *variable);
        startNewRun();
        const std::optional<QUrl> url = store->apiBaseURL();
        QVERIFY(url);
        QCOMPARE(url->toString(QUrl::FullyEncoded), expected);
    }

    // The request

    void asksOnceForTheProjects()
    {
        preferences->setText(baseURLKey, u"https://h.example/team/"_s);
        requestProjects(u" sk "_s);
        const HttpRequest expected { .method = "GET",
                                     .url = QUrl(u"https://h.example/team/api/projects"_s),
                                     .headers = { { "Authorization", "Bearer  sk " } },
                                     .body = {} };
        QCOMPARE(session->requests, std::vector { expected });
        QVERIFY(results.empty());
    }

    void readsTheAnswer_data()
    {
        QTest::addColumn<HttpOutcome>("outcome");
        QTest::addColumn<ProjectsResult>("expected");
        const auto answer = [](const char* name,
                               int status,
                               const std::optional<QByteArray>& body,
                               const ProjectsResult& expected) {
            QTest::newRow(name) << HttpOutcome { .error = {}, .status = status, .body = body }
                                << expected;
        };
        answer("projects",
               200,
               R"([{"id":"2","name":"b"},{"name":"a","id":"1"}])",
               ProjectList { { .id = u"2"_s, .name = u"b"_s }, { .id = u"1"_s, .name = u"a"_s } });
        answer("other keys",
               201,
               R"([{"id":"1","isMock":true,"name":"\u00e9","more":{"id":7}}])",
               ProjectList { { .id = u"1"_s, .name = u"\u00e9"_s } });
        answer("empty list", 200, "[]", ProjectList());
        answer("empty texts", 200, R"([{"id":"","name":""}])", ProjectList { Project() });
        answer("object", 200, R"({"projects":[]})", APIError::server);
        answer("text", 200, R"("id")", APIError::server);
        answer("number as identifier",
               200,
               R"([{"id":"1","name":"a"},{"id":2,"name":"b"}])",
               APIError::server);
        answer("number as name", 200, R"([{"id":"1","name":1}])", APIError::server);
        answer("null as name", 200, R"([{"id":"1","name":null}])", APIError::server);
        answer("no name", 200, R"([{"id":"1"}])", APIError::server);
        answer("no identifier", 200, R"([{"name":"a"}])", APIError::server);
        answer("keys in capitals", 200, R"([{"ID":"1","Name":"a"}])", APIError::server);
        answer("element is no object", 200, R"([["id","name"]])", APIError::server);
        answer("no JSON", 200, "<html>", APIError::server);
        answer("broken off", 200, R"([{"id":"1","name":"a"})", APIError::server);
        answer("more after the array", 200, "[] []", APIError::server);
        answer("empty body", 200, "", APIError::server);
        answer("no body", 204, {}, APIError::server);
        answer("401", 401, R"([{"id":"1","name":"a"}])", APIError::unauthorized);
        answer("403", 403, "[]", APIError::server);
        answer("302", 302, "[]", APIError::server);
        answer("500", 500, "[]", APIError::server);

        const auto failure = [](const char* name, TransportErrorCode code, APIError expected) {
            QTest::newRow(name) << FakeHttpSession::failure(code) << ProjectsResult(expected);
        };
        failure("not connected", TransportErrorCode::notConnectedToInternet, APIError::offline);
        failure("timed out", TransportErrorCode::timedOut, APIError::offline);
        failure("TLS", TransportErrorCode::secureConnectionFailed, APIError::network);
        failure("refused", TransportErrorCode::requestRefused, APIError::network);
        failure("too large", TransportErrorCode::responseTooLarge, APIError::server);
        QTest::newRow("no HTTP") << HttpOutcome { .error = {}, .status = {}, .body = "[]" }
                                 << ProjectsResult(APIError::server);
    }

    void readsTheAnswer()
    {
        QFETCH(const HttpOutcome, outcome);
        QFETCH(const ProjectsResult, expected);
        requestProjects(u"sk"_s);
        session->answerNext(outcome);
        QTRY_COMPARE(results, std::vector { expected });
    }

    void asksAfreshEachTime()
    {
        requestProjects(u"first"_s);
        requestProjects(u"second"_s);
        QCOMPARE(session->requests.size(), std::size_t(2));
        session->answer(1, FakeHttpSession::success(200, "[]"));
        QTRY_COMPARE(results, std::vector<ProjectsResult> { ProjectList() });
        session->answer(0, FakeHttpSession::success(500, {}));
        QTRY_COMPARE(results, (std::vector<ProjectsResult> { ProjectList(), APIError::server }));
    }

    void signsOutBeforeItReportsARejectedKey()
    {
        storeSecret("old");
        store->applyFetchedProjects({ x });
        store->onUnauthorized = [this] { events << u"callback"_s; };
        store->requestProjects(u"wrong"_s, [this](const ProjectsResult&) {
            events << (secretItems->items.empty() && store->projects().empty()
                           ? u"signed out"_s
                           : u"still signed in"_s);
        });
        session->answerNext(FakeHttpSession::success(401, {}));
        QTRY_COMPARE(events, QStringList({ u"signed out"_s, u"callback"_s }));
    }

    void keepsTheAccountOnAnyOtherFailure()
    {
        storeSecret("key");
        store->applyFetchedProjects({ x });
        store->onUnauthorized = [this] { events << u"callback"_s; };
        requestProjects(u"key"_s);
        session->answerNext(FakeHttpSession::success(403, {}));
        QTRY_COMPARE(results, std::vector<ProjectsResult> { APIError::server });
        settle();
        QCOMPARE(effectiveKey(), u"key"_s);
        QCOMPARE(store->projects(), ProjectList { x });
        QVERIFY(events.isEmpty());
    }

    void dropsAnAnswerThatComesAfterItsEnd()
    {
        storeSecret("key");
        requestProjects(u"key"_s);
        store->fetchProjects(u"key"_s);
        store.reset();
        session->answer(0, FakeHttpSession::success(401, {}));
        session->answer(1, FakeHttpSession::success(200, R"([{"id":"1","name":"a"}])"));
        settle();
        QVERIFY(results.empty());
        QCOMPARE(secretItems->items.size(), std::size_t(1));
    }

    // Fetching

    void appliesAndReportsAFetchedList()
    {
        store->onAuthorized = [this] { events << QString::fromUtf8(output); };
        store->fetchProjects(u"sk_secret"_s);
        session->answerNext(
            FakeHttpSession::success(200, R"([{"id":"2","name":"b"},{"id":"1","name":"a"}])"));
        QTRY_COMPARE(idsOf(store->projects()), QStringList({ u"1"_s, u"2"_s }));
        QCOMPARE(output, QByteArray("Loaded 2 projects from API\n"));
        QCOMPARE(events, QStringList { u""_s });
    }

    void changesNothingOnAnEmptyListOrAFailure_data()
    {
        QTest::addColumn<HttpOutcome>("outcome");
        QTest::newRow("empty") << FakeHttpSession::success(200, "[]");
        QTest::newRow("server") << FakeHttpSession::success(500, "[]");
        QTest::newRow("offline") << FakeHttpSession::failure(TransportErrorCode::timedOut);
    }

    void changesNothingOnAnEmptyListOrAFailure()
    {
        QFETCH(const HttpOutcome, outcome);
        store->applyFetchedProjects({ x });
        store->onAuthorized = [this] { events << u"authorized"_s; };
        CapturedOutput standardError(stderr);
        store->fetchProjects(u"sk"_s);
        session->answerNext(outcome);
        settle();
        QCOMPARE(store->projects(), ProjectList { x });
        QVERIFY(events.isEmpty());
        QCOMPARE(output + standardError.text(), QByteArray());
    }

    void dropsTheAnswerToAFormerKey_data()
    {
        QTest::addColumn<HttpOutcome>("outcome");
        QTest::newRow("rejected") << FakeHttpSession::success(401, {});
        QTest::newRow("projects") << FakeHttpSession::success(200, R"([{"id":"1","name":"a"}])");
    }

    void dropsTheAnswerToAFormerKey()
    {
        QFETCH(const HttpOutcome, outcome);
        store->onUnauthorized = [this] { events << u"signed out"_s; };
        store->fetchProjects(u"former"_s);
        store->fetchProjects(u"former"_s, ProjectStore::Arrival::late);
        storeSecret("new");
        store->abandonFetches();
        store->applyFetchedProjects({ x });
        session->answer(0, outcome);
        session->answer(1, outcome);
        settle();
        QCOMPARE(effectiveKey(), u"new"_s);
        QCOMPARE(store->projects(), ProjectList { x });
        QCOMPARE(output, QByteArray());
        QVERIFY(events.isEmpty());
    }

    void fillsNoListAfterASignOut()
    {
        store->fetchProjects(u"former"_s);
        store->handleUnauthorized();
        session->answerNext(FakeHttpSession::success(200, R"([{"id":"1","name":"a"}])"));
        settle();
        QVERIFY(store->projects().empty());
    }

    void signsOutWhenTheKeyOfNowIsRejectedLate()
    {
        storeSecret("new");
        store->abandonFetches();
        store->applyFetchedProjects({ x });
        store->fetchProjects(u"new"_s, ProjectStore::Arrival::late);
        session->answerNext(FakeHttpSession::success(401, {}));
        settle();
        QCOMPARE(effectiveKey(), std::nullopt);
        QVERIFY(store->projects().empty());
    }

    void readsTheKeyAnewThatWasReplacedMeanwhile_data()
    {
        QTest::addColumn<bool>("waits");
        QTest::newRow("as it is") << false;
        QTest::newRow("once the store answers") << true;
    }

    void readsTheKeyAnewThatWasReplacedMeanwhile()
    {
        QFETCH(const bool, waits);
        secretItems->slow = true;
        std::vector<std::optional<QString>> received;
        const auto receive = [&received](const KeyResult& key) { received.push_back(keyIn(key)); };
        storeSecret("former");
        if (waits)
            store->apiKeyWhenAnswered(receive);
        else
            store->apiKey(receive);
        store->abandonFetches();
        QVERIFY(secretItems->answerLate());
        QVERIFY(received.empty());
        secretItems->items.front().second = "new";
        QVERIFY(secretItems->answerLate());
        QCOMPARE(received, std::vector { std::optional(u"new"_s) });
    }

    void leavesTheFetchGuardToItsOwner()
    {
        QVERIFY(!store->didAttemptFetch);
        store->fetchProjects(u"sk"_s);
        QVERIFY(!store->didAttemptFetch);
    }

    // Signing out

    void forgetsTheAccountInOrder()
    {
        storeSecret("key");
        preferences->setText(baseURLKey, u"https://h.example"_s);
        store->applyFetchedProjects({ x, y });
        store->recordUse(y);
        store->didAttemptFetch = true;
        preferences->changes.clear();
        secretItems->calls.clear();

        store->handleUnauthorized();
        QCOMPARE(secretItems->calls, QStringList { u"remove"_s });
        QCOMPARE(preferences->changes,
                 QStringList({ u"remove "_s + projectsKey, u"remove "_s + lastUsedKey }));
        QVERIFY(store->projects().empty());
        QCOMPARE(effectiveKey(), std::nullopt);
        QCOMPARE(store->preferredProject({ x, y }), x);
        QCOMPARE(store->apiBaseURL(), QUrl(u"https://h.example"_s));
        QVERIFY(store->didAttemptFetch);
    }

    void fallsBackToTheEnvironmentsKeyAfterSigningOut()
    {
        storeSecret("key");
        environment.insert(u"QUIBEL_API_KEY"_s, u"e"_s);
        startNewRun();
        store->handleUnauthorized();
        QCOMPARE(effectiveKey(), u"e"_s);
    }

    void reportsASignOutInALaterTurn()
    {
        store->handleUnauthorized();
        store->onUnauthorized = [this] { events << u"callback"_s; };
        QVERIFY(events.isEmpty());
        QTRY_COMPARE(events, QStringList { u"callback"_s });
    }

    void signsOutWithoutACallback()
    {
        store->handleUnauthorized();
        settle();
        QVERIFY(store->projects().empty());
    }

    void reportsNoSignOutAfterItsEnd()
    {
        store->onUnauthorized = [this] { events << u"callback"_s; };
        store->handleUnauthorized();
        store.reset();
        settle();
        QVERIFY(events.isEmpty());
    }

private:
    void startNewRun()
    {
        results.clear();
        events.clear();
        output.clear();
        store = std::make_unique<ProjectStore>(ProjectStore::Surroundings {
            .defaults = *preferences,
            .secretItems = *secretItems,
            .session = *session,
            .environment = environment,
            .standardOutput = [this](const QByteArray& text) { output += text; } });
    }

    void storeSecret(const QByteArray& bytes)
    {
        secretItems->items.emplace_back(
            SecretIdentity { .service = u"QuibelDesktop"_s, .account = u"apiKey"_s }, bytes);
    }

    [[nodiscard]] std::optional<QString> effectiveKey() const
    {
        std::optional<QString> effective;
        store->apiKey([&effective](const KeyResult& key) { effective = keyIn(key); });
        return effective;
    }

    void requestProjects(const QString& key)
    {
        store->requestProjects(key,
                               [this](const ProjectsResult& result) { results.push_back(result); });
    }

    /// Runs everything that is queued, and what that queues in turn.
    void settle()
    {
        for (int turn = 0; turn < 3; ++turn)
            QCoreApplication::processEvents();
    }

    std::optional<FakePreferences> preferences;
    std::optional<FakeSecretItems> secretItems;
    std::optional<FakeHttpSession> session;
    QByteArray output;
    QProcessEnvironment environment;
    std::unique_ptr<ProjectStore> store;
    std::vector<ProjectsResult> results;
    QStringList events;
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::ProjectStoreTest)
#include "ProjectStoreTest.moc"
