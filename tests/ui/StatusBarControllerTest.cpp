#include "platform/freedesktop/KeyNames.h"
#include "tests/fakes/FakeStatusArea.h"
#include "ui/StatusBarController.h"

#include <QApplication>
#include <QDir>
#include <QImage>
#include <QPixmap>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

/// The menu as a person reads it.
QStringList shownTitles(const QMenu& menu)
{
    QStringList titles;
    for (const QAction* action : menu.actions())
        if (action->isVisible())
            titles << (action->isSeparator() ? u"---"_s : action->text());
    return titles;
}

/// The colour of the logo's stem, which is in the middle of any icon.
QColor inkOf(const QIcon& icon)
{
    const QColor color = icon.pixmap(64, 64).toImage().pixelColor(32, 44);
    return color.alpha() == 255 ? color : QColor();
}

constexpr QKeyCombination superShiftB = Qt::META | Qt::SHIFT | Qt::Key_B;

const QStringList titlesAtLaunch {
    u"Send Branch\tSuper+Shift+B"_s, u"---"_s, u"Connect Account…"_s, u"---"_s, u"Quit"_s
};

} // namespace

/// A controller in a status area of its own, and what its commands did.
struct Bench
{
    FakeStatusArea area;
    QStringList done;
    StatusBarController controller { area,
                                     superShiftB,
                                     { .sendBranch = [this] { done << u"send"_s; },
                                       .connectAccount = [this] { done << u"connect"_s; },
                                       .terminate = [this] { done << u"terminate"_s; } } };

    [[nodiscard]] QAction* command(const QString& title)
    {
        for (QAction* action : controller.menu().actions())
            if (action->text() == title)
                return action;
        return nullptr;
    }

    [[nodiscard]] QIcon icon() const { return controller.statusItem()->icon(); }
};

class StatusBarControllerTest : public QObject
{
    Q_OBJECT

    KeyNames keyNames;

private Q_SLOTS:
    void cleanup() { QApplication::setPalette({}); }

    void listsItsCommandsInOrder()
    {
        Bench bench;
        QCOMPARE(shownTitles(bench.controller.menu()), titlesAtLaunch);
        const QList<QAction*> actions = bench.controller.menu().actions();
        QCOMPARE(actions.size(), 7);
        QCOMPARE(actions[0], &bench.controller.statusMessageItem());
        QCOMPARE(actions[1], &bench.controller.statusMessageSeparator());
        QVERIFY(actions[1]->isSeparator());
    }

    void startsWithoutAMessage()
    {
        Bench bench;
        QCOMPARE(bench.controller.statusMessageItem().text(), u""_s);
        QVERIFY(!bench.controller.statusMessageItem().isVisible());
        QVERIFY(!bench.controller.statusMessageItem().isEnabled());
        QVERIFY(!bench.controller.statusMessageSeparator().isVisible());
    }

    void runsItsCommands()
    {
        Bench bench;
        bench.command(u"Send Branch\tSuper+Shift+B"_s)->trigger();
        QCOMPARE(bench.done, QStringList(u"send"_s));
        bench.command(u"Connect Account…"_s)->trigger();
        QCOMPARE(bench.done.last(), u"connect"_s);
        bench.command(u"Quit"_s)->trigger();
        QCOMPARE(bench.done, QStringList({ u"send"_s, u"connect"_s, u"terminate"_s }));
    }

    void hasAKeyEquivalentForQuitOnly()
    {
        Bench bench;
        for (const QAction* action : bench.controller.menu().actions())
            QCOMPARE(action->shortcut(),
                     action->text() == u"Quit"_s ? QKeySequence(Qt::META | Qt::Key_Q)
                                                 : QKeySequence());
    }

