#include "tests/system/AgentFootprint.h"
#include "tests/system/DesktopTest.h"
#include "tests/system/RandomUser.h"

#include <QCommandLineParser>
#include <QTest>

#include <chrono>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

constexpr int stepsBetweenRests = 25;
constexpr int warmUpSteps = 100;
constexpr std::chrono::seconds longestStep { 5 };

QString windowManager()
{
    return qEnvironmentVariable("QUIBEL_TEST_WINDOW_MANAGER", u"openbox"_s);
}

} // namespace

/// Runs under the window manager that QUIBEL_TEST_WINDOW_MANAGER names.
class RandomUseTest : public DesktopTest
{
    Q_OBJECT

public:
    struct Plan
    {
        int steps = 300;
        std::uint32_t seed = 1;
    };

    RandomUseTest(VirtualDesktop& privateDesktop, const Plan& what)
        : DesktopTest(privateDesktop)
        , plan(what)
    {
    }

private:
    [[nodiscard]] QByteArray failure(const RandomUser& user, const AgentSession& session) const
    {
        const QStringList last = user.diary().last(std::min<qsizetype>(10, user.diary().size()));
        return (user.complaints().join(u'\n') + u"\nLast steps:\n"_s + last.join(u'\n')
                + u"\nRepeat with: QUIBEL_TEST_WINDOW_MANAGER=%1 scripts/random-use --seed %2 --steps %3\n"_s
                      .arg(windowManager())
                      .arg(plan.seed)
                      .arg(plan.steps))
                   .toUtf8()
            + session.errors();
    }

private Q_SLOTS:
    void nothingIsLostMixedUpOrLeftBehind()
    {
        qInfo("seed %u, %d steps", plan.seed, plan.steps);
        AgentSession session(desktop);
        QVERIFY(session.storeKey());
        QProcessEnvironment sparing;
        // Hand freed memory back, so that only what is still held counts.
        sparing.insert(u"ASAN_OPTIONS"_s,
                       u"quarantine_size_mb=1:thread_local_quarantine_size_kb=64"_s);
        QVERIFY(session.launch(sparing));
        QTRY_VERIFY(session.output().contains("Loaded 2 projects from API\n"));
        RandomUser user(desktop, session, plan.seed);
        QVERIFY(user.begin());
        std::optional<AgentFootprint> before;
        for (int step = 1; step <= plan.steps; ++step) {
            QVERIFY2(user.step(), failure(user, session));
            if (step % stepsBetweenRests != 0)
                continue;
            QVERIFY2(user.rest(), failure(user, session));
            const auto now = AgentFootprint::of(session.processId());
            QVERIFY(now);
            qInfo("step %d: %s", step, qPrintable(now->text()));
            if (!before && step >= warmUpSteps)
                before = now;
        }
        QVERIFY2(user.rest(), failure(user, session));
        QString growth;
        const auto hasNotGrown = [&] {
            const auto now = AgentFootprint::of(session.processId());
            growth
                = now && before ? now->growthSince(*before, plan.steps - warmUpSteps) : QString();
            return growth.isEmpty();
        };
        QVERIFY2(QTest::qWaitFor(hasNotGrown, 20'000), qPrintable(growth));
    }

private:
    Plan plan;
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    using namespace quibel::testing;

    VirtualDesktop desktop({ .windowManager = windowManager(), .keyRing = true });
    if (!desktop.start())
        return 1;
    desktop.enter();
    const QApplication application(argc, argv);
    RandomUseTest::Plan plan;
    QCommandLineParser parser;
    parser.addOptions({ { u"steps"_s, {}, u"count"_s, QString::number(plan.steps) },
                        { u"seed"_s, {}, u"number"_s, QString::number(plan.seed) } });
    parser.process(application);
    plan = { .steps = parser.value(u"steps"_s).toInt(), .seed = parser.value(u"seed"_s).toUInt() };
    // Else the toolkit ends any test function after five minutes.
    const auto patience
        = std::chrono::milliseconds(std::chrono::minutes(5)) + plan.steps * longestStep;
    qputenv("QTEST_FUNCTION_TIMEOUT", QByteArray::number(patience.count()));
    RandomUseTest test(desktop, plan);
    return QTest::qExec(&test, { QCoreApplication::applicationFilePath() });
}

#include "RandomUseTest.moc"
