#include "ui/CapturePanelState.h"

#include <QTest>

#include <csignal>
#include <limits>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

ProjectList makeProjects(int count)
{
    ProjectList projects;
    projects.reserve(count);
    for (int i = 0; i < count; ++i)
        projects.push_back({ .id = QString::number(i), .name = u"Project %1"_s.arg(i) });
    return projects;
}

CapturePanelState makeState(int count, qsizetype index)
{
    return { makeProjects(count), index, false, ScreenshotMode::off };
}

/// Whether `action` ends its process by an abort; it runs in a process of its own.
bool aborts(const std::function<void()>& action)
{
    const pid_t child = fork();
    if (child == 0) {
        const rlimit noCore { .rlim_cur = 0, .rlim_max = 0 };
        setrlimit(RLIMIT_CORE, &noCore);
        static_cast<void>(std::signal(SIGABRT, SIG_DFL));
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
        action();
        _exit(0);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFSIGNALED(status)
        && WTERMSIG(status) == SIGABRT;
}

} // namespace

class CapturePanelStateTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startsWithWhatItIsGiven()
    {
        const CapturePanelState state(makeProjects(2), 1, true, ScreenshotMode::on);
        QCOMPARE(state.projects(), makeProjects(2));
        QCOMPARE(state.selectedIndex(), 1);
        QVERIFY(state.showSyncWarning());
        QCOMPARE(state.screenshotMode(), ScreenshotMode::on);
    }

    void selectsTheNearestProjectForAnyIndex_data()
    {
        QTest::addColumn<qsizetype>("index");
        QTest::addColumn<int>("selected");
        QTest::newRow("first") << qsizetype(0) << 0;
        QTest::newRow("last") << qsizetype(2) << 2;
        QTest::newRow("just beyond") << qsizetype(3) << 2;
        QTest::newRow("far beyond") << qsizetype(7) << 2;
        QTest::newRow("below") << qsizetype(-4) << 0;
        QTest::newRow("largest") << std::numeric_limits<qsizetype>::max() << 2;
        QTest::newRow("smallest") << std::numeric_limits<qsizetype>::min() << 0;
    }

    void selectsTheNearestProjectForAnyIndex()
    {
        QFETCH(const qsizetype, index);
        QFETCH(const int, selected);
        const CapturePanelState state = makeState(3, index);
        QCOMPARE(state.selectedProject(), makeProjects(3)[static_cast<std::size_t>(selected)]);
        QCOMPARE(state.selectedIndex(), index);
    }

    void hasNoSelectedProjectWithoutProjects()
    {
        for (const qsizetype index : { -1, 0, 1 }) {
            const CapturePanelState state = makeState(0, index);
            QCOMPARE(state.selectedProject(), std::nullopt);
        }
    }

    void wrapsRoundWithARemainderThatFollowsTheDividend_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<qsizetype>("index");
        QTest::addColumn<qsizetype>("next");
        QTest::addColumn<qsizetype>("previous");
        const auto row = [](int count, qsizetype index, qsizetype next, qsizetype previous) {
            QTest::addRow("%d of %d", static_cast<int>(index), count)
                << count << index << next << previous;
        };
        row(3, 0, 1, 2);
        row(3, 1, 2, 0);
        row(3, 2, 0, 1);
        row(1, 0, 0, 0);
        row(2, 1, 0, 0);
        row(3, 7, 2, 0);
        row(3, -1, 0, 1);
        row(3, -2, -1, 0);
        row(3, -4, 0, -2);
        row(0, 5, 5, 5);
        row(0, 0, 0, 0);
    }

    void wrapsRoundWithARemainderThatFollowsTheDividend()
    {
        QFETCH(const int, count);
        QFETCH(const qsizetype, index);
        QFETCH(const qsizetype, next);
        QFETCH(const qsizetype, previous);
        CapturePanelState forward = makeState(count, index);
        forward.selectNext();
        QCOMPARE(forward.selectedIndex(), next);
        CapturePanelState backward = makeState(count, index);
        backward.selectPrevious();
        QCOMPARE(backward.selectedIndex(), previous);
    }

    void endsTheProgramWhenTheIndexOverflows()
    {
        CapturePanelState last = makeState(2, std::numeric_limits<qsizetype>::max());
        QVERIFY(aborts([&last] { last.selectNext(); }));
        CapturePanelState first = makeState(2, std::numeric_limits<qsizetype>::min());
        QVERIFY(aborts([&first] { first.selectPrevious(); }));
        CapturePanelState beforeLast = makeState(2, std::numeric_limits<qsizetype>::max() - 1);
        QVERIFY(!aborts([&beforeLast] { beforeLast.selectNext(); }));
        QVERIFY(!aborts([&last] {
            last.setProjects({});
            last.selectNext();
        }));
    }

    void tellsOfEveryAssignmentBeforeTheChange()
    {
        CapturePanelState state = makeState(2, 0);
        int published = 0;
        const auto seen = [&state] {
            return std::tuple(state.projects().size(),
                              state.selectedIndex(),
                              state.showSyncWarning(),
                              state.screenshotMode());
        };
        auto before = seen();
        connect(&state, &CapturePanelState::willChange, this, [&] {
            ++published;
            before = seen();
        });

        const auto start = seen();
        state.setProjects(makeProjects(3));
        QCOMPARE(published, 1);
        QCOMPARE(before, start);
        QCOMPARE(state.projects().size(), 3);

        const auto withProjects = seen();
        state.setSelectedIndex(2);
        QCOMPARE(published, 2);
        QCOMPARE(before, withProjects);
        QCOMPARE(state.selectedIndex(), 2);

        const auto withIndex = seen();
        state.setShowSyncWarning(true);
        QCOMPARE(published, 3);
        QCOMPARE(before, withIndex);
        QVERIFY(state.showSyncWarning());

        const auto withWarning = seen();
        state.setScreenshotMode(ScreenshotMode::on);
        QCOMPARE(published, 4);
        QCOMPARE(before, withWarning);
        QCOMPARE(state.screenshotMode(), ScreenshotMode::on);
    }

    void tellsOfAssignmentsOfAnEqualValueToo()
    {
        CapturePanelState state = makeState(1, 0);
        int published = 0;
        connect(&state, &CapturePanelState::willChange, this, [&published] { ++published; });
        state.setProjects(makeProjects(1));
        state.setSelectedIndex(0);
        state.setShowSyncWarning(false);
        state.setScreenshotMode(ScreenshotMode::off);
        QCOMPARE(published, 4);
        state.selectNext();
        state.selectPrevious();
        QCOMPARE(published, 6);
    }

    void tellsNothingWhenThereIsNothingToSelect()
    {
        CapturePanelState state = makeState(0, 0);
        int published = 0;
        connect(&state, &CapturePanelState::willChange, this, [&published] { ++published; });
        state.selectNext();
        state.selectPrevious();
        QCOMPARE(published, 0);
    }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::CapturePanelStateTest)
#include "CapturePanelStateTest.moc"
