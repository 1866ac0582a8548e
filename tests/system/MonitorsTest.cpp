#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QApplication>
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
        QVERIFY(desktop.output(
            u"xdotool"_s,
            { u"mousemove"_s, QString::number(pointer.x()), QString::number(pointer.y()) }));
        QVERIFY(session.openPanel());
        const QPointF found = QRectF(session.panel()->geometry).center();
        QVERIFY2((found - centre).manhattanLength() <= 2,
                 qPrintable(u"at %1, %2"_s.arg(found.x()).arg(found.y())));
        session.press(u"Escape"_s);
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