    void writesItsKeysAsTheDesktopDoes()
    {
        Bench bench;
        // What a menu of the toolkit draws beside an item.
        QCOMPARE(bench.command(u"Quit"_s)->shortcut().toString(QKeySequence::NativeText),
                 u"Super+Q"_s);
        FakeStatusArea area;
        StatusBarController other(area, Qt::CTRL | Qt::ALT | Qt::Key_Ampersand, {});
        QCOMPARE(shownTitles(other.menu()).constFirst(), u"Send Branch\tCtrl+Alt+&&"_s);
    }

    void quitsByItsKeyWhileTheMenuIsOpen()
    {
        Bench bench;
        QMenu& menu = bench.controller.menu();
        menu.popup({ 0, 0 });
        QTRY_VERIFY(menu.isVisible());
        QTest::keyClick(&menu, Qt::Key_Q);
        QTest::keyClick(&menu, Qt::Key_Q, Qt::ControlModifier);
        QCOMPARE(bench.done, QStringList());
        menu.popup({ 0, 0 });
        QTest::keyClick(&menu, Qt::Key_Q, Qt::MetaModifier);
        QCOMPARE(bench.done, QStringList(u"terminate"_s));
        QVERIFY(!menu.isVisible());
    }

    void endsTheProgramUnlessToldOtherwise()
    {
        FakeStatusArea area;
        StatusBarController controller(
            area, superShiftB, { .sendBranch = {}, .connectAccount = {} });
        QMetaObject::invokeMethod(
            this,
            [&controller] { controller.menu().actions().last()->trigger(); },
            Qt::QueuedConnection);
        QTimer::singleShot(std::chrono::seconds(20), this, [] { QCoreApplication::exit(1); });
        QCOMPARE(QCoreApplication::exec(), 0);
    }

    void showsAMessageAboveTheCommands()
    {
        Bench bench;
        bench.controller.setStatusMessage(u"Connection lost — reconnect account"_s);
        QCOMPARE(shownTitles(bench.controller.menu()),
                 QStringList({ u"Connection lost — reconnect account"_s, u"---"_s })
                     + titlesAtLaunch);
        QVERIFY(!bench.controller.statusMessageItem().isEnabled());
    }

    void removesTheMessage_data()
    {
        QTest::addColumn<std::optional<QString>>("message");
        QTest::newRow("none") << std::optional<QString>();
        QTest::newRow("empty") << std::optional(u""_s);
    }

    void removesTheMessage()
    {
        QFETCH(const std::optional<QString>, message);
        Bench bench;
        bench.controller.setStatusMessage(u"Something"_s);
        bench.controller.setStatusMessage(message);
        QCOMPARE(shownTitles(bench.controller.menu()), titlesAtLaunch);
        QCOMPARE(bench.controller.statusMessageItem().text(), u""_s);
        QVERIFY(!bench.controller.statusMessageItem().isVisible());
        QVERIFY(!bench.controller.statusMessageItem().isEnabled());
        QVERIFY(!bench.controller.statusMessageSeparator().isVisible());
    }

    void showsAnAmpersandAsItIs()
    {
        Bench bench;
        bench.controller.setStatusMessage(u"You & me"_s);
        QCOMPARE(bench.controller.statusMessageItem().text(), u"You && me"_s);
        QCOMPARE(bench.controller.statusMessageItem().iconText(), u"You & me"_s);
    }

    void showsItsItemWhenThereIsAStatusArea()
    {
        FakeStatusArea area;
        area.appear();
        const StatusBarController controller(area, superShiftB, {});
        QVERIFY(controller.statusItem());
        QVERIFY(controller.statusItem()->isVisible());
    }

    void waitsForTheStatusArea()
    {
        Bench bench;
        QVERIFY(!bench.controller.statusItem());
        bench.area.setForeground(Qt::red);
        QVERIFY(!bench.controller.statusItem());
        bench.area.appear();
        QVERIFY(bench.controller.statusItem());
        QVERIFY(bench.controller.statusItem()->isVisible());
        QCOMPARE(bench.controller.statusItem()->contextMenu(), &bench.controller.menu());
    }

