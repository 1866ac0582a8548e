#include "tests/panels/Announcements.h"
#include "ui/CapturePanelView.h"
#include "ui/TransitionLabel.h"

#include <QAbstractAnimation>
#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QInputMethodEvent>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QTest>

#include <cmath>

namespace quibel {

using namespace Qt::StringLiterals;
using testing::Announcements;

namespace {

ProjectList makeProjects(int count)
{
    const QStringList names { u"Alpha"_s, u"Beta"_s, u"Gamma"_s };
    ProjectList projects;
    projects.reserve(count);
    for (int i = 0; i < count; ++i)
        projects.push_back({ .id = QString::number(i), .name = names[i] });
    return projects;
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

double contrast(const QColor& a, const QColor& b)
{
    const auto [dark, light] = std::minmax({ luminance(a.rgb()), luminance(b.rgb()) });
    return (light + 0.05) / (dark + 0.05);
}

/// The colour of a dark text on light ground, painted so large that its strokes are filled.
QColor strongestColor(QWidget& text)
{
    constexpr int scale = 8;
    QImage picture(text.size() * scale, QImage::Format_RGB32);
    picture.setDevicePixelRatio(scale);
    picture.fill(Qt::white);
    text.render(&picture);
    QColor strongest = Qt::white;
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x)
            if (const QColor color = picture.pixelColor(x, y);
                color.lightness() < strongest.lightness())
                strongest = color;
    return strongest;
}

/// The text of each row, top to bottom; hidden labels left out.
QStringList shownTexts(const QWidget& view)
{
    QStringList texts;
    for (const auto* label : view.findChildren<QLabel*>())
        if (label->isVisibleTo(&view))
            texts << label->text();
    return texts;
}

} // namespace

/// A view on screen over a state of its own, and what it handed on.
struct Bench
{
    explicit Bench(int projects = 3, ScreenshotMode mode = ScreenshotMode::off)
        : state(makeProjects(projects), 0, false, mode)
    {
        view.show();
        view.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&view));
    }

    CapturePanelState state;
    QStringList submissions;
    int cancellations = 0;
    CapturePanelView view {
        state,
        [this](const QString& text, const Project& project, ScreenshotMode mode) {
            submissions << u"%1|%2|%3"_s.arg(text, project.name, rawValue(mode));
        },
        [this] { ++cancellations; }
    };

    [[nodiscard]] QLineEdit& field() const { return *view.findChild<QLineEdit*>(); }

    [[nodiscard]] TransitionLabel* label(const QString& text) const
    {
        for (auto* label : view.findChildren<TransitionLabel*>())
            if (label->text() == text)
                return label;
        return nullptr;
    }

    /// Lets the view follow its state.
    static void settle() { QCoreApplication::processEvents(); }
};

class CapturePanelViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        QApplication::setPalette({});
        QApplication::setLayoutDirection(Qt::LeftToRight);
    }

    void showsItsRows()
    {
        const Bench bench;
        QCOMPARE(shownTexts(bench.view),
                 QStringList({ u"Quibel"_s,
                               u"Project:"_s,
                               u"Alpha"_s,
                               u"↑↓"_s,
                               u"No screenshot"_s,
                               u"Take screenshot"_s,
                               u"← / → to change"_s }));
        QCOMPARE(bench.field().placeholderText(), u"What do you want to branch?"_s);
        QCOMPARE(bench.field().text(), u""_s);
    }

    void stacksItsRowsWithTheirSpacing()
    {
        Bench bench;
        bench.state.setShowSyncWarning(true);
        QTRY_VERIFY(bench.label(u"Offline — not syncing"_s)->isVisible());
        const auto area = [&bench](const QString& text) { return bench.label(text)->geometry(); };
        const QRect product = area(u"Quibel"_s);
        const QRect project = area(u"Project:"_s);
        const QRect offline = area(u"Offline — not syncing"_s);
        const QRect choice = area(u"No screenshot"_s);
        const QRect field = bench.field().geometry();

        QCOMPARE(bench.view.width(), 460 + 12 + 12);
        QCOMPARE(product.topLeft(), QPoint(12, 8));
        QCOMPARE(project.top(), product.bottom() + 1 + 3);
        QCOMPARE(offline.top(), project.bottom() + 1 + 3);
        QCOMPARE(offline.height(), 12);
        QCOMPARE(choice.top(), offline.bottom() + 1 + 3);
        QCOMPARE(field.top(), choice.bottom() + 1 + 3);
        QCOMPARE(bench.view.height(), field.bottom() + 1 + 8);
        QCOMPARE(field.left(), 12);
        QCOMPARE(field.width(), 460);
        for (const QRect& row : { project, offline, choice })
            QCOMPARE(row.left(), 12);

        QCOMPARE(area(u"Alpha"_s).left(), project.right() + 1 + 6);
        QCOMPARE(area(u"↑↓"_s).left(), area(u"Alpha"_s).right() + 1 + 6);
        QCOMPARE(area(u"Take screenshot"_s).left(), choice.right() + 1 + 8);
        QCOMPARE(area(u"← / → to change"_s).left(), area(u"Take screenshot"_s).right() + 1 + 8);
        QCOMPARE(area(u"↑↓"_s).center().y(), project.center().y());
    }

    void offersTheScreenshotChoicesWhereTheirKeysPoint_data()
    {
        QTest::addColumn<Qt::LayoutDirection>("direction");
        QTest::addColumn<bool>("endsAtTheRight");
        QTest::newRow("left to right") << Qt::LeftToRight << false;
        QTest::newRow("mirrored") << Qt::RightToLeft << true;
    }

    void offersTheScreenshotChoicesWhereTheirKeysPoint()
    {
        QFETCH(const Qt::LayoutDirection, direction);
        QFETCH(const bool, endsAtTheRight);
        QApplication::setLayoutDirection(direction);
        const Bench bench;
        const QRect off = bench.label(u"No screenshot"_s)->geometry();
        const QRect on = bench.label(u"Take screenshot"_s)->geometry();
        const QRect hint = bench.label(u"← / → to change"_s)->geometry();
        QCOMPARE(on.left(), off.right() + 1 + 8);
        QCOMPARE(hint.left(), on.right() + 1 + 8);
        const QRect content = bench.view.rect().adjusted(12, 8, -12, -8);
        QCOMPARE(hint.right() == content.right(), endsAtTheRight);
        QCOMPARE(off.left() == content.left(), !endsAtTheRight);
    }

    void hasTheSizesOfItsTextStyles_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("weight");
        QTest::newRow("product") << u"Quibel"_s << 11 << int(QFont::Medium);
        QTest::newRow("project") << u"Project:"_s << 12 << int(QFont::Normal);
        QTest::newRow("name") << u"Alpha"_s << 12 << int(QFont::Medium);
        QTest::newRow("project hint") << u"↑↓"_s << 10 << int(QFont::Normal);
        QTest::newRow("offline") << u"Offline — not syncing"_s << 10 << int(QFont::Normal);
        QTest::newRow("chosen mode") << u"No screenshot"_s << 12 << int(QFont::Medium);
        QTest::newRow("other mode") << u"Take screenshot"_s << 12 << int(QFont::Normal);
        QTest::newRow("mode hint") << u"← / → to change"_s << 10 << int(QFont::Normal);
    }

    void hasTheSizesOfItsTextStyles()
    {
        QFETCH(const QString, text);
        QFETCH(const int, size);
        QFETCH(const int, weight);
        const Bench bench;
        QFont font = QApplication::font();
        font.setPixelSize(size);
        font.setWeight(QFont::Weight(weight));
        const QFontMetricsF metrics(font);
        QCOMPARE(bench.label(text)->sizeHint(),
                 QSize(qCeil(metrics.horizontalAdvance(text)), qCeil(metrics.height())));
        QCOMPARE(bench.label(text)->content().style.weight, weight);
    }

    void hasTheColorsOfItsTextStyles_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("primary");
        QTest::newRow("product") << u"Quibel"_s << false;
        QTest::newRow("project") << u"Project:"_s << false;
        QTest::newRow("name") << u"Alpha"_s << false;
        QTest::newRow("project hint") << u"↑↓"_s << false;
        QTest::newRow("offline") << u"Offline — not syncing"_s << false;
        QTest::newRow("chosen mode") << u"No screenshot"_s << true;
        QTest::newRow("other mode") << u"Take screenshot"_s << false;
        QTest::newRow("mode hint") << u"← / → to change"_s << false;
    }

    void hasTheColorsOfItsTextStyles()
    {
        QFETCH(const QString, text);
        QFETCH(const bool, primary);
        const QColor strong = Qt::black;
        QApplication::setPalette(QPalette(Qt::white, Qt::white));
        Bench bench;
        bench.state.setShowSyncWarning(true);
        QTRY_VERIFY(bench.label(u"Offline — not syncing"_s)->isVisible());
        QCOMPARE(bench.view.palette().color(QPalette::WindowText), strong);
        const QColor weak
            = TextStyle { .foreground = Foreground::secondary }.color(bench.view.palette());
        QVERIFY(weak.lightness() > 60);
        QCOMPARE(strongestColor(*bench.label(text)), primary ? strong : weak);
    }

    void hasALargerTextFieldWithoutAFrame()
    {
        const Bench bench;
        QCOMPARE(bench.field().font().pixelSize(), 15);
        QVERIFY(!bench.field().hasFrame());
        QVERIFY(bench.field().testAttribute(Qt::WA_MacSmallSize));
    }

    void emphasisesTheChosenMode()
    {
        Bench bench;
        const QString off = u"No screenshot"_s;
        const QString on = u"Take screenshot"_s;
        const auto check = [&bench](const QString& chosen, const QString& other) {
            const TextStyle strong = bench.label(chosen)->content().style;
            QCOMPARE(strong.weight, QFont::Medium);
            QCOMPARE(strong.foreground, Foreground::primary);
            const TextStyle weak = bench.label(other)->content().style;
            QCOMPARE(weak.weight, QFont::Normal);
            QCOMPARE(weak.foreground, Foreground::secondary);
        };
        check(off, on);
        QCOMPARE(bench.label(off)->content().identity, u"screenshot-off"_s);
        QCOMPARE(bench.label(on)->content().identity, u"screenshot-on-inactive"_s);
        bench.state.setScreenshotMode(ScreenshotMode::on);
        Bench::settle();
        check(on, off);
        QCOMPARE(bench.label(off)->content().identity, u"screenshot-off-inactive"_s);
        QCOMPARE(bench.label(on)->content().identity, u"screenshot-on"_s);
    }

    void hintsAtTheArrowKeysForTwoProjectsOrMore_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<bool>("hint");
        QTest::newRow("none") << 0 << false;
        QTest::newRow("one") << 1 << false;
        QTest::newRow("two") << 2 << true;
        QTest::newRow("three") << 3 << true;
    }

    void hintsAtTheArrowKeysForTwoProjectsOrMore()
    {
        QFETCH(const int, count);
        QFETCH(const bool, hint);
        Bench bench(count);
        QCOMPARE(shownTexts(bench.view).contains(u"↑↓"_s), hint);
        bench.state.setProjects(makeProjects(hint ? 1 : 2));
        Bench::settle();
        QCOMPARE(shownTexts(bench.view).contains(u"↑↓"_s), !hint);
    }

    void namesTheSelectedProject()
    {
        Bench bench;
        bench.state.setSelectedIndex(7);
        Bench::settle();
        QCOMPARE(shownTexts(bench.view)[2], u"Gamma"_s);
        bench.state.setSelectedIndex(-4);
        Bench::settle();
        QCOMPARE(shownTexts(bench.view)[2], u"Alpha"_s);
        QCOMPARE(bench.label(u"Alpha"_s)->content().identity, u"0"_s);
        bench.state.setProjects({});
        Bench::settle();
        QCOMPARE(shownTexts(bench.view)[2], u""_s);
    }

    void keepsItsHeightWhenTheWarningComesAndGoes()
    {
        Bench bench;
        const QSize size = bench.view.sizeHint();
        const QRect choice = bench.label(u"No screenshot"_s)->geometry();
        TransitionLabel* line = bench.label(u"Offline — not syncing"_s);
        const auto isHiddenFromAccessibility = [line] {
            return QAccessible::queryAccessibleInterface(line)->state().invisible == 1U;
        };
        QVERIFY(!line->isVisible());
        QVERIFY(isHiddenFromAccessibility());

        bench.state.setShowSyncWarning(true);
        QTRY_VERIFY(line->isVisible());
        QVERIFY(!isHiddenFromAccessibility());
        QCOMPARE(bench.view.sizeHint(), size);
        QCOMPARE(bench.label(u"No screenshot"_s)->geometry(), choice);

        bench.state.setShowSyncWarning(false);
        QTRY_VERIFY(!line->isVisible());
        QVERIFY(isHiddenFromAccessibility());
        QCOMPARE(bench.view.sizeHint(), size);
        QCOMPARE(bench.label(u"No screenshot"_s)->geometry(), choice);
    }

    void takesTheKeyboardWhenItAppears()
    {
        const Bench bench;
        QVERIFY(bench.field().hasFocus());
    }

    void submitsTheTextAsTyped_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<Qt::Key>("key");
        QTest::newRow("words") << u"a thought"_s << Qt::Key_Return;
        QTest::newRow("keypad") << u"a thought"_s << Qt::Key_Enter;
        QTest::newRow("white space") << u"  a  "_s << Qt::Key_Return;
        QTest::newRow("nothing") << u""_s << Qt::Key_Return;
    }

    void submitsTheTextAsTyped()
    {
        QFETCH(const QString, text);
        QFETCH(const Qt::Key, key);
        Bench bench;
        bench.state.setSelectedIndex(1);
        bench.state.setScreenshotMode(ScreenshotMode::on);
        QTest::keyClicks(&bench.field(), text);
        QTest::keyClick(&bench.field(), key);
        QCOMPARE(bench.submissions, QStringList(text + u"|Beta|on"_s));
        QCOMPARE(bench.cancellations, 0);
    }

    void submitsTheNearestProjectForAnyIndex()
    {
        Bench bench;
        bench.state.setSelectedIndex(7);
        QTest::keyClick(&bench.field(), Qt::Key_Return);
        bench.state.setSelectedIndex(-4);
        QTest::keyClick(&bench.field(), Qt::Key_Return);
        QCOMPARE(bench.submissions, QStringList({ u"|Gamma|off"_s, u"|Alpha|off"_s }));
    }

    void submitsNothingWithoutAProject()
    {
        Bench bench(0);
        QTest::keyClicks(&bench.field(), u"text"_s);
        QTest::keyClick(&bench.field(), Qt::Key_Return);
        QCOMPARE(bench.submissions, QStringList());
        QVERIFY(bench.view.isVisible());
        QCOMPARE(bench.field().text(), u"text"_s);
    }

    void cancelsOnEscape()
    {
        Bench bench;
        QTest::keyClicks(&bench.field(), u"text"_s);
        QTest::keyClick(&bench.field(), Qt::Key_Escape);
        QCOMPARE(bench.cancellations, 1);
        QCOMPARE(bench.submissions, QStringList());
    }

    void pastesLinesAsOneLine()
    {
        Bench bench;
        QApplication::clipboard()->setText(u"one\r\ntwo\nthree\n\nfour"_s);
        QTest::keyClick(&bench.field(), Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(bench.field().text(), u"one two three  four"_s);
        QCOMPARE(bench.field().cursorPosition(), 19);
        QTest::keyClick(&bench.field(), Qt::Key_Return);
        QCOMPARE(bench.submissions, QStringList(u"one two three  four|Alpha|off"_s));
    }

    void takesALongText()
    {
        Bench bench;
        const QString text = u"0123456789"_s.repeated(10000);
        QApplication::clipboard()->setText(text);
        QTest::keyClick(&bench.field(), Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(bench.field().text(), text);
    }

    void takesComposedText()
    {
        Bench bench;
        QInputMethodEvent composing(u"´"_s, {});
        QApplication::sendEvent(&bench.field(), &composing);
        QCOMPARE(bench.field().text(), u""_s);
        QInputMethodEvent composed;
        composed.setCommitString(u"é漢字"_s);
        QApplication::sendEvent(&bench.field(), &composed);
        QCOMPARE(bench.field().text(), u"é漢字"_s);
        QVERIFY(bench.field().testAttribute(Qt::WA_InputMethodEnabled));
    }

    void neverWidensForAName()
    {
        CapturePanelState state(
            { { .id = u"1"_s, .name = QString(100000, u'W') }, {} }, 0, false, ScreenshotMode::off);
        CapturePanelView view(state, {}, {});
        view.show();
        QCOMPARE(view.width(), 484);
        QVERIFY(view.layout()->minimumSize().width() <= 484);
        for (const auto* label : view.findChildren<QLabel*>()) {
            if (!label->isVisible())
                continue;
            QVERIFY(view.rect().adjusted(12, 8, -12, -8).contains(label->geometry()));
            if (label->text().size() < 50)
                QVERIFY(label->width() >= label->sizeHint().width());
        }
    }

    void keepsItsHeightForAnyName_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("empty") << u""_s;
        QTest::newRow("two lines") << u"a\nb"_s;
        QTest::newRow("markup") << u"<h1>a</h1>"_s;
        QTest::newRow("emoji") << u"🌳🌿"_s;
        QTest::newRow("right to left") << u"פרויקט"_s;
    }

    void keepsItsHeightForAnyName()
    {
        QFETCH(const QString, name);
        const int height = Bench().view.sizeHint().height();
        const CapturePanelState state(
            { { .id = u"1"_s, .name = name } }, 0, false, ScreenshotMode::off);
        const CapturePanelView view(state, {}, {});
        QCOMPARE(view.sizeHint().height(), height);
    }

    void followsThePalette()
    {
        const Bench bench;
        for (const QColor window : { QColor(0xffffff), QColor(0x202326), QColor(0x777777) }) {
            QApplication::setPalette(QPalette(window, window));
            Bench::settle();
            const QPalette colors = bench.field().palette();
            QCOMPARE(colors.color(QPalette::Text),
                     bench.view.palette().color(QPalette::WindowText));
            const QColor hint = colors.color(QPalette::PlaceholderText);
            const QColor text = colors.color(QPalette::Text);
            QVERIFY(contrast(hint, window) >= std::min(4.5, contrast(text, window)));
            QCOMPARE(hint, TextStyle {}.color(bench.view.palette()));
        }
    }

    void tellsAssistiveToolsWhatItShows()
    {
        Bench bench;
        auto* field = QAccessible::queryAccessibleInterface(&bench.field());
        QCOMPARE(field->role(), QAccessible::EditableText);
        QCOMPARE(field->text(QAccessible::Name), u"What do you want to branch?"_s);
        auto* view = QAccessible::queryAccessibleInterface(&bench.view);
        QStringList labels;
        for (int index = 0; index < view->childCount(); ++index)
            if (view->child(index)->role() == QAccessible::StaticText)
                labels << view->child(index)->text(QAccessible::Name);
            else if (view->child(index)->role() == QAccessible::RadioButton)
                labels << u"choice: "_s + view->child(index)->text(QAccessible::Name);
        QCOMPARE(labels,
                 QStringList({ u"Quibel"_s,
                               u"Project:"_s,
                               u"Alpha"_s,
                               u"↑↓"_s,
                               u"choice: No screenshot"_s,
                               u"choice: Take screenshot"_s,
                               u"← / → to change"_s }));
    }

    void tellsAssistiveToolsOfAnOfflineLineThatIsShownOnly()
    {
        Bench bench;
        auto* view = QAccessible::queryAccessibleInterface(&bench.view);
        auto* line = QAccessible::queryAccessibleInterface(bench.label(u"Offline — not syncing"_s));
        QCOMPARE(view->indexOfChild(line), -1);
        bench.state.setShowSyncWarning(true);
        QTRY_VERIFY(view->indexOfChild(line) >= 0);
        bench.state.setShowSyncWarning(false);
        QTRY_COMPARE(view->indexOfChild(line), -1);
    }

    void announcesWhatAKeyChanges()
    {
        Bench bench;
        Bench::settle();
        const Announcements announcements;
        bench.state.selectNext();
        Bench::settle();
        bench.state.setScreenshotMode(ScreenshotMode::on);
        Bench::settle();
        bench.state.setScreenshotMode(ScreenshotMode::on);
        Bench::settle();
        bench.state.setScreenshotMode(ScreenshotMode::off);
        Bench::settle();
        bench.state.selectPrevious();
        Bench::settle();
        QCOMPARE(announcements.heard(),
                 QStringList({ u"Beta"_s, u"Take screenshot"_s, u"No screenshot"_s, u"Alpha"_s }));
        QVERIFY(bench.field().hasFocus());
    }

    void announcesAnotherProjectOfTheSameName()
    {
        CapturePanelState state(
            { { .id = u"1"_s, .name = u"Same"_s }, { .id = u"2"_s, .name = u"Same"_s } },
            0,
            false,
            ScreenshotMode::off);
        CapturePanelView view(state, {}, {});
        view.show();
        const Announcements announcements;
        state.selectNext();
        QTRY_VERIFY(announcements.heard().contains(u"Same"_s));
    }

    void announcesWhatIsChosenWhenItGetsTheKeyboard()
    {
        const Announcements announcements;
        Bench bench;
        QTRY_COMPARE(announcements.heard(), QStringList(u"Alpha, No screenshot"_s));
        bench.state.setShowSyncWarning(true);
        bench.state.setScreenshotMode(ScreenshotMode::on);
        Bench::settle();
        bench.field().clearFocus();
        bench.field().setFocus();
        QTRY_COMPARE(announcements.heard().back(),
                     u"Alpha, Take screenshot, Offline — not syncing"_s);
    }

    void tellsAssistiveToolsTheWholeName()
    {
        const QString name = u"🌳 A project whose name goes on and on, "_s.repeated(1000);
        const CapturePanelState state(
            { { .id = u"1"_s, .name = name } }, 0, false, ScreenshotMode::off);
        CapturePanelView view(state, {}, {});
        view.show();
        QStringList names;
        for (auto* label : view.findChildren<QLabel*>())
            names << QAccessible::queryAccessibleInterface(label)->text(QAccessible::Name);
        QVERIFY(names.contains(name));
    }

    void movesNothingWhenItAppears()
    {
        const Bench bench;
        const auto animations = bench.view.findChildren<QAbstractAnimation*>();
        QVERIFY(!animations.isEmpty());
        for (const auto* animation : animations)
            QCOMPARE(animation->state(), QAbstractAnimation::Stopped);
    }
};

} // namespace quibel

QTEST_MAIN(quibel::CapturePanelViewTest)
#include "CapturePanelViewTest.moc"
