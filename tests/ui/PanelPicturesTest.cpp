#include "tests/fakes/FakePanelWindows.h"
#include "tests/fakes/FakeScreens.h"
#include "ui/CapturePanelController.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

enum class Look { light, dark };

QPalette makePalette(Look look)
{
    if (look == Look::light)
        return { QColor(0xefefef), QColor(0xefefef) };
    QPalette palette(QColor(0x31363b), QColor(0x2a2e32));
    palette.setColor(QPalette::Highlight, QColor(0x3daee9));
    return palette;
}

double luminance(QRgb color)
{
    const auto linear = [](int component) {
        const double share = component / 255.0;
        return share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(qRed(color)) + 0.7152 * linear(qGreen(color))
        + 0.0722 * linear(qBlue(color));
}

double contrast(QRgb a, QRgb b)
{
    const auto [dark, light] = std::minmax({ luminance(a), luminance(b) });
    return (light + 0.05) / (dark + 0.05);
}

/// What a picture shows between its border line and nothing else, in points from the frame's
/// corner.
class Picture
{
public:
    explicit Picture(CapturePanelView& view)
        : image(
            view.window()->grab(view.geometry()).toImage().convertToFormat(QImage::Format_RGB32))
        , scale(image.devicePixelRatio())
        , paper(pixel({ 4, 4 }))
    {
    }

    /// Whether it is as large as this many points, in whole pixels.
    [[nodiscard]] bool hasSize(QSizeF points) const
    {
        return image.size() == (points * scale).toSize();
    }
    [[nodiscard]] QRgb background() const { return paper; }
    [[nodiscard]] QRgb pixel(QPointF point) const { return image.pixel((point * scale).toPoint()); }

    /// The smallest area that holds every pixel within `area` that is not of the background.
    [[nodiscard]] QRectF ink(const QRectF& area) const
    {
        QRect found;
        forEachPixel(area, [&](QPoint point) {
            if (image.pixel(point) != paper)
                found |= QRect(point, QSize(1, 1));
        });
        return { QPointF(found.topLeft()) / scale, QSizeF(found.size()) / scale };
    }

    /// The contrast of the strongest pixel within `area` to the background.
    [[nodiscard]] double strongestContrast(const QRectF& area) const
    {
        double strongest = 1;
        forEachPixel(area, [&](QPoint point) {
            if (const QRgb color = image.pixel(point); color != paper)
                strongest = std::max(strongest, contrast(color, paper));
        });
        return strongest;
    }

private:
    void forEachPixel(const QRectF& area, const std::function<void(QPoint)>& visit) const
    {
        const QRect pixels
            = QRectF(area.topLeft() * scale, area.size() * scale).toAlignedRect() & image.rect();
        for (int y = pixels.top(); y <= pixels.bottom(); ++y)
            for (int x = pixels.left(); x <= pixels.right(); ++x)
                visit({ x, y });
    }

    QImage image;
    double scale;
    QRgb paper;
};

ProjectList makeProjects(const QStringList& names)
{
    ProjectList projects;
    for (const QString& name : names)
        projects.push_back({ .id = name, .name = name });
    return projects;
}

} // namespace

