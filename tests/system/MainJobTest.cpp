#include "tests/platform/Scheduling.h"
#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QApplication>
#include <QFile>
#include <QJsonArray>
#include <QPixmap>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

const QByteArray screenshotPath = "/api/branches/b1/screenshots";

} // namespace

class MainJobTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private Q_SLOTS:
    void loadsNothingThatItHasNoUseFor()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        QVERIFY(session.openPanel());
        QFile maps(u"/proc/%1/maps"_s.arg(session.processId()));
        QVERIFY(maps.open(QIODevice::ReadOnly));
        const QByteArray loaded = maps.readAll();
        QVERIFY(loaded.contains("libQt6Network"));
        // Not libssl: libproxy of Debian 13 links it, through curl and LDAP.
        QVERIFY2(!loaded.contains("libqopensslbackend"), "TLS where none is spoken");
        QVERIFY2(!loaded.contains("libQt6Svg"), "more than a path for the logo");
        QVERIFY2(!loaded.contains(" rwxp "), "code made at run time: for a regular expression");
    }

    void interruptsWhatOthersDoWhenTheUserWantsSomething()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        QVERIFY(interruptsOthers(schedulingOf(session.processId()), schedulingOf(thisThread)));
    }

    void carriesACaptureFromTheKeyPressToTheStoredBranch()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        EditorWindow editor(u"notes.txt – Editor"_s);
        QVERIFY(editor.bringToFront());
        const QImage shown = editor.grab().toImage();

        QVERIFY(session.openPanel());
        session.type(u"look into caching"_s);
        session.press(u"Down"_s);
        session.press(u"Right"_s);
        session.press(u"Return"_s);
        QTRY_COMPARE(session.countOf(branchPath), 1U);
        QTRY_VERIFY(editor.isActiveWindow());

        const auto& request = session.service.requests().at(1);
        QCOMPARE(request.method, "POST"_ba);
        QCOMPARE(request.header("Authorization"), "Bearer sk_system"_ba);
        QCOMPARE(request.header("Content-Type"), "application/json"_ba);
        const QJsonObject document = session.sent(branchPath);
        QCOMPARE(document[u"title"_s], u"look into caching"_s);
        QCOMPARE(document[u"project_id"_s], u"p2"_s);
        const QJsonValue snapshot = document[u"context_snapshot"_s];
        QCOMPARE(snapshot[u"active_window_title"_s], u"notes.txt – Editor"_s);
        QCOMPARE(snapshot[u"active_app"_s][u"name"_s], u"MainJobTest"_s);
        QCOMPARE(snapshot[u"active_app"_s][u"bundle_id"_s], u"MainJobTest"_s);

        QTRY_COMPARE(session.countOf(screenshotPath), 1U);
        const QJsonObject upload = session.sent(screenshotPath);
        QCOMPARE(upload[u"metadata"_s][u"capture_type"_s], u"active_window"_s);
        QImage picture;
        QVERIFY(picture.loadFromData(
            QByteArray::fromBase64(upload[u"image_base64"_s].toString().toLatin1()), "PNG"));
        QCOMPARE(picture.size(), shown.size());
        // Below the text field, whose caret blinks.
        const QRect below(0, 60, shown.width(), shown.height() - 60);
        QCOMPARE(picture.convertToFormat(QImage::Format_RGB32).copy(below),
                 shown.convertToFormat(QImage::Format_RGB32).copy(below));

        QTRY_VERIFY(session.output().contains("[Quibel] Screenshot captured\n"));
        QTRY_VERIFY(session.output().contains("[Quibel] Screenshot saved\n"));
        QVERIFY(session.output().contains("branch_id    : b1\n"));
        QCOMPARE(session.preferences()[u"quibel.screenshotMode"_s], u"on"_s);
        QCOMPARE(session.preferences()[u"quibel.lastUsedProjectId"_s], u"p2"_s);
        QCOMPARE(session.preferences()[u"ProjectStore.projects"_s].toArray(),
                 QJsonArray({ u"p2"_s }));
    }

    void eachPictureGoesToItsOwnBranch()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        session.service.answer(branchPath, Answer::json(201, R"({"id":"b1"})").heldBack());
        QVERIFY(session.branchOff(u"without a picture"_s));
        QTRY_COMPARE(session.countOf(branchPath), 1U);
        QTRY_VERIFY(!session.panel());

        session.service.answer(branchPath, Answer::json(201, R"({"id":"b2"})").heldBack());
        QVERIFY(session.openPanel());
        session.type(u"with one"_s);
        session.press(u"Right"_s);
        session.press(u"Return"_s);
        QTRY_COMPARE(session.countOf(branchPath), 2U);
        QTRY_VERIFY(session.output().contains("[Quibel] Screenshot captured\n"));
        session.service.release();
        QTRY_COMPARE(session.countOf("/api/branches/b2/screenshots"), 1U);
        QCOMPARE(session.countOf(screenshotPath), 0U);
    }

    void whatIsTypedAfterReturnGoesToTheApplicationUsedBefore()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        QVERIFY(session.branchOff(u"thought"_s));
        QTRY_VERIFY(!session.panel());
        QTRY_VERIFY(editor.isActiveWindow());
        session.type(u"work"_s);
        QTRY_COMPARE(editor.field.text(), u"work"_s);
        QTRY_COMPARE(session.sent(branchPath)[u"title"_s], u"thought"_s);
    }

    void escapeSendsNothingAndGivesTheKeyboardBack()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        QVERIFY(session.openPanel());
        session.type(u"never mind"_s);
        session.press(u"Escape"_s);
        QTRY_VERIFY(!session.panel());
        QTRY_VERIFY(editor.isActiveWindow());
        session.type(u"work"_s);
        QTRY_COMPARE(editor.field.text(), u"work"_s);
        QCOMPARE(session.countOf(branchPath), 0U);
    }

    void theArrowsDoNotMoveTheCaretAndAreKeptToThePanel()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        QVERIFY(session.openPanel());
        session.type(u"ab"_s);
        session.press(u"Left"_s);
        session.type(u"c"_s);
        session.press(u"Up"_s);
        session.press(u"Return"_s);
        QTRY_COMPARE(session.countOf(branchPath), 1U);
        QCOMPARE(session.sent(branchPath)[u"title"_s], u"abc"_s);
        QCOMPARE(session.sent(branchPath)[u"project_id"_s], u"p2"_s);
        QCOMPARE(session.preferences()[u"quibel.screenshotMode"_s], u"off"_s);
    }

    void thePanelIsCentredOnThePointerInsideTheScreen_data()
    {
        QTest::addColumn<QPoint>("pointer");
        QTest::newRow("middle") << QPoint(640, 400);
        QTest::newRow("bottom left") << QPoint(0, 799);
        QTest::newRow("top right") << QPoint(1279, 0);
    }

    void thePanelIsCentredOnThePointerInsideTheScreen()
    {
        QFETCH(QPoint, pointer);
        AgentSession session(desktop);
        QVERIFY(session.launch());
        QVERIFY(desktop.output(
            u"xdotool"_s,
            { u"mousemove"_s, QString::number(pointer.x()), QString::number(pointer.y()) }));
        QVERIFY(session.openPanel());
        const QRect panel = session.panel()->geometry;
        // The panel at the bottom is 32 pixels high.
        const QRect visible(0, 0, 1280, 768);
        QRect expected(QPoint(), panel.size());
        expected.moveTopLeft(pointer - QPoint(panel.width() / 2, panel.height() / 2));
        expected.moveLeft(std::clamp(expected.left(), 0, visible.width() - panel.width()));
        expected.moveTop(std::clamp(expected.top(), 0, visible.height() - panel.height()));
        QVERIFY2((panel.topLeft() - expected.topLeft()).manhattanLength() <= 2,
                 qPrintable(u"at %1, %2"_s.arg(panel.x()).arg(panel.y())));
        session.press(u"Escape"_s);
    }

    void aHeldKeyOpensThePanelOnce()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        QVERIFY(desktop.output(u"xset"_s, { u"r"_s, u"rate"_s, u"50"_s, u"50"_s }));
        QVERIFY(desktop.output(
            u"xdotool"_s,
            { u"keydown"_s, u"super"_s, u"keydown"_s, u"shift"_s, u"keydown"_s, u"b"_s }));
        QTRY_VERIFY(session.panelHasKeyboard());
        // The server repeats the key twenty times meanwhile; each would start the panel over.
        QVERIFY(desktop.output(u"sleep"_s, { u"0.4"_s }));
        QVERIFY(desktop.output(
            u"xdotool"_s, { u"keyup"_s, u"b"_s, u"keyup"_s, u"shift"_s, u"keyup"_s, u"super"_s }));
        session.type(u"once"_s);
        session.press(u"Return"_s);
        QTRY_COMPARE(session.countOf(branchPath), 1U);
        QCOMPARE(session.sent(branchPath)[u"title"_s], u"once"_s);
        QCOMPARE(session.sent(branchPath)[u"context_snapshot"_s][u"active_window_title"_s],
                 u"notes"_s);
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::MainJobTest, QApplication>(
        argc, argv, { .keyRing = true, .tray = true });
}

#include "MainJobTest.moc"
