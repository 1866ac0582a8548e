#include "platform/x11/XcbStatusArea.h"
#include "tests/desktop/RunOnDesktop.h"
#include "tests/platform/ClientWindow.h"
#include "tests/platform/StatusNotifierWatcher.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
using quibel::testing::ClientWindow;
using quibel::testing::StatusNotifierWatcher;
using quibel::testing::VirtualDesktop;

namespace quibel {

class XcbStatusAreaTest : public QObject
{
    Q_OBJECT

public:
    explicit XcbStatusAreaTest(VirtualDesktop& virtualDesktop)
        : desktop(virtualDesktop)
    {
    }

private Q_SLOTS:
    void init();
    void cleanup();

    void isAbsentWithoutATray();
    void isPresentWhenATrayIsThereAlready();
    void findsATrayOnAServerThatDoesNotTellOfSelections();
    void tellsOfATrayThatComesLateAndComesAgain();
    void tellsTheColourOfTheTray();
    void hasNoColourWhenTheTrayTellsNone();
    void isPresentWithAHostOnTheBus();
    void needsAHostBesidesTheWatcher();
    void isAbsentAgainWhenTheWatcherGoes();
    void takesNoColourFromATrayBesideAHost();
    void identifiesWhatIsThere();

private:
    [[nodiscard]] StatusAreaKind kind()
    {
        std::optional<StatusAreaKind> told;
        area->identify([&told](StatusAreaKind found) { told = found; });
        Q_ASSERT(!told);
        const bool isTold = QTest::qWaitFor([&told] { return told.has_value(); });
        return isTold ? *told : StatusAreaKind::none;
    }
    VirtualDesktop& desktop;
    std::unique_ptr<XcbConnection> x;
    std::unique_ptr<XcbStatusArea> area;
};

/// A window that is the tray, as long as it lives.
class Tray : public ClientWindow
{
public:
    Tray()
        : ClientWindow({})
    {
        xcb_set_selection_owner(
            connection().get(), id(), connection().atom("_NET_SYSTEM_TRAY_S0"), XCB_CURRENT_TIME);
        connection().flush();
    }

