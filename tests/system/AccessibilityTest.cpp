#include "tests/system/AgentSession.h"
#include "tests/system/AssistiveTool.h"
#include "tests/system/DesktopTest.h"

#include <QClipboard>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel::testing {

/// The agent as a screen reader meets it.
class AccessibilityTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    static constexpr auto question = "What do you want to branch?";

    /// The showing parts of the agent's windows as "role: name", nested as they are.
    [[nodiscard]] static QStringList outline(const AssistiveTool& tool)
    {
        QStringList lines;
        for (const AssistiveTool::Part& part : tool.tree())
            if (part.depth > 0 && part.showing && !part.name.isEmpty())
                lines << part.role + u": "_s + part.name + (part.focused ? u", focused"_s : u""_s)
                        + (part.checked ? u", checked"_s : u""_s);
        return lines;
    }

    /// Presses Escape and waits until the panel is gone: the toolkit shows each key to the
    /// assistive tools first, and forgets one that they still look at when the agent ends.
    [[nodiscard]] static bool dismissPanel(const AgentSession& session)
    {
        session.press(u"Escape"_s);
        return QTest::qWaitFor(
            [&session] {
                return !session.panel() && !session.windowWithKeyboardIs(u"Connect Quibel"_s);
            },
            20'000);
    }

private Q_SLOTS:
    void everyPartOfThePanelHasARoleAndAName()
    {
        AgentSession session(desktop);
        const AssistiveTool tool;
        QVERIFY(session.launchConnected());
        QVERIFY(session.openPanel());
        QTRY_COMPARE(outline(tool),
                     QStringList({ u"dialog: Quibel"_s,
                                   u"notification: Atlas, No screenshot"_s,
                                   u"label: Quibel"_s,
                                   u"label: Project:"_s,
                                   u"label: Atlas"_s,
                                   u"label: ↑↓"_s,
                                   u"radio button: No screenshot, checked"_s,
                                   u"radio button: Take screenshot"_s,
                                   u"label: ← / → to change"_s,
                                   u"text: What do you want to branch?, focused"_s }));
        // What groups the parts is no control and has no name.
        for (const AssistiveTool::Part& part : tool.tree())
            QVERIFY2(!part.name.isEmpty() || part.role == u"filler"_s, qPrintable(part.role));
        QVERIFY(dismissPanel(session));
    }

    void everyPartOfTheKeyPanelHasARoleAndAName()
    {
        AgentSession session(desktop);
        const AssistiveTool tool;
        QVERIFY(session.launch());
        QVERIFY(session.chooseInMenu(AgentSession::MenuItem::connectAccount));
        const QString host = session.service.url().authority();
        QTRY_COMPARE(outline(tool),
                     QStringList({ u"dialog: Connect Quibel"_s,
                                   u"label: API Key"_s,
                                   u"password text: API Key, focused"_s,
                                   u"label: Generate an API key at %1/settings"_s.arg(host),
                                   u"button: Save"_s }));
        QVERIFY(dismissPanel(session));
    }

    void nothingTellsTheKeyThatIsEntered_data()
    {
        QTest::addColumn<bool>("pasted");
        QTest::newRow("typed") << false;
        QTest::newRow("pasted") << true;
    }

    void nothingTellsTheKeyThatIsEntered()
    {
        QFETCH(const bool, pasted);
        const QString key = u"ZJXWJZXW"_s; // letters that no text of the agent has;
        AgentSession session(desktop);
        AssistiveTool tool;
        QVERIFY(session.launch());
        session.service.answer("/api/projects", Answer::json(401, "{}"));
        QVERIFY(session.chooseInMenu(AgentSession::MenuItem::connectAccount));
        QTRY_VERIFY(tool.find(u"password text"_s, u"API Key"_s).has_value());
        tool.forget();
        QApplication::clipboard()->setText(key);
        if (pasted)
            session.press(u"ctrl+v"_s);
        else
            session.type(key);
        session.press(u"ctrl+a"_s);
        session.press(u"Return"_s);
        QTRY_COMPARE(tool.heard(), QStringList(u"Invalid API key."_s));
        QCOMPARE(session.service.requests().back().header("Authorization"),
                 "Bearer " + key.toLatin1());

        QVERIFY(!tool.events().isEmpty());
        for (const QChar character : key) {
            for (const QString& event : tool.events())
                QVERIFY2(!event.contains(character), qPrintable(event));
            for (const AssistiveTool::Part& part : tool.tree())
                QVERIFY2(!part.text.contains(character), qPrintable(part.text));
        }
        QCOMPARE(session.errors(), QByteArray());
        QVERIFY(dismissPanel(session));
    }

    void theItemsOfTheMenuAreNamed()
    {
        AgentSession session(desktop);
        const AssistiveTool tool;
        QVERIFY(session.launch());
        QVERIFY(session.chooseInMenu(AgentSession::MenuItem::connectAccount));
        QTRY_VERIFY(
            tool.events().contains(u"object:state-changed:focused 1 Send Branch\tSuper+Shift+B"_s));
        QTRY_VERIFY(tool.events().contains(u"object:state-changed:focused 1 Connect Account…"_s));
        QVERIFY(dismissPanel(session));
    }

    void changesAreAnnouncedWhileTheTextKeepsTheFocus()
    {
        AgentSession session(desktop);
        AssistiveTool tool;
        QVERIFY(session.launchConnected());
        QVERIFY(session.openPanel());
        QTRY_COMPARE(tool.heard(), QStringList(u"Atlas, No screenshot"_s));
        tool.forget();

        session.press(u"Down"_s);
        QTRY_COMPARE(tool.heard().value(0), u"Beacon"_s);
        session.press(u"Right"_s);
        QTRY_COMPARE(tool.heard().value(1), u"Take screenshot"_s);
        session.press(u"Right"_s);
        session.press(u"Left"_s);
        QTRY_COMPARE(tool.heard().value(2), u"No screenshot"_s);
        session.press(u"Up"_s);
        QTRY_COMPARE(tool.heard().value(3), u"Atlas"_s);
        const auto field = tool.find(u"text"_s, QString::fromLatin1(question));
        QVERIFY(field && field->focused);
        QVERIFY(dismissPanel(session));
    }

    void theOfflineLineIsThereOnlyWhenItIsShown()
    {
        const QString line = u"Offline — not syncing"_s;
        AgentSession session(desktop);
        AssistiveTool tool;
        QVERIFY(session.launchConnected());
        QVERIFY(session.openPanel());
        QTRY_VERIFY(tool.find(u"text"_s, QString::fromLatin1(question)));
        QVERIFY(!tool.find(u"label"_s, line));
        QTRY_COMPARE(tool.heard(), QStringList(u"Atlas, No screenshot"_s));
        QVERIFY(dismissPanel(session));

        session.forgetKey();
        tool.forget();
        QVERIFY(session.openPanel());
        QTRY_VERIFY(tool.find(u"label"_s, line));
        QTRY_COMPARE(tool.heard(), QStringList(u"Atlas, No screenshot, "_s + line));
        QVERIFY(dismissPanel(session));
    }

    void anErrorOfTheKeyPanelIsAnnounced()
    {
        AgentSession session(desktop);
        const AssistiveTool tool;
        QVERIFY(session.launch());
        session.service.answer("/api/projects", Answer::json(401, "{}"));
        QVERIFY(session.chooseInMenu(AgentSession::MenuItem::connectAccount));
        QTRY_VERIFY(session.windowWithKeyboardIs(u"Connect Quibel"_s));
        session.press(u"Return"_s);
        QTRY_COMPARE(tool.heard(), QStringList(u"API key is required."_s));
        QTRY_VERIFY(tool.find(u"label"_s, u"API key is required."_s));
        session.type(u"sk_wrong"_s);
        session.press(u"Return"_s);
        QTRY_COMPARE(tool.heard(),
                     QStringList({ u"API key is required."_s, u"Invalid API key."_s }));
        QTRY_VERIFY(tool.find(u"label"_s, u"Invalid API key."_s));
        QVERIFY(tool.find(u"password text"_s, u"API Key"_s)->focused);
        QVERIFY(dismissPanel(session));
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::AccessibilityTest, QApplication>(
        argc, argv, { .keyRing = true, .tray = true, .accessibility = true });
}

#include "AccessibilityTest.moc"
