#include "tests/platform/DockWindow.h"
#include "tests/system/AgentRun.h"
#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QApplication>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QScreen>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel::testing {

/// Two monitors side by side: 1280×800 on the left, 1000×800 on the right.
class MonitorsTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private Q_SLOTS:
    void thePanelOpensOnTheMonitorUnderThePointer_data()
    {
        QTest::addColumn<QPoint>("pointer");
        QTest::addColumn<QPoint>("centre");
        QTest::newRow("left") << QPoint(600, 300) << QPoint(600, 300);
        QTest::newRow("right") << QPoint(1800, 300) << QPoint(1800, 300);
        // Half of the panel would be on the neighbour.
        QTest::newRow("seam, left side") << QPoint(1279, 300) << QPoint(1280 - 242, 300);
        QTest::newRow("seam, right side") << QPoint(1280, 300) << QPoint(1280 + 242, 300);
    }

    void thePanelOpensOnTheMonitorUnderThePointer()
    {
        QFETCH(QPoint, pointer);
        QFETCH(QPoint, centre);
        QCOMPARE(QApplication::screens().size(), 2);
        AgentSession session(desktop);
        QVERIFY(session.launch());
        movePointer(pointer);
        QVERIFY(session.openPanel());
        const QPointF found = QRectF(session.panel()->geometry).center();
        QVERIFY2((found - centre).manhattanLength() <= 2,
                 qPrintable(u"at %1, %2"_s.arg(found.x()).arg(found.y())));
        session.press(u"Escape"_s);
    }

    void thePanelKeepsClearOfABarThatTheShellDraws_data()
    {
        QTest::addColumn<QString>("property");
        QTest::addColumn<QString>("value");
        QTest::newRow("work area") << u"_NET_WORKAREA"_s << u"0,40,2280,760"_s;
        QTest::newRow("an area for each monitor")
            << u"_GTK_WORKAREAS_D0"_s << u"1280,40,1000,760,0,0,1280,800"_s;
    }

    void thePanelKeepsClearOfABarThatTheShellDraws()
    {
        QFETCH(const QString, property);
        QFETCH(const QString, value);
        AgentSession session(desktop);
        QVERIFY(session.launch());
        QVERIFY(settleWindowManager());
        QVERIFY(desktop.output(
            u"xprop"_s, { u"-root"_s, u"-f"_s, property, u"32c"_s, u"-set"_s, property, value }));
        const auto removed = qScopeGuard([&] {
            static_cast<void>(desktop.output(u"xprop"_s, { u"-root"_s, u"-remove"_s, property }));
        });
        movePointer({ 1800, 5 });
        QVERIFY(session.openPanel());
        QCOMPARE(session.panel()->geometry.top(), 40);
        session.press(u"Escape"_s);
    }

    void aDockBetweenTheMonitorsTakesRoomFromItsOwnOnly()
    {
        AgentSession session(desktop);
        QVERIFY(session.launch());
        const DockWindow below(
            { .strut = { 0, 0, 0, 40, 0, 0, 0, 0, 0, 0, 0, 1279 }, .frame = { 0, 760, 1280, 40 } });
        const DockWindow between({ .strut = { 1340, 0, 0, 0, 0, 799, 0, 0, 0, 0, 0, 0 },
                                   .frame = { 1280, 0, 60, 800 } });
        QVERIFY(settleWindowManager());
        movePointer({ 600, 799 });
        QVERIFY(session.openPanel());
        QCOMPARE(session.panel()->geometry.bottom(), 759);
        session.press(u"Escape"_s);
        QTRY_VERIFY(!session.panel());
        movePointer({ 1280, 300 });
        QVERIFY(session.openPanel());
        QCOMPARE(session.panel()->geometry.left(), 1340);
        session.press(u"Escape"_s);
    }

    void theKeyPanelOpensOnTheMonitorOfTheKeyboard_data()
    {
        QTest::addColumn<int>("editor");
        QTest::addColumn<QPoint>("pointer");
        QTest::addColumn<QRect>("monitor");
        const QRect left(0, 0, 1280, 800);
        const QRect right(1280, 0, 1000, 800);
        const QPoint onTheLeft(600, 700);
        const QPoint onTheRight(1800, 700);
        QTest::newRow("left") << 200 << onTheRight << left;
        QTest::newRow("right") << 1500 << onTheLeft << right;
        QTest::newRow("across, more on the right") << 1100 << onTheLeft << right;
        QTest::newRow("no window, pointer on the left") << -1 << onTheLeft << left;
        QTest::newRow("no window, pointer on the right") << -1 << onTheRight << right;
    }

    void theKeyPanelOpensOnTheMonitorOfTheKeyboard()
    {
        QFETCH(const int, editor);
        QFETCH(const QPoint, pointer);
        QFETCH(const QRect, monitor);
        AgentSession session(desktop);
        QVERIFY(session.launch());
        EditorWindow window(u"notes"_s);
        window.move(editor, 100);
        if (editor >= 0)
            QVERIFY(window.bringToFront());
        movePointer(pointer);
        QVERIFY(AgentRun::of(desktop.environment(), { u"--connect-account"_s }));
        QTRY_VERIFY(centreOfKeyPanel());
        const QPoint centre = *centreOfKeyPanel();
        QVERIFY2((centre - monitor.center()).manhattanLength() <= 30,
                 qPrintable(u"at %1, %2"_s.arg(centre.x()).arg(centre.y())));
    }

    void theMenuOpensTheKeyPanelOnTheMonitorOfTheKeyboard()
    {
        QVERIFY(desktop.startTray());
        const auto stopped = qScopeGuard([this] { desktop.stopTray(); });
        AgentSession session(desktop);
        QVERIFY(session.launch());
        QTRY_VERIFY(session.trayIcon());
        QVERIFY(session.trayIcon()->geometry.right() < 1280);
        EditorWindow editor(u"notes"_s);
        editor.move(1500, 100);
        QVERIFY(editor.bringToFront());
        QVERIFY(session.chooseInMenu(AgentSession::MenuItem::connectAccount));
        QTRY_VERIFY(centreOfKeyPanel());
        QVERIFY(centreOfKeyPanel()->x() > 1280);
    }

    void aWindowOnTheSecondMonitorIsCaptured()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        EditorWindow editor(u"notes"_s);
        editor.move(1500, 100);
        QVERIFY(editor.bringToFront());
        QVERIFY(session.openPanel());
        session.type(u"x"_s);
        session.press(u"Right"_s);
        session.press(u"Return"_s);
        QTRY_VERIFY(session.output().contains("dimensions : 400 x 300\n"));
    }

