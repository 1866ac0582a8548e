#include "platform/x11/XcbConnection.h"
#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QMouseEvent>
#include <QScopeGuard>
#include <QScreen>
#include <QTest>

#include <utility>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

constexpr QColor groundColor(0x80, 0xa0, 0xc0);
constexpr int shadowReach = 24;

/// A plain window, so that what lies over it shows. It leaves one row of the screen free: some
/// compositors stop for a window that covers it all.
class Ground : public QWidget
{
public:
    Ground()
    {
        setWindowFlags(Qt::Window | Qt::X11BypassWindowManagerHint);
        setPalette(groundColor);
        setGeometry(area);
        show();
    }

    static constexpr QRect area { 0, 1, 1280, 799 };
    int clicks = 0;

protected:
    void mousePressEvent(QMouseEvent* /*event*/) override { ++clicks; }
};

/// What is on the screen, in pixels.
QImage picture()
{
    return QApplication::primaryScreen()->grabWindow(0).toImage().convertToFormat(
        QImage::Format_RGB32);
}

bool isGround(QColor color)
{
    return color == groundColor;
}

bool isShaded(QColor color)
{
    return color.lightness() < groundColor.lightness() - 4 && color.blue() > color.red() + 20;
}

/// Whether the panel with that frame has its ground for corners and is shaded all around.
bool floats(const QImage& screen, const QRect& frame)
{
    const QRect beyond = frame.adjusted(-shadowReach, -shadowReach, shadowReach, shadowReach);
    const QPoint centre = frame.center();
    for (const QPoint corner :
         { frame.topLeft(), frame.topRight(), frame.bottomLeft(), frame.bottomRight() })
        if (screen.rect().contains(corner) && !isShaded(screen.pixelColor(corner)))
            return false;
    for (const QPoint outside : { QPoint(centre.x(), frame.top() - 3),
                                  QPoint(centre.x(), frame.bottom() + 3),
                                  QPoint(frame.left() - 3, centre.y()),
                                  QPoint(frame.right() + 3, centre.y()) })
        if (screen.rect().contains(outside) && !isShaded(screen.pixelColor(outside)))
            return false;
    return !screen.rect().contains(beyond.topLeft())
        || isGround(screen.pixelColor(beyond.topLeft()));
}

/// Whether the panel with that frame fills it into the corners, and nothing is shaded.
bool isSquare(const QImage& screen, const QRect& frame)
{
    const QRgb line = screen.pixel(frame.topLeft());
    return !isShaded(line) && !isGround(line) && line == screen.pixel(frame.bottomRight())
        && isGround(screen.pixelColor(frame.topLeft() - QPoint(1, 1)))
        && isGround(screen.pixelColor(frame.bottomRight() + QPoint(1, 1)));
}

bool isGroundAlone(const QImage& screen)
{
    QImage expected(Ground::area.size(), screen.format());
    expected.fill(groundColor);
    return screen.copy(Ground::area) == expected;
}

} // namespace