    void setForeground(std::uint32_t red, std::uint32_t green, std::uint32_t blue)
    {
        setNumbers(
            "_NET_SYSTEM_TRAY_COLORS", "CARDINAL", { red, green, blue, 0, 0, 0, 0, 0, 0, 0, 0, 0 });
    }
};

void XcbStatusAreaTest::init()
{
    x = XcbConnection::open();
    area = std::make_unique<XcbStatusArea>(*x);
}

void XcbStatusAreaTest::cleanup()
{
    area.reset();
    x.reset();
}

void XcbStatusAreaTest::isAbsentWithoutATray()
{
    QVERIFY(!area->isPresent());
    QCOMPARE(area->foreground(), std::nullopt);
}

void XcbStatusAreaTest::isPresentWhenATrayIsThereAlready()
{
    const Tray tray;
    QTRY_VERIFY(area->isPresent());
    const XcbStatusArea late(*x);
    QVERIFY(late.isPresent());
}

void XcbStatusAreaTest::findsATrayOnAServerThatDoesNotTellOfSelections()
{
    VirtualDesktop other(
        { .serverArguments = { u"-extension"_s, u"XFIXES"_s }, .windowManager = {} });
    QVERIFY(other.start());
    const QByteArray display = qgetenv("DISPLAY");
    qputenv("DISPLAY", other.environment().value(u"DISPLAY"_s).toLocal8Bit());
    {
        const auto connection = XcbConnection::open();
        QVERIFY(connection);
        const Tray tray;
        const XcbStatusArea found(*connection);
        QVERIFY(found.isPresent());
    }
    qputenv("DISPLAY", display);
}

void XcbStatusAreaTest::tellsOfATrayThatComesLateAndComesAgain()
{
    QSignalSpy appeared(area.get(), &StatusArea::appeared);
    for (int times = 1; times <= 3; ++times) {
        QProcess* panel = desktop.launch(u"tint2"_s);
        QVERIFY(panel);
        QTRY_COMPARE(appeared.size(), times);
        QVERIFY(area->isPresent());
        desktop.stop(panel);
        QTRY_VERIFY(!area->isPresent());
    }
    QCOMPARE(appeared.size(), 3);
}

void XcbStatusAreaTest::tellsTheColourOfTheTray()
{
    QSignalSpy changed(area.get(), &StatusArea::foregroundChanged);
    {
        Tray tray;
        tray.setForeground(0xFFFF, 0x8080, 0x0000);
        QTRY_COMPARE(area->foreground(), std::optional(QColor(255, 128, 0)));
        QTRY_VERIFY(!changed.isEmpty());

        changed.clear();
        tray.setForeground(0, 0, 0xFFFF);
        QVERIFY(changed.wait());
        QCOMPARE(area->foreground(), std::optional(QColor(0, 0, 255)));
        changed.clear();
    }
    QVERIFY(changed.wait());
    QCOMPARE(area->foreground(), std::nullopt);
}

void XcbStatusAreaTest::hasNoColourWhenTheTrayTellsNone()
{
    const Tray tray;
    QTRY_VERIFY(area->isPresent());
    QCOMPARE(area->foreground(), std::nullopt);
    QVERIFY(!area->colorsThemedIcons());
}

void XcbStatusAreaTest::isPresentWithAHostOnTheBus()
{
    QSignalSpy appeared(area.get(), &StatusArea::appeared);
    StatusNotifierWatcher watcher;
    watcher.setHost(true);
    QTRY_COMPARE(appeared.size(), 1);
    QVERIFY(area->isPresent());
    QCOMPARE(area->foreground(), std::nullopt);
    QVERIFY(area->colorsThemedIcons());

    const XcbStatusArea late(*x);
    QTRY_VERIFY(late.isPresent());

    watcher.setHost(false);
    QTRY_VERIFY(!area->isPresent());
    watcher.setHost(true);
    QTRY_COMPARE(appeared.size(), 2);
}

void XcbStatusAreaTest::needsAHostBesidesTheWatcher()
{
    QSignalSpy appeared(area.get(), &StatusArea::appeared);
    StatusNotifierWatcher watcher;
    // What the bus told before the answer to a later question has been heard by then.
    Tray tray;
    QTRY_COMPARE(appeared.size(), 1);
    tray.destroy();
    QTRY_VERIFY(!area->isPresent());
    watcher.setHost(true);
    QTRY_COMPARE(appeared.size(), 2);
}

void XcbStatusAreaTest::isAbsentAgainWhenTheWatcherGoes()
{
    auto watcher = std::make_unique<StatusNotifierWatcher>();
    watcher->setHost(true);
    QTRY_VERIFY(area->isPresent());
    watcher.reset();
    QTRY_VERIFY(!area->isPresent());
}

void XcbStatusAreaTest::takesNoColourFromATrayBesideAHost()
{
    Tray tray;
    tray.setForeground(0xFFFF, 0, 0);
    QTRY_VERIFY(area->foreground());
    QSignalSpy changed(area.get(), &StatusArea::foregroundChanged);
    StatusNotifierWatcher watcher;
    watcher.setHost(true);
    QTRY_COMPARE(area->foreground(), std::nullopt);
    QTRY_VERIFY(!changed.isEmpty());
    QVERIFY(area->isPresent());
}

void XcbStatusAreaTest::identifiesWhatIsThere()
{
    QCOMPARE(kind(), StatusAreaKind::none);
    const Tray tray;
    QTRY_COMPARE(kind(), StatusAreaKind::embedding);
    StatusNotifierWatcher watcher;
    QCOMPARE(kind(), StatusAreaKind::embedding);
    watcher.setHost(true);
    QCOMPARE(kind(), StatusAreaKind::statusNotifier);
}

} // namespace quibel

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::XcbStatusAreaTest>(argc, argv, {});
}

#include "XcbStatusAreaTest.moc"