/// Draws the panel in every state. The pictures stay in the directory that the environment variable
/// QUIBEL_PICTURES_DIR names, for people to look at.
class PanelPicturesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { controller.emplace(windows, screens); }

    void cleanup()
    {
        controller.reset();
        QApplication::setLayoutDirection(Qt::LeftToRight);
    }

    void isLegibleInEveryState_data()
    {
        QTest::addColumn<Look>("look");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<bool>("warning");
        QTest::addColumn<ScreenshotMode>("mode");
        QTest::addColumn<QString>("text");
        QTest::addColumn<Qt::LayoutDirection>("direction");
        QTest::addColumn<bool>("floating");

        const QStringList one { u"Kitchen"_s };
        const QStringList three { u"Kitchen"_s, u"Garden"_s, u"Attic"_s };
        const QStringList longNames { u"A project whose name goes on and on, "_s.repeated(9),
                                      u"Short"_s };
        const QStringList unbroken { QString(400, u'W') };
        const QStringList emoji { u"🌳 Baum 🌿 günstig"_s, u"x"_s };
        const QStringList hebrew { u"פרויקט חדש (2)"_s, u"x"_s };
        const QStringList lines { u"two\nlines"_s, u"x"_s };
        const QStringList unnamed { u""_s, u"x"_s };

        for (const Look look : { Look::light, Look::dark }) {
            const auto row = [look](const char* name,
                                    const QStringList& names,
                                    bool warning,
                                    ScreenshotMode mode,
                                    const QString& text,
                                    Qt::LayoutDirection direction = Qt::LeftToRight) {
                for (const bool floating : { false, true })
                    QTest::addRow("%s, %s%s",
                                  name,
                                  look == Look::light ? "light" : "dark",
                                  floating ? ", floating" : "")
                        << look << names << warning << mode << text << direction << floating;
            };
            row("no project", {}, false, ScreenshotMode::off, {});
            row("no project, warning", {}, true, ScreenshotMode::off, {});
            row("one project", one, false, ScreenshotMode::off, {});
            row("three projects", three, false, ScreenshotMode::off, {});
            row("three projects, warning, on", three, true, ScreenshotMode::on, {});
            row("typed", three, false, ScreenshotMode::on, u"Why is the tap gjpqy dripping?"_s);
            row("typed, long", three, true, ScreenshotMode::on, u"on and on "_s.repeated(30));
            row("long names", longNames, true, ScreenshotMode::on, {});
            row("unbroken name", unbroken, false, ScreenshotMode::off, {});
            row("emoji", emoji, false, ScreenshotMode::off, u"🌳"_s);
            row("right-to-left name", hebrew, true, ScreenshotMode::off, u"שלום"_s);
            row("two lines", lines, false, ScreenshotMode::off, {});
            row("unnamed", unnamed, false, ScreenshotMode::off, {});
            row("mirrored", hebrew, true, ScreenshotMode::on, {}, Qt::RightToLeft);
            row("mirrored, long", longNames, true, ScreenshotMode::on, u"שלום"_s, Qt::RightToLeft);
        }
    }

    void isLegibleInEveryState()
    {
        QFETCH(const Look, look);
        QFETCH(const QStringList, names);
        QFETCH(const bool, warning);
        QFETCH(const ScreenshotMode, mode);
        QFETCH(const QString, text);
        QFETCH(const Qt::LayoutDirection, direction);
        QFETCH(const bool, floating);

        QApplication::setPalette(makePalette(look));
        QApplication::setLayoutDirection(direction);
        windows.setTranslucent(floating);
        CapturePanelView& view = show({ .projects = makeProjects(names),
                                        .preferredProjectID = {},
                                        .showSyncWarning = warning,
                                        .screenshotMode = mode,
                                        .onScreenshotModeChanged = {},
                                        .onSubmit = {},
                                        .onCancel = {} });
        auto& field = *view.findChild<QLineEdit*>();
        field.setText(text);

        save(*view.window());
        const Picture picture(view);
        QVERIFY(picture.hasSize(QSizeF(484, view.height())));
        QCOMPARE(QColor(picture.background()), makePalette(look).color(QPalette::Window));
        QVERIFY(contrast(picture.pixel({ 0, 20 }), picture.background()) > 1.5);

        checkLabels(picture, view);
        checkField(picture, field);
        // A floating panel's line is bent into its corners.
        checkPadding(picture, view, floating ? 4 : 2);
    }

    void castsASoftShadow_data()
    {
        QTest::addColumn<Look>("look");
        QTest::newRow("light") << Look::light;
        QTest::newRow("dark") << Look::dark;
    }

    void castsASoftShadow()
    {
        QFETCH(const Look, look);
        QApplication::setPalette(makePalette(look));
        windows.setTranslucent(true);
        CapturePanelView& view = show({});
        const QImage image = view.window()->grab().toImage();
        const double scale = image.devicePixelRatio();
        const QRect frame
            = QRectF(QPointF(view.pos()) * scale, QSizeF(view.size()) * scale).toAlignedRect();
        const auto opacity = [&](QPoint pixel) { return qAlpha(image.pixel(pixel)); };

        for (const QPoint corner :
             { frame.topLeft(), frame.topRight(), frame.bottomLeft(), frame.bottomRight() })
            QVERIFY(opacity(corner) < 100);
        const int bend = qCeil(4 * scale);
        for (const QPoint inside :
             { frame.topLeft() + QPoint(bend, bend), frame.bottomRight() - QPoint(bend, bend) })
            QCOMPARE(opacity(inside), 255);

        const QPoint centre = frame.center();
        checkFading(image, { frame.left() - 1, centre.y() }, { -1, 0 });
        checkFading(image, { frame.right() + 1, centre.y() }, { 1, 0 });
        checkFading(image, { centre.x(), frame.top() - 1 }, { 0, -1 });
        checkFading(image, { centre.x(), frame.bottom() + 1 }, { 0, 1 });
        checkFading(image, frame.topLeft(), { -1, -1 });
        checkFading(image, frame.bottomRight(), { 1, 1 });
    }