/// The panel on a desktop whose compositor comes, fades and goes.
class CompositorTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    [[nodiscard]] bool isComposited()
    {
        const auto owner = xcb_get_selection_owner(x->get(), x->atom("_NET_WM_CM_S0"));
        const auto answer = xcbReply(xcb_get_selection_owner_reply, x->get(), owner);
        return answer && answer->owner != XCB_WINDOW_NONE;
    }

    [[nodiscard]] bool start(const QString& program, const QStringList& arguments)
    {
        compositor = desktop.launch(program, arguments);
        return compositor != nullptr && QTest::qWaitFor([this] { return isComposited(); }, 20'000);
    }

    [[nodiscard]] bool startCompositor(const QStringList& arguments = {})
    {
        return start(u"picom"_s, QStringList { u"--backend"_s, u"xrender"_s } + arguments);
    }

    void stopCompositor() { desktop.stop(std::exchange(compositor, nullptr)); }

    void movePointer(QPoint place)
    {
        QVERIFY(desktop.output(
            u"xdotool"_s,
            { u"mousemove"_s, QString::number(place.x()), QString::number(place.y()) }));
    }

    std::unique_ptr<XcbConnection> x = XcbConnection::open();
    QProcess* compositor = nullptr;

private Q_SLOTS:
    void init() { movePointer({ 640, 400 }); }
    void cleanup() { stopCompositor(); }

    void floatsAtThePointer_data()
    {
        QTest::addColumn<double>("scale");
        QTest::addColumn<QPoint>("pointer");
        for (const double scale : { 1.0, 1.25, 1.5, 2.0 }) {
            QTest::addRow("%g", scale) << scale << QPoint(640, 400);
            QTest::addRow("%g, bottom right", scale) << scale << QPoint(1279, 799);
            QTest::addRow("%g, left", scale) << scale << QPoint(0, 400);
        }
    }

    void floatsAtThePointer()
    {
        QFETCH(const double, scale);
        QFETCH(const QPoint, pointer);
        AgentSession session(desktop);
        session.startScale = session.panelScale = scale;
        const Ground ground;
        QVERIFY(startCompositor());
        movePointer(pointer);
        QProcessEnvironment scaled;
        scaled.insert(u"QT_SCALE_FACTOR"_s, QString::number(scale));
        QVERIFY(session.launch(scaled));
        QVERIFY(session.openPanel());

        const QRect frame = session.panel()->geometry;
        const QSizeF half = QSizeF(frame.size()) / 2;
        const QPointF centre(std::clamp<double>(pointer.x(), half.width(), 1280 - half.width()),
                             std::clamp<double>(pointer.y(), half.height(), 800 - half.height()));
        const QPointF off = QRectF(frame).center() - centre;
        QVERIFY2(off.manhattanLength() <= 2 * scale,
                 qPrintable(u"off by %1, %2"_s.arg(off.x()).arg(off.y())));
        QTRY_VERIFY(floats(picture(), frame));
        session.press(u"Escape"_s);
    }

    void floatsUnderACompositingWindowManager_data()
    {
        QTest::addColumn<QStringList>("command");
        QTest::newRow("xfwm4") << QStringList {
            u"xfwm4"_s, u"--replace"_s, u"--compositor=on"_s, u"--vblank=off"_s
        };
        QTest::newRow("kwin_x11") << QStringList {
            u"env"_s, u"KWIN_COMPOSE=O2"_s, u"kwin_x11"_s, u"--replace"_s
        };
    }

    void floatsUnderACompositingWindowManager()
    {
        QFETCH(QStringList, command);
        const auto openboxReturns = qScopeGuard([this] {
            stopCompositor();
            QVERIFY(desktop.startWindowManager());
        });
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        QVERIFY(start(command.takeFirst(), command));
        const Ground ground;
        QTRY_VERIFY(isGroundAlone(picture()));
        for (int i = 0; i < 3; ++i) {
            QVERIFY(session.openPanel());
            session.type(u"nothing of this"_s);
            const QRect frame = session.panel()->geometry;
            QTRY_VERIFY(floats(picture(), frame));
            session.press(u"Return"_s);
            QTRY_VERIFY(!session.panel());
            QTRY_VERIFY(isGroundAlone(picture()));
        }
    }

    void comesAndGoesWithTheCompositor()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        const Ground ground;
        QVERIFY(session.openPanel());
        const QRect frame = session.panel()->geometry;
        QTRY_VERIFY(isSquare(picture(), frame));
        session.type(u"still "_s);
        QVERIFY(startCompositor());
        QTRY_VERIFY(floats(picture(), frame));
        session.type(u"the "_s);
        stopCompositor();
        QTRY_VERIFY(isSquare(picture(), frame));
        session.type(u"same"_s);
        session.press(u"Return"_s);
        QTRY_COMPARE(session.sent(branchPath).value(u"title"_s).toString(), u"still the same"_s);

        QVERIFY(startCompositor());
        QVERIFY(session.openPanel());
        QCOMPARE(session.panel()->geometry, frame);
        QTRY_VERIFY(floats(picture(), frame));
        session.press(u"Escape"_s);
    }

    void itsShadowTakesNoClicks()
    {
        AgentSession session(desktop);
        session.startScale = session.panelScale = 1.5;
        const Ground ground;
        QVERIFY(startCompositor());
        QProcessEnvironment scaled;
        scaled.insert(u"QT_SCALE_FACTOR"_s, u"1.5"_s);
        QVERIFY(session.launch(scaled));
        QVERIFY(session.openPanel());
        const QRect frame = session.panel()->geometry;
        QTRY_VERIFY(floats(picture(), frame));
        const auto click = [&](QPoint place) {
            movePointer(place);
            QVERIFY(desktop.output(u"xdotool"_s, { u"click"_s, u"1"_s }));
        };
        click(frame.topLeft() + QPoint(30, 3));
        click(frame.bottomRight() - QPoint(30, 3));
        QCOMPARE(ground.clicks, 0);
        click(frame.topLeft() + QPoint(30, -2));
        QTRY_COMPARE(ground.clicks, 1);
        click(frame.bottomRight() + QPoint(2, -30));
        QTRY_COMPARE(ground.clicks, 2);
        session.press(u"Escape"_s);
    }

    void leavesNothingToFade_data()
    {
        QTest::addColumn<QStringList>("looks");
        QTest::addColumn<bool>("comesLate");
        QTest::newRow("fading") << QStringList {} << false;
        QTest::newRow("fading, shadows") << QStringList { u"--shadow"_s } << false;
        QTest::newRow("fading, came while the panel was open") << QStringList {} << true;
    }

    void leavesNothingToFade()
    {
        QFETCH(const QStringList, looks);
        QFETCH(const bool, comesLate);
        // Appears at once, and takes 20 s to vanish.
        const QStringList arguments = QStringList {
            u"--fading"_s, u"--fade-in-step=1"_s, u"--fade-out-step=0.01"_s, u"--fade-delta=200"_s
        } + looks;
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        const Ground ground;
        QVERIFY(comesLate || startCompositor(arguments));
        QTRY_VERIFY(isGroundAlone(picture()));
        for (int i = 0; i < 3; ++i) {
            QVERIFY(session.openPanel());
            QVERIFY(compositor != nullptr || startCompositor(arguments));
            const QRect frame = session.panel()->geometry;
            session.type(u"nothing of this"_s);
            QTRY_VERIFY(floats(picture(), frame));
            session.press(u"Return"_s);
            QTRY_VERIFY(!session.panel());
            QTRY_VERIFY_WITH_TIMEOUT(isGroundAlone(picture()), 2'000);
        }
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::CompositorTest, QApplication>(
        argc, argv, { .keyRing = true });
}

#include "CompositorTest.moc"
