#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QApplication>
#include <QClipboard>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel::testing {

/// Keys as keyboards of the world send them.
class InputTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    std::unique_ptr<AgentSession> session;
    std::unique_ptr<EditorWindow> editor;

    [[nodiscard]] bool setLayout(const QStringList& arguments) const
    {
        return desktop.output(u"setxkbmap"_s, arguments).has_value();
    }

    /// Sends what the panel holds and returns the text that the service got.
    [[nodiscard]] QString send()
    {
        const auto before = session->countOf(branchPath);
        session->press(u"Return"_s);
        if (!QTest::qWaitFor([&] { return session->countOf(branchPath) > before; }, 20'000))
            return u"(nothing was sent)"_s;
        return session->sent(branchPath, before)[u"context_snapshot"_s][u"captured_text"_s]
            .toString();
    }

private Q_SLOTS:
    void init()
    {
        QVERIFY(setLayout({ u"us"_s }));
        session = std::make_unique<AgentSession>(desktop);
        QVERIFY(session->storeKey());
        QVERIFY(session->launch());
        QTRY_VERIFY(session->output().contains("Loaded"));
        editor = std::make_unique<EditorWindow>(u"notes"_s);
        QVERIFY(editor->bringToFront());
    }

    void cleanup()
    {
        session.reset();
        editor.reset();
    }

    void deadKeysComposeInTheTextField()
    {
        QVERIFY(setLayout({ u"us"_s, u"-variant"_s, u"intl"_s }));
        QVERIFY(session->openPanel());
        session->press(u"c"_s);
        session->press(u"a"_s);
        session->press(u"f"_s);
        session->press(u"dead_acute"_s);
        session->press(u"e"_s);
        QCOMPARE(send(), u"café"_s);
    }

    void aComposeKeyComposesInTheTextField()
    {
        QVERIFY(setLayout({ u"us"_s, u"-option"_s, u"compose:menu"_s }));
        QVERIFY(session->openPanel());
        session->press(u"Multi_key"_s);
        session->press(u"s"_s);
        session->press(u"s"_s);
        QCOMPARE(send(), u"ß"_s);
        QVERIFY(setLayout({ u"-option"_s, u""_s }));
    }

    void pastedLineBreaksBecomeBlanks()
    {
        QApplication::clipboard()->setText(u"first line\nsecond line\r\nthird"_s);
        QVERIFY(session->openPanel());
        session->press(u"ctrl+v"_s);
        QCOMPARE(send(), u"first line second line third"_s);
    }

    void otherScriptsAndEmojiArriveAsTyped()
    {
        QApplication::clipboard()->setText(u"Идея 💡 アイデア"_s);
        QVERIFY(session->openPanel());
        session->press(u"ctrl+v"_s);
        QCOMPARE(send(), u"Идея 💡 アイデア"_s);
    }

    void theHotKeyWorksWithLocksOn_data()
    {
        QTest::addColumn<QString>("lock");
        QTest::newRow("Caps Lock") << u"Caps_Lock"_s;
        QTest::newRow("Num Lock") << u"Num_Lock"_s;
        QTest::newRow("Scroll Lock") << u"Scroll_Lock"_s;
    }

    void theHotKeyWorksWithLocksOn()
    {
        QFETCH(QString, lock);
        session->press(lock);
        const bool opened = session->openPanel();
        session->press(u"Escape"_s);
        session->press(lock);
        QVERIFY(opened);
        QTRY_VERIFY(!session->panel());
    }

    void theHotKeyFollowsTheLayout_data()
    {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<int>("keycode");
        QTest::newRow("German") << u"de"_s << 56;
        QTest::newRow("French") << u"fr"_s << 56;
        QTest::newRow("Dvorak") << u"dvorak"_s << 57;
        QTest::newRow("Cyrillic, which has no b") << u"ru"_s << 56;
    }

    void theHotKeyFollowsTheLayout()
    {
        QFETCH(QString, layout);
        QFETCH(int, keycode);
        QVERIFY(setLayout(layout == u"dvorak" ? QStringList { u"us"_s, u"-variant"_s, layout }
                                              : QStringList { layout }));
        QVERIFY(QTest::qWaitFor(
            [&] {
                static_cast<void>(
                    desktop.output(u"xdotool"_s, { u"key"_s, u"super+shift+%1"_s.arg(keycode) }));
                return session->panel().has_value();
            },
            20'000));
        session->press(u"Escape"_s);
        QTRY_VERIFY(!session->panel());
    }

    void aHotKeyThatIsTakenIsReportedAndTheAgentRunsOn()
    {
        // In a session of its own on the same display, so that it does not join the first one.
        const QTemporaryDir runtime;
        QProcessEnvironment elsewhere;
        elsewhere.insert(u"XDG_RUNTIME_DIR"_s, runtime.path());
        elsewhere.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nowhere"_s);
        AgentSession second(desktop);
        QVERIFY(second.launch(elsewhere));
        QTRY_COMPARE(second.errors().count('\n'), 1);
        QVERIFY(second.errors().contains("Super+Shift+B is taken"));
        QVERIFY(second.isRunning());
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::InputTest, QApplication>(
        argc, argv, { .keyRing = true });
}

#include "InputTest.moc"
