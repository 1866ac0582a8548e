#include "doctor/DesktopChecks.h"
#include "doctor/Doctor.h"
#include "tests/fakes/FakePlatform.h"

#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace quibel {

class DoctorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        desktop = std::make_unique<FakePlatform>();
        desktop->statusArea.kind = StatusAreaKind::embedding;
        const SecretIdentity identity { .service = u"QuibelDesktop"_s, .account = u"apiKey"_s };
        desktop->secretItems.items.emplace_back(identity, "sk_hush");
        desktop->preferences.values.insert(u"quibel.apiBaseURL"_s, u"https://a.test"_s);
        desktop->screens.mainScreen = Screen { .displayID = 5,
                                               .frame = { 0, 0, 100, 80 },
                                               .visibleFrame = {},
                                               .pixelFrame = { 0, 0, 100, 80 } };
        desktop->screenCapture.content
            = ShareableContent { .windows = {}, .displays = { { .id = 5, .size = { 100, 80 } } } };
        QImage image(100, 80, QImage::Format_RGB32);
        image.fill(Qt::red);
        desktop->screenCapture.displayImage = image;
        hasDisplay = true;
    }

    void findsAllWell()
    {
        const auto diagnosis = examine([&] { answer(200, "[]"); });
        QStringList names;
        for (const Check& check : diagnosis) {
            names << check.name;
            QVERIFY2(check.finding.verdict == Verdict::fine, qPrintable(check.name));
        }
        const QStringList expected { u"display"_s,       u"hotKey"_s,      u"tray"_s,
                                     u"secretService"_s, u"preferences"_s, u"service"_s,
                                     u"screenCapture"_s };
        QCOMPARE(names, expected);
        QVERIFY(isHealthy(diagnosis));
    }

    void asksForTheProjectsWithTheStoredKey()
    {
        static_cast<void>(examine([&] { answer(200, "[]"); }));
        QCOMPARE(desktop->session.requests.size(), 1U);
        const HttpRequest& request = desktop->session.requests.front();
        QCOMPARE(request.method, QByteArray("GET"));
        QCOMPARE(request.url, QUrl(u"https://a.test/api/projects"_s));
        QCOMPARE(request.headers.size(), 1U);
        QCOMPARE(request.headers.front().second, QByteArray("Bearer sk_hush"));
    }

    void sendsNoKeyWhenThereIsNone()
    {
        desktop->secretItems.items.clear();
        const auto diagnosis = examine([&] { answer(401, {}); });
        QVERIFY(desktop->session.requests.front().headers.empty());
        QCOMPARE(finding(diagnosis, u"service"_s).verdict, Verdict::fine);
        QCOMPARE(finding(diagnosis, u"secretService"_s).verdict, Verdict::failure);
        QVERIFY(!isHealthy(diagnosis));
    }

    void asksWithTheKeyOfTheEnvironmentWhenNoneIsStored()
    {
        desktop->secretItems.items.front().second = "";
        desktop->environment.insert(u"QUIBEL_API_KEY"_s, u"sk_env"_s);
        const auto diagnosis = examine([&] { answer(200, "[]"); });
        QCOMPARE(desktop->session.requests.front().headers.front().second,
                 QByteArray("Bearer sk_env"));
        QCOMPARE(finding(diagnosis, u"service"_s).verdict, Verdict::fine);
        const Finding secrets = finding(diagnosis, u"secretService"_s);
        QCOMPARE(secrets.verdict, Verdict::failure);
        QVERIFY(secrets.details.value(u"keyInEnvironment"_s).toBool());
    }

    void keepsAKeyThatTheServiceRejects()
    {
        const auto diagnosis = examine([&] { answer(401, {}); });
        QCOMPARE(finding(diagnosis, u"service"_s).verdict, Verdict::failure);
        QCOMPARE(desktop->secretItems.items.size(), 1U);
        QCOMPARE(desktop->secretItems.calls, QStringList { u"copyMatching"_s });
        QCOMPARE(desktop->preferences.changes, QStringList());
    }

    void tellsTheKeyNowhere()
    {
        const auto diagnosis = examine([&] { answer(401, {}); });
        for (const Check& check : diagnosis) {
            QVERIFY(!check.finding.text.contains(u"sk_hush"_s));
            QVERIFY(!check.finding.advice.contains(u"sk_hush"_s));
            QVERIFY(!QJsonDocument(check.finding.details).toJson().contains("sk_hush"));
        }
    }

    void doesNotAskAnAbsentStoreForTheKey()
    {
        desktop->secretItems.available = false;
        const auto diagnosis = examine([&] { answer(401, {}); });
        QCOMPARE(desktop->secretItems.calls, QStringList());
        QCOMPARE(finding(diagnosis, u"secretService"_s).verdict, Verdict::failure);
    }

    void asksTheServiceWithoutAKeyThatDoesNotCome()
    {
        desktop->secretItems.slow = true;
        const auto diagnosis = examine([&] { answer(401, {}); }, 300ms);
        QCOMPARE(desktop->secretItems.holds.size(), 1U);
        QVERIFY(desktop->secretItems.holds.front() <= 1s);
        QVERIFY(desktop->session.requests.front().headers.empty());
        QCOMPARE(finding(diagnosis, u"service"_s).verdict, Verdict::fine);
        const Finding secrets = finding(diagnosis, u"secretService"_s);
        QCOMPARE(secrets.verdict, Verdict::failure);
        QCOMPARE(secrets.text, u"no answer in time"_s);
    }

    void takesAKeyThatComesLate()
    {
        desktop->secretItems.slow = true;
        const auto diagnosis = examine([&] {
            answer(401, {});
            QVERIFY(desktop->secretItems.answerLate());
        });
        QCOMPARE(finding(diagnosis, u"secretService"_s).verdict, Verdict::fine);
        QVERIFY(isHealthy(diagnosis));
    }

    void takesAKeyThatIsNotTextForNone()
    {
        desktop->secretItems.items.front().second = "sk_\xff";
        const auto diagnosis = examine([&] { answer(401, {}); });
        QVERIFY(desktop->session.requests.front().headers.empty());
        QCOMPARE(finding(diagnosis, u"secretService"_s).verdict, Verdict::failure);
    }

    void registersNoHotKey()
    {
        desktop->hotKeys.available = HotKeyAvailability::taken;
        const auto diagnosis = examine([&] { answer(200, "[]"); });
        QCOMPARE(desktop->hotKeys.calls, QStringList());
        QCOMPARE(desktop->hotKeys.tried, std::optional(superN));
        QCOMPARE(finding(diagnosis, u"hotKey"_s).verdict, Verdict::failure);
    }

    void isHealthyWithoutATray()
    {
        desktop->statusArea.kind = StatusAreaKind::none;
        const auto diagnosis = examine([&] { answer(200, "[]"); });
        QCOMPARE(finding(diagnosis, u"tray"_s).verdict, Verdict::warning);
        QVERIFY(isHealthy(diagnosis));
    }

    void examinesWhatThereIsWithoutADisplay()
    {
        hasDisplay = false;
        const auto diagnosis = examine([&] { answer(200, "[]"); });
        QCOMPARE(finding(diagnosis, u"display"_s).verdict, Verdict::failure);
        QCOMPARE(finding(diagnosis, u"hotKey"_s), needsDisplay(Verdict::failure));
        QCOMPARE(finding(diagnosis, u"tray"_s), needsDisplay(Verdict::warning));
        QCOMPARE(finding(diagnosis, u"screenCapture"_s), needsDisplay(Verdict::failure));
        QCOMPARE(finding(diagnosis, u"service"_s).verdict, Verdict::fine);
    }

    void saysItOnceWhenTheTimeIsOverLater()
    {
        int times = 0;
        Doctor doctor(patient());
        doctor.examine(QDeadlineTimer(200ms), [&](const Diagnosis&) { ++times; });
        answer(200, "[]");
        QTRY_COMPARE(times, 1);
        QTimer later;
        QSignalSpy isLater(&later, &QTimer::timeout);
        later.start(400ms);
        QVERIFY(isLater.wait());
        QCOMPARE(times, 1);
    }

    void endsInTimeWhenNobodyAnswers()
    {
        desktop->statusArea.answers = false;
        desktop->screenCapture.displayImage.reset();
        const auto diagnosis = examine([] {}, 50ms);
        QCOMPARE(finding(diagnosis, u"tray"_s).verdict, Verdict::warning);
        QVERIFY(finding(diagnosis, u"tray"_s).text.contains(u"no answer in time"_s));
        QCOMPARE(finding(diagnosis, u"screenCapture"_s).verdict, Verdict::failure);
        const Finding service = finding(diagnosis, u"service"_s);
        QCOMPARE(service.verdict, Verdict::failure);
        QVERIFY(service.text.startsWith(u"https://a.test (from the preference"_s));
        QVERIFY(service.text.endsWith(u"no answer in time"_s));
        QCOMPARE(finding(diagnosis, u"preferences"_s).verdict, Verdict::fine);
    }

