#include "tests/browser/Browser.h"
#include "tests/inbox/program/InboxProcess.h"
#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel::testing {

/// The agent, the inbox and its page, as one person uses them together.
class InboxTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private Q_SLOTS:
    void initTestCase() { QVERIFY(browser.start()); }

    void showsWhatTheAgentSendsOnThePageAtOnce()
    {
        const QTemporaryDir directory;
        inbox::testing::InboxProcess inbox({ u"--data"_s, directory.filePath(u"data"_s) });
        const auto url = inbox.serve();
        QVERIFY(!url.isEmpty());
        QCOMPARE(inbox.run({ u"projects"_s, u"add"_s, u"Garden"_s }).exitCode, 0);
        QCOMPARE(inbox.run({ u"projects"_s, u"add"_s, u"House"_s }).exitCode, 0);
        const auto link = inbox.run({ u"open"_s, u"--print"_s }).output.trimmed();
        QVERIFY(browser.open(QUrl(QString::fromUtf8(link))));
        QVERIFY(browser.waitForText(u"#empty"_s, u"No branches yet"_s));

        AgentSession session(desktop);
        QVERIFY(session.storeKey(inbox.createKey()));
        QProcessEnvironment surroundings;
        surroundings.insert(u"QUIBEL_API_BASE_URL"_s, url.toString());
        QVERIFY(session.launch(surroundings));
        QTRY_VERIFY(session.output().contains("Loaded 2 projects from API\n"));
        EditorWindow editor(u"notes.txt – Editor"_s);
        QVERIFY(editor.bringToFront());
        QVERIFY(session.openPanel());
        session.type(u"look into caching"_s);
        session.press(u"Down"_s);
        session.press(u"Right"_s);
        session.press(u"Return"_s);

        QVERIFY(browser.waitForText(u"article h2"_s, u"look into caching"_s));
        QVERIFY(browser.waitUntil(u"document.querySelector('.thumbnail img')?.naturalWidth === "_s
                                  + QString::number(editor.width())));
        QVERIFY(browser.text(u".about"_s).contains(u"notes.txt – Editor"_s));
        QVERIFY(browser.text(u"article"_s).contains(u"House"_s));
        QCOMPARE(browser.complaints(), QStringList());
        QVERIFY(inbox.stop());
    }

private:
    Browser browser;
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::InboxTest, QApplication>(
        argc, argv, { .keyRing = true });
}

#include "InboxTest.moc"
