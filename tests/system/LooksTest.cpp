#include "tests/platform/SettingsPortal.h"
#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QScreen>
#include <QTest>

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

namespace quibel::testing {

/// The panel in light and dark and at every scale, on two monitors: 1280×800 on the left, 1000×800
/// on the right.
class LooksTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    /// The panel as it is on the screen; null while it is closed.
    [[nodiscard]] static QImage picture(const AgentSession& session)
    {
        const auto panel = session.panel();
        if (!panel)
            return {};
        const QRect area = panel->geometry;
        return QApplication::primaryScreen()
            ->grabWindow(0, area.x(), area.y(), area.width(), area.height())
            .toImage()
            .convertToFormat(QImage::Format_RGB32);
    }

    /// How light the paper of the panel is, from 0 to 255; -1 while it is closed.
    [[nodiscard]] static int lightness(const AgentSession& session)
    {
        const QImage image = picture(session);
        return image.isNull() ? -1 : image.pixelColor(6, 6).lightness();
    }

    /// Whether `image` shows more than the same picture with half as many pixels to the point.
    [[nodiscard]] static bool isCrisp(const QImage& image)
    {
        int finer = 0;
        for (int y = 0; y + 1 < image.height(); y += 2)
            for (int x = 0; x + 1 < image.width(); x += 2)
                if (image.pixel(x, y) != image.pixel(x + 1, y)
                    || image.pixel(x, y) != image.pixel(x, y + 1))
                    ++finer;
        return finer > 200;
    }

    /// Where the middle of what is written in the uppermost row of the panel lies, from 0 at its
    /// left edge to 1 at its right one; none while it is closed or empty.
    [[nodiscard]] static std::optional<double> middleOfFirstRow(const AgentSession& session)
    {
        const QImage image = picture(session);
        if (image.isNull())
            return std::nullopt;
        const QRgb paper = image.pixel(6, 6);
        double sum = 0;
        int count = 0;
        for (int y = 6; y < 30; ++y)
            for (int x = 6; x < image.width() - 6; ++x)
                if (image.pixel(x, y) != paper) {
                    sum += x;
                    ++count;
                }
        if (count == 0)
            return std::nullopt;
        return sum / count / image.width();
    }

    [[nodiscard]] bool movePointer(QPoint place) const
    {
        return desktop
            .output(u"xdotool"_s,
                    { u"mousemove"_s, QString::number(place.x()), QString::number(place.y()) })
            .has_value();
    }

private Q_SLOTS:
    void followsTheDesktopWhileItRuns()
    {
        SettingsPortal portal(1U);
        AgentSession session(desktop);
        QVERIFY(movePointer({ 600, 300 }));
        QVERIFY(session.launch());
        QVERIFY(session.openPanel());
        QTRY_VERIFY(lightness(session) >= 0 && lightness(session) < 80);
        portal.set(2U);
        QTRY_VERIFY(lightness(session) > 200);
        portal.set(1U);
        QTRY_VERIFY(lightness(session) >= 0 && lightness(session) < 80);
        session.press(u"Escape"_s);
    }

    void isLightWithoutAPortal()
    {
        AgentSession session(desktop);
        QVERIFY(session.launch());
        QVERIFY(session.openPanel());
        QTRY_VERIFY(lightness(session) > 200);
        session.press(u"Escape"_s);
    }

    void isMirroredWhereOneReadsFromTheRight_data()
    {
        QTest::addColumn<QString>("variable");
        QTest::addColumn<QString>("language");
        QTest::addColumn<bool>("fromTheRight");
        QTest::newRow("Arabic") << u"LC_ALL"_s << u"ar_EG.UTF-8"_s << true;
        QTest::newRow("Hebrew") << u"LANG"_s << u"he_IL.UTF-8"_s << true;
        QTest::newRow("messages") << u"LC_MESSAGES"_s << u"fa_IR.UTF-8"_s << true;
        QTest::newRow("numbers") << u"LC_NUMERIC"_s << u"ar_EG.UTF-8"_s << false;
        QTest::newRow("German") << u"LC_ALL"_s << u"de_DE.UTF-8"_s << false;
        QTest::newRow("none") << u"LC_ALL"_s << u"C"_s << false;
    }

