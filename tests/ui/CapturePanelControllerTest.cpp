#include "tests/fakes/FakePanelWindows.h"
#include "tests/fakes/FakeScreens.h"
#include "ui/CapturePanelController.h"

#include <QAbstractAnimation>
#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPointer>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTest>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

const ProjectList threeProjects { { .id = u"a"_s, .name = u"Alpha"_s },
                                  { .id = u"b"_s, .name = u"Beta"_s },
                                  { .id = u"c"_s, .name = u"Gamma"_s } };

Screen makeScreen(const QRect& frame, const QRect& visibleFrame)
{
    return { .displayID = {}, .frame = frame, .visibleFrame = visibleFrame, .pixelFrame = frame };
}

/// One key press, followed by its release, as a window system sends it to a window.
void press(QWindow* window, Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    QTest::keyClick(window, key, modifiers);
}

/// Counts the keys that its monitor is given.
class CountingController : public CapturePanelController
{
public:
    using CapturePanelController::CapturePanelController;

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::KeyPress)
            ++deliveries;
        return CapturePanelController::eventFilter(watched, event);
    }

    int deliveries = 0;
};

} // namespace

/// A controller on a desktop of its own, and what its callbacks were told.
struct Bench
{
    FakePanelWindows windows;
    FakeScreens screens;
    CountingController controller { windows, screens };

    struct Submission
    {
        QString text;
        Project project;
        ScreenshotMode mode;

        bool operator==(const Submission&) const = default;
    };

    std::vector<Submission> submissions;
    std::vector<ScreenshotMode> modes;
    int cancellations = 0;
    bool shownWhenCancelled = false;

    Bench()
    {
        const Screen screen = makeScreen({ 0, 0, 1000, 800 }, { 0, 30, 1000, 720 });
        screens.screens = { screen };
        screens.mainScreen = screen;
        screens.pointer = { 500, 400 };
    }

    CapturePanelController::ShowRequest request()
    {
        return {
            .projects = threeProjects,
            .preferredProjectID = u"b"_s,
            .showSyncWarning = false,
            .screenshotMode = ScreenshotMode::off,
            .onScreenshotModeChanged = [this](ScreenshotMode mode) { modes.push_back(mode); },
            .onSubmit =
                [this](const QString& text, const Project& project, ScreenshotMode mode) {
                    submissions.push_back({ text, project, mode });
                },
            .onCancel =
                [this] {
                    ++cancellations;
                    shownWhenCancelled = windows.panel->isVisible();
                },
        };
    }

    /// Shows the panel and waits until it has the keyboard and its text field has the focus.
    void show(CapturePanelController::ShowRequest request)
    {
        controller.show(std::move(request));
        QVERIFY(QTest::qWaitForWindowActive(windows.panel));
        QTRY_VERIFY(field()->hasFocus());
    }

    void show() { show(request()); }

    [[nodiscard]] QWidget* panel() const
    {
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (widget->windowHandle() && widget->windowHandle() == windows.panel)
                return widget;
        return nullptr;
    }

    /// The content of the panel; a replaced one no longer counts.
    [[nodiscard]] CapturePanelView* view() const
    {
        for (auto* view : panel()->findChildren<CapturePanelView*>())
            if (!view->isHidden())
                return view;
        return nullptr;
    }

    [[nodiscard]] QLineEdit* field() const { return view()->findChild<QLineEdit*>(); }

    /// What Return hands on now.
    [[nodiscard]] Submission submit()
    {
        submissions.clear();
        press(windows.panel, Qt::Key_Return);
        return submissions.empty() ? Submission {} : submissions.back();
    }
};

class CapturePanelControllerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void buildsNothingBeforeItIsAsked()
    {
        const Bench bench;
        QCOMPARE(bench.windows.calls, QStringList());
    }

    void showsThePanelInOrder()
    {
        Bench bench;
        bench.show();
        QCOMPARE(bench.windows.calls,
                 QStringList({ u"prepare"_s, u"place"_s, u"makeKeyAndOrderFront"_s }));
        QCOMPARE(bench.windows.kind, PanelKind::capture);
        QVERIFY(bench.windows.panel->isVisible());
    }

    void keepsThePanelForTheNextShowing()
    {
        Bench bench;
        bench.show();
        const QPointer<QWindow> first = bench.windows.panel;
        bench.controller.close();
        bench.windows.calls.clear();
        bench.show();
        QVERIFY(first);
        QCOMPARE(bench.windows.panel, first);
        QCOMPARE(bench.windows.calls, QStringList({ u"place"_s, u"makeKeyAndOrderFront"_s }));
    }

    void buildsThePanelAheadOfTheFirstShowing()
    {
        Bench bench;
        bench.controller.prepare();
        QCOMPARE(bench.windows.calls, QStringList(u"prepare"_s));
        QVERIFY(bench.windows.panel->handle());
        QVERIFY(!bench.windows.panel->isVisible());
        QCOMPARE(bench.windows.panel->size(), QSize(320, 60));
        bench.show();
        QCOMPARE(bench.windows.calls,
                 QStringList({ u"prepare"_s, u"place"_s, u"makeKeyAndOrderFront"_s }));
    }

    void givesThePanelTheSizeOfItsContent()
    {
        Bench bench;
        bench.show();
        QCOMPARE(bench.panel()->width(), 484);
        QCOMPARE(bench.panel()->height(), bench.view()->sizeHint().height());
        QCOMPARE(bench.view()->geometry(), bench.panel()->rect());
        QCOMPARE(bench.panel()->minimumSize(), bench.panel()->maximumSize());
        QVERIFY(bench.panel()->windowFlags() & Qt::FramelessWindowHint);
    }

    void hasNoTitle()
    {
        Bench bench;
        bench.show();
        QCOMPARE(bench.panel()->windowTitle(), QString());
    }

    void selectsThePreferredProject_data()
    {
        QTest::addColumn<std::optional<QString>>("preferred");
        QTest::addColumn<QString>("selectedName");
        QTest::newRow("none") << std::optional<QString>() << u"Alpha"_s;
        QTest::newRow("third") << std::optional(u"c"_s) << u"Gamma"_s;
        QTest::newRow("unknown") << std::optional(u"z"_s) << u"Alpha"_s;
        QTest::newRow("other letter case") << std::optional(u"C"_s) << u"Alpha"_s;
        QTest::newRow("shared by two") << std::optional(u"d"_s) << u"Delta"_s;
    }

    void selectsThePreferredProject()
    {
        QFETCH(const std::optional<QString>, preferred);
        QFETCH(const QString, selectedName);
        Bench bench;
        auto request = bench.request();
        request.projects.push_back({ .id = u"d"_s, .name = u"Delta"_s });
        request.projects.push_back({ .id = u"d"_s, .name = u"Other delta"_s });
        request.preferredProjectID = preferred;
        bench.show(std::move(request));
        QCOMPARE(bench.submit().project.name, selectedName);
    }

    void startsEveryShowingAfresh()
    {
        Bench bench;
        bench.show();
        QTest::keyClicks(bench.field(), u"typed"_s);
        press(bench.windows.panel, Qt::Key_Down);
        press(bench.windows.panel, Qt::Key_Right);
        QCOMPARE(bench.submit(),
                 (Bench::Submission { u"typed"_s, threeProjects[2], ScreenshotMode::on }));
        bench.controller.close();

        auto request = bench.request();
        request.projects.insert(request.projects.begin(), { .id = u"n"_s, .name = u"New"_s });
        request.preferredProjectID.reset();
        request.showSyncWarning = true;
        bench.show(std::move(request));
        const auto* warning = bench.view()->findChildren<QLabel*>()[4];
        QCOMPARE(warning->text(), u"Offline — not syncing"_s);
        QVERIFY(warning->isVisible());
        QCOMPARE(
            bench.submit(),
            (Bench::Submission { u""_s, { .id = u"n"_s, .name = u"New"_s }, ScreenshotMode::off }));
    }

    void refillsItsStateInOrder()
    {
        Bench bench;
        bench.show();
        bench.controller.close();
        const CapturePanelState& state = *bench.controller.shownState();
        const auto filled = [&state] {
            return u"%1 projects, index %2, warning %3, %4"_s.arg(state.projects().size())
                .arg(state.selectedIndex())
                .arg(state.showSyncWarning() ? 1 : 0)
                .arg(rawValue(state.screenshotMode()));
        };
        QStringList steps;
        connect(&state, &CapturePanelState::willChange, this, [&] { steps << filled(); });
        auto request = bench.request();
        request.projects = { { .id = u"n"_s, .name = u"New"_s } };
        request.showSyncWarning = true;
        request.screenshotMode = ScreenshotMode::on;
        bench.show(request);
        steps << filled();
        QCOMPARE(steps,
                 QStringList({ u"3 projects, index 1, warning 0, off"_s,
                               u"1 projects, index 1, warning 0, off"_s,
                               u"1 projects, index 0, warning 0, off"_s,
                               u"1 projects, index 0, warning 1, off"_s,
                               u"1 projects, index 0, warning 1, on"_s }));
        steps.clear();
        bench.show(request);
        QCOMPARE(steps.size(), 4);
    }

    void focusesTheTextFieldInTheTurnAfterTheShowing()
    {
        Bench bench;
        bench.show();
        bench.controller.show(bench.request());
        QLineEdit other(bench.panel());
        other.show();
        other.setFocus();
        QVERIFY(other.hasFocus());
        QVERIFY(!bench.field()->hasFocus());
        QCoreApplication::processEvents();
        QVERIFY(bench.field()->hasFocus());
    }

    void showsTheListThatItIsGiven()
    {
        Bench bench;
        const ProjectList list { { .id = u"n"_s, .name = u"New"_s } };
        for (int showing = 0; showing < 2; ++showing) {
            auto request = bench.request();
            request.projects = list;
            bench.show(std::move(request));
            QVERIFY2(!list.isDetached(), "the panel made a list of its own");
        }
    }

    void placesThePanelOnThePointer_data()
    {
        QTest::addColumn<QPoint>("pointer");
        QTest::addColumn<Qt::Edges>("touched");
        QTest::newRow("middle") << QPoint(500, 400) << Qt::Edges();
        QTest::newRow("bottom left") << QPoint(0, 799) << (Qt::LeftEdge | Qt::BottomEdge);
        QTest::newRow("bottom right") << QPoint(999, 799) << (Qt::RightEdge | Qt::BottomEdge);
        QTest::newRow("top left") << QPoint(0, 0) << (Qt::LeftEdge | Qt::TopEdge);
        QTest::newRow("top right") << QPoint(999, 0) << (Qt::RightEdge | Qt::TopEdge);
        QTest::newRow("left") << QPoint(10, 400) << Qt::Edges(Qt::LeftEdge);
        QTest::newRow("bottom") << QPoint(500, 745) << Qt::Edges(Qt::BottomEdge);
    }

    void placesThePanelOnThePointer()
    {
        QFETCH(const QPoint, pointer);
        QFETCH(const Qt::Edges, touched);
        Bench bench;
        bench.screens.pointer = pointer;
        bench.show();
        const QRect panel(*bench.windows.origin, bench.panel()->size());
        const QRect visible = bench.screens.screens[0].visibleFrame;
        QVERIFY(visible.contains(panel));
        QCOMPARE(panel.left() == visible.left(), touched.testFlag(Qt::LeftEdge));
        QCOMPARE(panel.right() == visible.right(), touched.testFlag(Qt::RightEdge));
        QCOMPARE(panel.top() == visible.top(), touched.testFlag(Qt::TopEdge));
        QCOMPARE(panel.bottom() == visible.bottom(), touched.testFlag(Qt::BottomEdge));
        if (!(touched & (Qt::LeftEdge | Qt::RightEdge)))
            QCOMPARE(panel.left(), pointer.x() - panel.width() / 2);
        if (!(touched & (Qt::TopEdge | Qt::BottomEdge)))
            QVERIFY(qAbs(panel.top() + panel.height() / 2.0 - pointer.y()) <= 0.5);
    }

    void placesTheFrameOfAPanelThatFloats_data() { placesThePanelOnThePointer_data(); }

    void placesTheFrameOfAPanelThatFloats()
    {
        QFETCH(const QPoint, pointer);
        Bench square;
        square.screens.pointer = pointer;
        square.show();
        Bench floating;
        floating.screens.pointer = pointer;
        floating.windows.setTranslucent(true);
        floating.show();
        const QRect frame = *floating.windows.frame;
        QCOMPARE(*square.windows.frame, square.panel()->rect());
        QCOMPARE(frame.size(), square.panel()->size());
        QCOMPARE(floating.view()->geometry(), frame);
        QVERIFY(frame.left() > 0 && frame.top() > 0);
        QVERIFY(floating.panel()->rect().contains(frame.adjusted(-1, -1, 1, 1)));
        QCOMPARE(*floating.windows.origin + frame.topLeft(), *square.windows.origin);
    }

    void floatsAsLongAsWindowsAreTranslucent_data()
    {
        QTest::addColumn<bool>("shown");
        QTest::newRow("shown") << true;
        QTest::newRow("between two showings") << false;
    }

    void floatsAsLongAsWindowsAreTranslucent()
    {
        QFETCH(const bool, shown);
        Bench bench;
        bench.show();
        QTest::keyClicks(bench.field(), u"typed"_s);
        const QRect square(*bench.windows.origin, bench.panel()->size());
        for (const bool floating : { true, false, true }) {
            if (!shown)
                bench.controller.close();
            bench.windows.setTranslucent(floating);
            if (!shown)
                bench.show();
            QCOMPARE(bench.windows.frame->translated(*bench.windows.origin), square);
            QCOMPARE(bench.view()->geometry(), *bench.windows.frame);
            QCOMPARE(*bench.windows.frame == bench.panel()->rect(), !floating);
            QCOMPARE(bench.field()->text(), shown ? u"typed"_s : u""_s);
        }
    }

    void placesThePanelOnTheScreenOfThePointer()
    {
        Bench bench;
        bench.screens.screens.push_back(
            makeScreen({ 1000, -200, 1600, 900 }, { 1000, -200, 1600, 860 }));
        bench.screens.pointer = { 1800, 100 };
        bench.show();
        const QRect panel(*bench.windows.origin, bench.panel()->size());
        QCOMPARE(panel.left(), 1800 - panel.width() / 2);
        QVERIFY(qAbs(panel.top() + panel.height() / 2.0 - 100) <= 0.5);

        bench.screens.pointer = { 1000, 699 };
        bench.show();
        QCOMPARE(bench.windows.origin->x(), 1000);
        QCOMPARE(bench.windows.origin->y(), 660 - panel.height());
    }

    void prefersTheFirstOfTheScreensThatHoldThePointer()
    {
        Bench bench;
        bench.screens.screens = { makeScreen({ 0, 0, 1000, 800 }, { 0, 0, 1000, 800 }),
                                  makeScreen({ 0, 0, 1000, 800 }, { 600, 0, 400, 800 }) };
        bench.screens.pointer = { 500, 400 };
        bench.show();
        QCOMPARE(bench.windows.origin->x(), 500 - bench.panel()->width() / 2);
    }

    void centresThePanelOnTheMainScreenWhenNoScreenHoldsThePointer()
    {
        Bench bench;
        bench.screens.mainScreen = makeScreen({ 0, 0, 1000, 800 }, { 0, 40, 1000, 700 });
        bench.screens.pointer = { 5000, 5000 };
        bench.show();
        const QRect panel(*bench.windows.origin, bench.panel()->size());
        QCOMPARE(panel.left(), 500 - panel.width() / 2);
        QVERIFY(qAbs(panel.top() + panel.height() / 2.0 - 390) <= 0.5);
    }

    void leavesThePanelWhereItIsWithoutAScreen()
    {
        Bench bench;
        bench.screens.screens.clear();
        bench.screens.mainScreen.reset();
        bench.show();
        QCOMPARE(bench.windows.calls, QStringList({ u"prepare"_s, u"makeKeyAndOrderFront"_s }));
    }

    void keepsTheRightAndTheTopEdgeInSightOfASmallScreen()
    {
        Bench bench;
        bench.screens.screens = { makeScreen({ 0, 0, 200, 60 }, { 10, 20, 180, 30 }) };
        bench.screens.pointer = { 50, 30 };
        bench.show();
        const QRect panel(*bench.windows.origin, bench.panel()->size());
        QCOMPARE(panel.right(), 189);
        QCOMPARE(panel.top(), 20);
    }

    void choosesWithTheArrowKeys_data()
    {
        QTest::addColumn<Qt::LayoutDirection>("direction");
        QTest::newRow("left to right") << Qt::LeftToRight;
        QTest::newRow("mirrored") << Qt::RightToLeft;
    }

    void choosesWithTheArrowKeys()
    {
        QFETCH(const Qt::LayoutDirection, direction);
        QApplication::setLayoutDirection(direction);
        const auto restored
            = qScopeGuard([] { QApplication::setLayoutDirection(Qt::LeftToRight); });
        Bench bench;
        bench.show();
        press(bench.windows.panel, Qt::Key_Down);
        QCOMPARE(bench.submit().project, threeProjects[2]);
        press(bench.windows.panel, Qt::Key_Down);
        QCOMPARE(bench.submit().project, threeProjects[0]);
        press(bench.windows.panel, Qt::Key_Up);
        QCOMPARE(bench.submit().project, threeProjects[2]);
        press(bench.windows.panel, Qt::Key_Right);
        QCOMPARE(bench.submit().mode, ScreenshotMode::on);
        press(bench.windows.panel, Qt::Key_Left);
        QCOMPARE(bench.submit().mode, ScreenshotMode::off);
    }

    void tellsOfEveryChoiceOfAModeAlsoOfTheSameOne()
    {
        Bench bench;
        bench.show();
        press(bench.windows.panel, Qt::Key_Left);
        press(bench.windows.panel, Qt::Key_Left);
        press(bench.windows.panel, Qt::Key_Right);
        QCOMPARE(bench.modes,
                 std::vector({ ScreenshotMode::off, ScreenshotMode::off, ScreenshotMode::on }));
        press(bench.windows.panel, Qt::Key_Up);
        press(bench.windows.panel, Qt::Key_Down);
        QCOMPARE(bench.modes.size(), 3U);
    }

    void setsTheModeBeforeItTellsOfIt()
    {
        Bench bench;
        auto request = bench.request();
        std::optional<ScreenshotMode> submitted;
        request.onScreenshotModeChanged = [&](ScreenshotMode) { submitted = bench.submit().mode; };
        bench.show(std::move(request));
        press(bench.windows.panel, Qt::Key_Right);
        QCOMPARE(submitted, ScreenshotMode::on);
    }

    void toleratesAMissingModeCallback()
    {
        Bench bench;
        auto request = bench.request();
        request.onScreenshotModeChanged = {};
        bench.show(std::move(request));
        press(bench.windows.panel, Qt::Key_Right);
        QCOMPARE(bench.submit().mode, ScreenshotMode::on);
    }

    void tellsOnlyTheLatestModeCallback()
    {
        Bench bench;
        bench.show();
        int told = 0;
        auto request = bench.request();
        request.onScreenshotModeChanged = [&told](ScreenshotMode) { ++told; };
        bench.show(std::move(request));
        press(bench.windows.panel, Qt::Key_Left);
        QCOMPARE(told, 1);
        QCOMPARE(bench.modes.size(), 0U);
    }

    void keepsTheArrowKeysFromTheTextField_data()
    {
        QTest::addColumn<Qt::Key>("key");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        const std::vector<std::pair<const char*, Qt::Key>> keys { { "left", Qt::Key_Left },
                                                                  { "right", Qt::Key_Right },
                                                                  { "up", Qt::Key_Up },
                                                                  { "down", Qt::Key_Down } };
        const std::vector<std::pair<const char*, Qt::KeyboardModifiers>> all {
            { "alone", Qt::NoModifier },
            { "with shift", Qt::ShiftModifier },
            { "with control", Qt::ControlModifier },
            { "with alt and super", Qt::AltModifier | Qt::MetaModifier },
            { "of the keypad", Qt::KeypadModifier }
        };
        for (const auto& [keyName, key] : keys)
            for (const auto& [modifierName, modifiers] : all)
                QTest::addRow("%s %s", keyName, modifierName) << key << modifiers;
    }

    void keepsTheArrowKeysFromTheTextField()
    {
        QFETCH(const Qt::Key, key);
        QFETCH(const Qt::KeyboardModifiers, modifiers);
        Bench bench;
        auto request = bench.request();
        request.projects.clear();
        bench.show(std::move(request));
        QTest::keyClicks(bench.field(), u"some text"_s);
        bench.field()->setCursorPosition(4);
        press(bench.windows.panel, key, modifiers);
        QTest::keyClick(bench.field(), key, modifiers);
        QCOMPARE(bench.field()->cursorPosition(), 4);
        QVERIFY(!bench.field()->hasSelectedText());
        const std::size_t expected = key == Qt::Key_Left || key == Qt::Key_Right ? 2 : 0;
        QCOMPARE(bench.modes.size(), expected);
    }

    void keepsTheArrowKeysFromShortcuts()
    {
        Bench bench;
        bench.show();
        int triggered = 0;
        QAction action;
        action.setShortcut(Qt::Key_Right);
        action.setShortcutContext(Qt::ApplicationShortcut);
        connect(&action, &QAction::triggered, this, [&triggered] { ++triggered; });
        bench.panel()->addAction(&action);
        press(bench.windows.panel, Qt::Key_Right);
        QCOMPARE(triggered, 0);
        QCOMPARE(bench.modes.size(), 1U);
    }

    void leavesOtherKeysToTheTextField()
    {
        Bench bench;
        bench.show();
        QTest::keyClicks(bench.field(), u"abc"_s);
        press(bench.windows.panel, Qt::Key_Home);
        QCOMPARE(bench.field()->cursorPosition(), 0);
        press(bench.windows.panel, Qt::Key_Delete);
        QCOMPARE(bench.field()->text(), u"bc"_s);
    }

    void leavesTheArrowKeysToAnOpenMenu()
    {
        Bench bench;
        bench.show();
        QMenu menu;
        QAction* first = menu.addAction(u"First"_s);
        menu.popup({ 0, 0 });
        QTRY_VERIFY(QApplication::activePopupWidget() == &menu);
        QTest::keyClick(&menu, Qt::Key_Down);
        QCOMPARE(menu.activeAction(), first);
        QTest::keyClick(&menu, Qt::Key_Left);
        QCOMPARE(bench.modes.size(), 0U);
        menu.close();
        press(bench.windows.panel, Qt::Key_Left);
        QCOMPARE(bench.modes.size(), 1U);
    }

    void hasOneKeyMonitorHoweverOftenItIsShown()
    {
        Bench bench;
        const auto deliveriesOfOneKey = [&bench] {
            bench.controller.deliveries = 0;
            QObject receiver;
            QKeyEvent keyDown(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier);
            QCoreApplication::sendEvent(&receiver, &keyDown);
            return bench.controller.deliveries;
        };
        QCOMPARE(deliveriesOfOneKey(), 0);
        for (int showing = 0; showing < 3; ++showing) {
            bench.show();
            QCOMPARE(deliveriesOfOneKey(), 1);
        }
        bench.controller.close();
        QCOMPARE(deliveriesOfOneKey(), 0);
        bench.show();
        QCOMPARE(deliveriesOfOneKey(), 1);
        press(bench.windows.panel, Qt::Key_Down);
        QCOMPARE(bench.submit().project, threeProjects[2]);
        press(bench.windows.panel, Qt::Key_Left);
        QCOMPARE(bench.modes.size(), 1U);
        bench.controller.close();
        QLineEdit other;
        other.setText(u"text"_s);
        QTest::keyClick(&other, Qt::Key_Left);
        QCOMPARE(other.cursorPosition(), 3);
    }

    void takesTheArrowKeysOfOtherWindowsOnlyWhileItIsUp()
    {
        Bench bench;
        QLineEdit other;
        other.setText(u"text"_s);
        QTest::keyClick(&other, Qt::Key_Left);
        QCOMPARE(other.cursorPosition(), 3);
        bench.show();
        QTest::keyClick(&other, Qt::Key_Left);
        QCOMPARE(other.cursorPosition(), 3);
        QCOMPARE(bench.modes.size(), 1U);
        bench.controller.close();
        QTest::keyClick(&other, Qt::Key_Left);
        QCOMPARE(other.cursorPosition(), 2);
        QCOMPARE(bench.modes.size(), 1U);
    }

    void submitsAndStaysOpen()
    {
        Bench bench;
        bench.show();
        QTest::keyClicks(bench.field(), u"  a thought "_s);
        press(bench.windows.panel, Qt::Key_Return);
        QCOMPARE(bench.submissions,
                 std::vector<Bench::Submission>(
                     { { u"  a thought "_s, threeProjects[1], ScreenshotMode::off } }));
        QVERIFY(bench.windows.panel->isVisible());
        QVERIFY(!bench.windows.calls.contains(u"orderOut"_s));
    }

    void closesBeforeItCancels()
    {
        Bench bench;
        bench.show();
        press(bench.windows.panel, Qt::Key_Escape);
        QCOMPARE(bench.cancellations, 1);
        QVERIFY(!bench.shownWhenCancelled);
        QCOMPARE(bench.windows.calls.last(), u"orderOut"_s);
        QLineEdit other;
        other.setText(u"text"_s);
        QTest::keyClick(&other, Qt::Key_Left);
        QCOMPARE(other.cursorPosition(), 3);
    }

    void takesClosingByTheWindowManagerForEscape()
    {
        Bench bench;
        bench.show();
        bench.panel()->close();
        QCOMPARE(bench.cancellations, 1);
        QCOMPARE(bench.windows.calls.last(), u"orderOut"_s);
        bench.show();
        QVERIFY(bench.windows.panel->isVisible());
        QCOMPARE(bench.submit().project, threeProjects[1]);
    }

    void doesNotHinderTheProgramFromEnding()
    {
        Bench bench;
        bench.controller.prepare();
        QVERIFY(bench.panel()->close());
        bench.show();
        bench.controller.close();
        QVERIFY(bench.panel()->close());
        QCOMPARE(bench.cancellations, 0);
    }

    void closesWithoutEverHavingBeenShown()
    {
        Bench bench;
        bench.controller.close();
        QCOMPARE(bench.windows.calls, QStringList());
        bench.controller.prepare();
        bench.controller.close();
        QCOMPARE(bench.windows.calls, QStringList({ u"prepare"_s, u"orderOut"_s }));
    }

    void canBeShownAnewFromItsOwnCallbacks()
    {
        Bench bench;
        auto request = bench.request();
        request.onSubmit = [&bench](const QString&, const Project&, ScreenshotMode) {
            bench.controller.show(bench.request());
        };
        request.onCancel = [&bench] { bench.controller.show(bench.request()); };
        bench.show(request);
        QTest::keyClicks(bench.field(), u"lost"_s);
        press(bench.windows.panel, Qt::Key_Return);
        QTRY_VERIFY(bench.field()->hasFocus());
        QCOMPARE(bench.submit().text, u""_s);
        bench.show(request);
        press(bench.windows.panel, Qt::Key_Escape);
        QTRY_VERIFY(bench.field()->hasFocus());
        QCOMPARE(bench.submit().text, u""_s);
    }

    void replacesTheContentWhileItIsShown()
    {
        Bench bench;
        bench.show();
        const QPointer<CapturePanelView> former = bench.view();
        QTest::keyClicks(bench.field(), u"lost"_s);
        bench.show();
        QVERIFY(bench.view() != former);
        QTRY_VERIFY(!former);
        QCOMPARE(bench.field()->text(), u""_s);
        QVERIFY(bench.field()->hasFocus());
    }

    void leavesTheArrowKeysAloneWhenItIsGone()
    {
        FakePanelWindows windows;
        FakeScreens screens;
        auto controller = std::make_unique<CapturePanelController>(windows, screens);
        controller->show({ .projects = threeProjects,
                           .preferredProjectID = {},
                           .onScreenshotModeChanged = {},
                           .onSubmit = {},
                           .onCancel = {} });
        controller.reset();
        QLineEdit other;
        other.setText(u"text"_s);
        QTest::keyClick(&other, Qt::Key_Left);
        QCOMPARE(other.cursorPosition(), 3);
    }

    void takesTheKeysAgainOnEveryShowing()
    {
        Bench bench;
        for (std::size_t showing = 1; showing <= 3; ++showing) {
            bench.show();
            press(bench.windows.panel, Qt::Key_A);
            QCOMPARE(bench.field()->text(), u"a"_s);
            press(bench.windows.panel, Qt::Key_Left);
            QCOMPARE(bench.modes.size(), showing);
            bench.controller.close();
        }
    }

    void choosesByThePressAndNotByTheQuestionBeforeIt()
    {
        Bench bench;
        bench.show();
        QKeyEvent question(QEvent::ShortcutOverride, Qt::Key_Left, Qt::NoModifier);
        QApplication::sendEvent(bench.field(), &question);
        QVERIFY(question.isAccepted());
        QCOMPARE(bench.modes.size(), 0U);
        QKeyEvent keyDown(QEvent::KeyPress, Qt::Key_Left, Qt::NoModifier);
        QApplication::sendEvent(bench.field(), &keyDown);
        QCOMPARE(bench.modes.size(), 1U);
        QKeyEvent keyUp(QEvent::KeyRelease, Qt::Key_Left, Qt::NoModifier);
        QApplication::sendEvent(bench.field(), &keyUp);
        QCOMPARE(bench.modes.size(), 1U);
    }

    void runsNoTimerWhileItIsHidden()
    {
        Bench bench;
        bench.show();
        press(bench.windows.panel, Qt::Key_Right);
        QTest::keyClicks(bench.field(), u"text"_s);
        const auto timers = [&bench] {
            qsizetype count = 0;
            for (QObject* object : bench.panel()->findChildren<QObject*>())
                count += QAbstractEventDispatcher::instance()->registeredTimers(object).size();
            return count;
        };
        QVERIFY(timers() > 0); // The text cursor blinks.
        bench.controller.close();
        QTRY_COMPARE(timers(), 0);
        const auto animations = bench.panel()->findChildren<QAbstractAnimation*>();
        QVERIFY(!animations.isEmpty());
        for (const auto* animation : animations)
            QTRY_COMPARE(animation->state(), QAbstractAnimation::Stopped);
    }
};

} // namespace quibel

QTEST_MAIN(quibel::CapturePanelControllerTest)
#include "CapturePanelControllerTest.moc"
