#include "account/ProjectStore.h"
#include "tests/fakes/FakeHttpSession.h"
#include "tests/fakes/FakePanelWindows.h"
#include "tests/fakes/FakePreferences.h"
#include "tests/fakes/FakeScreens.h"
#include "tests/fakes/FakeSecretItems.h"
#include "ui/CapturePanelController.h"

#include <QApplication>
#include <QKeyEvent>
#include <QWindow>

#include <benchmark/benchmark.h>

using namespace Qt::StringLiterals;

namespace {

using namespace quibel;

QString nameOf(qint64 number)
{
    constexpr qint64 prime = 7919;
    constexpr qint64 modulus = 1'000'003;
    return u"Project %1"_s.arg(number * prime % modulus);
}

QByteArray answerOf(qint64 count)
{
    QByteArray json = "[";
    for (qint64 i = 0; i < count; ++i)
        json += (i > 0 ? "," : "")
            + u"{\"id\":\"p%1\",\"name\":\"%2\"}"_s.arg(i).arg(nameOf(i)).toUtf8();
    return json + "]";
}

ProjectList listOf(qint64 count)
{
    ProjectList list;
    for (qint64 i = 0; i < count; ++i)
        list.push_back({ .id = u"p%1"_s.arg(i), .name = nameOf(i) });
    return list;
}

struct Account
{
    FakePreferences preferences;
    FakeSecretItems secretItems;
    FakeHttpSession session;
    ProjectStore store { { .defaults = preferences,
                           .secretItems = secretItems,
                           .session = session,
                           .environment = {},
                           .standardOutput = [](const QByteArray&) {} } };
};

/// From the answer of the service to the list that the panel offers.
void readAnswer(benchmark::State& state)
{
    Account account;
    const QByteArray body = answerOf(state.range(0));
    std::size_t read = 0;
    while (state.KeepRunning()) {
        account.store.requestProjects(u"key"_s, [&](const ProjectsResult& result) {
            read = std::get<ProjectList>(result).size();
        });
        account.session.answerNext(FakeHttpSession::success(200, body));
        QCoreApplication::processEvents();
    }
    if (read != static_cast<std::size_t>(state.range(0)))
        state.SkipWithError("the answer was not read");
    state.SetComplexityN(state.range(0));
}

void sortProjects(benchmark::State& state)
{
    Account account;
    const ProjectList list = listOf(state.range(0));
    while (state.KeepRunning())
        account.store.applyFetchedProjects(list);
    state.SetComplexityN(state.range(0));
}

/// The panel as a hot key opens it, but for the window system.
class Opened
{
public:
    explicit Opened(qint64 count)
    {
        account.store.applyFetchedProjects(listOf(count));
        // The farthest that the search for the project used last has to go.
        account.store.recordUse(account.store.projects().constLast());
        const QRect whole(0, 0, 1280, 800);
        screens.screens
            = { { .displayID = {}, .frame = whole, .visibleFrame = whole, .pixelFrame = whole } };
        controller.prepare();
    }

    void open()
    {
        const ProjectList projects = account.store.projects();
        const auto preferred = account.store.preferredProject(projects);
        controller.show({ .projects = projects,
                          .preferredProjectID = preferred->id,
                          .showSyncWarning = false,
                          .screenshotMode = ScreenshotMode::off,
                          .onScreenshotModeChanged = [](ScreenshotMode) {},
                          .onSubmit = [](const QString&, const Project&, ScreenshotMode) {},
                          .onCancel = [] {} });
        QCoreApplication::processEvents();
    }

    void close() { controller.close(); }

    void pressDown() const
    {
        QKeyEvent press(QEvent::KeyPress, Qt::Key_Down, Qt::NoModifier);
        QCoreApplication::sendEvent(windows.panel, &press);
    }

private:
    Account account;
    FakeScreens screens;
    FakePanelWindows windows;
    CapturePanelController controller { windows, screens };
};

void openPanel(benchmark::State& state)
{
    Opened panel(state.range(0));
    while (state.KeepRunning()) {
        panel.open();
        state.PauseTiming();
        panel.close();
        QCoreApplication::processEvents();
        state.ResumeTiming();
    }
    state.SetComplexityN(state.range(0));
}

void pressArrowKey(benchmark::State& state)
{
    Opened panel(state.range(0));
    panel.open();
    while (state.KeepRunning())
        panel.pressDown();
    state.SetComplexityN(state.range(0));
}

void everyLength(benchmark::internal::Benchmark* each)
{
    each->Arg(10)->Arg(1'000)->Arg(100'000)->Unit(benchmark::kMillisecond)->MinTime(0.2);
}

} // namespace

BENCHMARK(readAnswer)->Apply(everyLength);
BENCHMARK(sortProjects)->Apply(everyLength);
BENCHMARK(openPanel)->Apply(everyLength);
BENCHMARK(pressArrowKey)->Apply(everyLength);

int main(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