    void isMirroredWhereOneReadsFromTheRight()
    {
        QFETCH(const QString, variable);
        QFETCH(const QString, language);
        QFETCH(const bool, fromTheRight);
        AgentSession session(desktop);
        QProcessEnvironment speaking;
        for (const auto& other : { u"LANGUAGE"_s, u"LC_ALL"_s, u"LC_MESSAGES"_s, u"LANG"_s })
            speaking.insert(other, {});
        speaking.insert(variable, language);
        QVERIFY(movePointer({ 600, 300 }));
        QVERIFY(session.launch(speaking));
        QVERIFY(session.openPanel());
        QTRY_VERIFY(middleOfFirstRow(session).has_value());
        const double middle = middleOfFirstRow(session).value_or(0);
        QVERIFY2(fromTheRight ? middle > 0.7 : middle < 0.3, qPrintable(QString::number(middle)));

        // The keys are named by where they point, whatever the side that one reads from.
        session.press(u"Right"_s);
        QTRY_COMPARE(session.preferences().value(u"quibel.screenshotMode"_s).toString(), u"on"_s);
        session.press(u"Left"_s);
        QTRY_COMPARE(session.preferences().value(u"quibel.screenshotMode"_s).toString(), u"off"_s);
        session.press(u"Escape"_s);
    }

    void opensWholeAtThePointerAtEveryScale_data()
    {
        QTest::addColumn<QString>("variable");
        QTest::addColumn<QString>("value");
        QTest::addColumn<double>("startScale");
        QTest::addColumn<double>("panelScale");
        QTest::addColumn<QPoint>("pointer");

        const QString all = u"QT_SCALE_FACTOR"_s;
        const QString each = u"QT_SCREEN_SCALE_FACTORS"_s;
        const QPoint middle(640, 400);
        const QPoint right(1780, 400);
        for (const double scale : { 1.0, 1.25, 1.5, 2.0 })
            QTest::addRow("%g", scale) << all << QString::number(scale) << scale << scale << middle;
        QTest::newRow("1.5, second monitor") << all << u"1.5"_s << 1.5 << 1.5 << right;
        QTest::newRow("2, corner") << all << u"2"_s << 2.0 << 2.0 << QPoint(1279, 799);
        const QString fine = u"left=1;right=2"_s;
        QTest::newRow("1 beside 2, first") << each << fine << 1.0 << 1.0 << middle;
        QTest::newRow("1 beside 2, second") << each << fine << 1.0 << 2.0 << right;
        const QString large = u"left=1.5;right=1.25"_s;
        QTest::newRow("1.5 beside 1.25, first") << each << large << 1.5 << 1.5 << middle;
        QTest::newRow("1.5 beside 1.25, second") << each << large << 1.5 << 1.25 << right;
    }

    void opensWholeAtThePointerAtEveryScale()
    {
        QFETCH(const QString, variable);
        QFETCH(const QString, value);
        QFETCH(const double, startScale);
        QFETCH(const double, panelScale);
        QFETCH(const QPoint, pointer);
        AgentSession session(desktop);
        session.startScale = startScale;
        session.panelScale = panelScale;
        QProcessEnvironment scaled;
        scaled.insert(variable, value);
        QVERIFY(movePointer(pointer));
        QVERIFY(session.launch(scaled));
        QVERIFY(session.openPanel());

        const QRect monitor
            = pointer.x() < 1280 ? QRect(0, 0, 1280, 800) : QRect(1280, 0, 1000, 800);
        const QRect found = session.panel()->geometry;
        QVERIFY2(monitor.contains(found), qPrintable(u"%1, %2"_s.arg(found.x()).arg(found.y())));
        const QRectF room = QRectF(monitor).adjusted(
            found.width() / 2.0, found.height() / 2.0, -found.width() / 2.0, -found.height() / 2.0);
        const QPointF centre(std::clamp<double>(pointer.x(), room.left(), room.right()),
                             std::clamp<double>(pointer.y(), room.top(), room.bottom()));
        const QPointF off = QRectF(found).center() - centre;
        QVERIFY2(off.manhattanLength() <= 2 * panelScale,
                 qPrintable(u"off by %1, %2"_s.arg(off.x()).arg(off.y())));
        QTRY_VERIFY(isCrisp(picture(session)));
        session.press(u"Escape"_s);
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::LooksTest, QApplication>(
        argc,
        argv,
        { .screen = u"2280x800x24"_s, .keyRing = true },
        [](quibel::testing::VirtualDesktop& desktop) {
            return desktop.output(
                       u"xrandr"_s,
                       { u"--setmonitor"_s, u"left"_s, u"1280/338x800/211+0+0"_s, u"screen"_s })
                && desktop.output(
                    u"xrandr"_s,
                    { u"--setmonitor"_s, u"right"_s, u"1000/264x800/211+1280+0"_s, u"none"_s });
        });
}

#include "LooksTest.moc"