private:
    [[nodiscard]] CapturePanelView& show(CapturePanelController::ShowRequest request)
    {
        controller->show(std::move(request));
        if (!QTest::qWaitForWindowExposed(windows.panel))
            qFatal("the panel does not appear");
        return *QWidget::find(windows.panel->winId())->findChild<CapturePanelView*>();
    }

    /// From `start` outwards there is ever less shadow, step by step, and none in the end.
    static void checkFading(const QImage& image, QPoint start, QPoint step)
    {
        int former = qAlpha(image.pixel(start));
        QVERIFY(former > 20 && former < 200);
        for (QPoint pixel = start + step; image.valid(pixel); pixel += step) {
            const int opacity = qAlpha(image.pixel(pixel));
            QVERIFY(opacity <= former && former - opacity < 30);
            former = opacity;
        }
        QVERIFY(former <= 2);
    }

    /// Each label that shows something shows it within its own area and apart from its neighbours.
    static void checkLabels(const Picture& picture, const QWidget& view)
    {
        QRectF former;
        for (const auto* label : view.findChildren<QLabel*>()) {
            if (!label->isVisible() || label->text().isEmpty())
                continue;
            const QRectF area(label->mapTo(&view, QPoint(0, 0)), label->size());
            const QRectF ink = picture.ink(area.adjusted(-2, -1, 2, 1));
            QVERIFY2(!ink.isEmpty(), qPrintable(label->text()));
            QVERIFY2(area.adjusted(-0.5, -0.5, 0.5, 0.5).contains(ink), qPrintable(label->text()));
            QVERIFY2(picture.strongestContrast(area) >= 4.5, qPrintable(label->text()));
            QVERIFY2(!former.intersects(area), qPrintable(label->text()));
            former = area;
        }
    }

    static void checkField(const Picture& picture, const QLineEdit& field)
    {
        const QRectF area = field.geometry();
        const QRectF ink = picture.ink(area.adjusted(0, -2, 0, 2));
        QVERIFY(!ink.isEmpty());
        QVERIFY(area.contains(ink));
        QVERIFY(picture.strongestContrast(area) >= 4.5);
    }

    /// Nothing is drawn into the padding but the border line.
    static void checkPadding(const Picture& picture, const QWidget& view, int line)
    {
        const QRectF inner = QRectF(view.rect()).adjusted(line, line, -line, -line);
        const QRectF content = QRectF(view.rect()).adjusted(12, 8, -12, -8);
        QVERIFY(content.adjusted(-0.5, -0.5, 0.5, 0.5).contains(picture.ink(inner)));
    }

    void save(QWidget& panel) const
    {
        const QString wanted = qEnvironmentVariable("QUIBEL_PICTURES_DIR");
        const QDir target(wanted.isEmpty() ? directory.path() : wanted);
        QString name = QString::fromUtf8(QTest::currentDataTag());
        name.replace(u", "_s, u"-"_s).replace(u' ', u'_');
        const double scale = QGuiApplication::primaryScreen()->devicePixelRatio();
        QVERIFY(target.mkpath(u"."_s));
        QVERIFY(panel.grab().save(target.filePath(u"%1@%2x.png"_s.arg(name).arg(scale))));
    }

    FakePanelWindows windows;
    FakeScreens screens;
    std::optional<CapturePanelController> controller;
    QTemporaryDir directory;
};

} // namespace quibel

QTEST_MAIN(quibel::PanelPicturesTest)
#include "PanelPicturesTest.moc"