    void showsItsItemAgainInAnAreaThatCameAgain()
    {
        Bench bench;
        bench.area.appear();
        bench.area.disappear();
        bench.controller.statusItem()->hide();
        bench.area.appear();
        QVERIFY(bench.controller.statusItem()->isVisible());
        QVERIFY(!bench.icon().isNull());
    }

    void hasALogoOfEighteenPointsAndNoTitle()
    {
        Bench bench;
        bench.area.appear();
        QVERIFY(bench.icon().availableSizes().contains(QSize(18, 18)));
        QCOMPARE(bench.controller.statusItem()->toolTip(), u""_s);
        QVERIFY(inkOf(bench.icon()).isValid());
    }

    void drawsTheLogoInTheColorOfTheArea()
    {
        Bench bench;
        bench.area.setForeground(QColor(0xff8800));
        bench.area.appear();
        QCOMPARE(inkOf(bench.icon()), QColor(0xff8800));
        bench.area.setForeground(QColor(0x00ff88));
        QCOMPARE(inkOf(bench.icon()), QColor(0x00ff88));
    }

    void drawsTheLogoInTheTextColorWhenTheAreaDoesNotSay()
    {
        QApplication::setPalette(QPalette(Qt::white, Qt::white));
        Bench bench;
        bench.area.appear();
        QCOMPARE(inkOf(bench.icon()), QApplication::palette().color(QPalette::WindowText));
        const QColor before = inkOf(bench.icon());
        QApplication::setPalette(QPalette(Qt::black, Qt::black));
        QTRY_COMPARE(inkOf(bench.icon()), QApplication::palette().color(QPalette::WindowText));
        QVERIFY(inkOf(bench.icon()) != before);
    }

    void takesTheLogoOfTheIconThemeWhereTheAreaColorsIt()
    {
        QTemporaryDir themes;
        const QDir theme(themes.filePath(u"mine/status"_s));
        QVERIFY(theme.mkpath(u"."_s));
        QFile index(themes.filePath(u"mine/index.theme"_s));
        QVERIFY(index.open(QIODevice::WriteOnly));
        index.write("[Icon Theme]\nName=mine\nDirectories=status\n[status]\nSize=22\n");
        index.close();
        QImage logo(22, 22, QImage::Format_RGB32);
        logo.fill(Qt::magenta);
        QVERIFY(logo.save(theme.filePath(u"quibel-tree-logo-symbolic.png"_s)));

        Bench bench;
        bench.area.kind = StatusAreaKind::statusNotifier;
        bench.area.appear();
        QCOMPARE(bench.icon().name(), u""_s);
        QIcon::setThemeSearchPaths({ themes.path() });
        QIcon::setThemeName(u"mine"_s);
        bench.area.kind = StatusAreaKind::embedding;
        bench.area.appear();
        bench.area.setForeground(std::nullopt);
        QCOMPARE(bench.icon().name(), u""_s);
        bench.area.kind = StatusAreaKind::statusNotifier;
        bench.area.setForeground(std::nullopt);
        QCOMPARE(bench.icon().name(), u"quibel-tree-logo-symbolic"_s);
        bench.area.setForeground(QColor(0xff8800));
        QCOMPARE(bench.icon().name(), u""_s);
        QCOMPARE(inkOf(bench.icon()), QColor(0xff8800));
    }

    void opensItsMenuOnAClick()
    {
        Bench bench;
        bench.area.appear();
        Q_EMIT bench.controller.statusItem()->activated(QSystemTrayIcon::MiddleClick);
        QVERIFY(!bench.controller.menu().isVisible());
        Q_EMIT bench.controller.statusItem()->activated(QSystemTrayIcon::Trigger);
        QVERIFY(bench.controller.menu().isVisible());
        bench.controller.menu().close();
    }
};

} // namespace quibel

QTEST_MAIN(quibel::StatusBarControllerTest)
#include "StatusBarControllerTest.moc"