private:
    [[nodiscard]] Patient patient()
    {
        const PreferencesFacts file {
            .path = u"/p"_s, .exists = true, .damage = {}, .canBeWritten = true
        };
        Patient made { .display = {},
                       .sessionBus = { .state = SessionBusFacts::State::answers },
                       .preferencesFile = file,
                       .preferences = desktop->preferences,
                       .secretItems = desktop->secretItems,
                       .session = desktop->session,
                       .environment = desktop->environment };
        if (hasDisplay)
            made.display.emplace(Patient::Display { .facts = { .server = u"X11"_s,
                                                               .windowManager = u"Openbox"_s,
                                                               .keepsCoveredWindows = true },
                                                    .hotKey = { .key = superN },
                                                    .hotKeyBindings = {},
                                                    .hotKeys = desktop->hotKeys,
                                                    .statusArea = desktop->statusArea,
                                                    .workspace = desktop->workspace,
                                                    .screens = desktop->screens,
                                                    .screenCapture = desktop->screenCapture });
        return made;
    }

    void answer(int status, const QByteArray& body)
    {
        desktop->session.answerNext(FakeHttpSession::success(status, body));
    }

    /// `service` answers the request, or does not.
    [[nodiscard]] Diagnosis examine(const std::function<void()>& service,
                                    std::chrono::milliseconds patience = 60s)
    {
        std::vector<Diagnosis> told;
        Doctor doctor(patient());
        doctor.examine(QDeadlineTimer(patience),
                       [&](const Diagnosis& diagnosis) { told.push_back(diagnosis); });
        service();
        [&] { QTRY_VERIFY(!told.empty()); }();
        QCoreApplication::processEvents();
        return told.size() == 1 ? told.front() : Diagnosis();
    }

    [[nodiscard]] static Finding finding(const Diagnosis& diagnosis, const QString& name)
    {
        const auto check = std::ranges::find(diagnosis, name, &Check::name);
        return check == diagnosis.end() ? Finding { .text = u"missing"_s } : check->finding;
    }

    static constexpr QKeyCombination superN = Qt::META | Qt::Key_N;

    std::unique_ptr<FakePlatform> desktop;
    bool hasDisplay = true;
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::DoctorTest)
#include "DoctorTest.moc"