private:
    void movePointer(QPoint place)
    {
        QVERIFY(desktop.output(
            u"xdotool"_s,
            { u"mousemove"_s, QString::number(place.x()), QString::number(place.y()) }));
    }

    /// The middle of the window that has the keyboard; none while it is not the key panel.
    [[nodiscard]] std::optional<QPoint> centreOfKeyPanel() const
    {
        const auto told = desktop.output(
            u"xdotool"_s, { u"getwindowfocus"_s, u"getwindowname"_s, u"getwindowgeometry"_s });
        static const QRegularExpression parts(u"^Connect Quibel\n.*Position: (-?\\d+),(-?\\d+).*"
                                              "Geometry: (\\d+)x(\\d+)"_s,
                                              QRegularExpression::DotMatchesEverythingOption);
        const auto found = parts.match(QString::fromUtf8(told.value_or(QByteArray())));
        const auto number = [&found](int index) { return found.captured(index).toInt(); };
        return found.hasMatch()
            ? std::optional(QPoint(number(1) + number(3) / 2, number(2) + number(4) / 2))
            : std::nullopt;
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::MonitorsTest, QApplication>(
        argc,
        argv,
        { .screen = u"2280x800x24"_s, .keyRing = true },
        [](quibel::testing::VirtualDesktop& desktop) {
            const auto set = [&](const QString& name,
                                 const QString& geometry,
                                 const QString& output) {
                return desktop.output(u"xrandr"_s, { u"--setmonitor"_s, name, geometry, output });
            };
            return set(u"left"_s, u"1280/338x800/211+0+0"_s, u"screen"_s)
                && set(u"right"_s, u"1000/264x800/211+1280+0"_s, u"none"_s);
        });
}

#include "MonitorsTest.moc"
