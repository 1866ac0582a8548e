#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QDeadlineTimer>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

/// Starts an input method with an engine for Korean on a private desktop.
bool startInputMethod(VirtualDesktop& desktop)
{
    // The engine's settings, in a file of this desktop.
    const auto settings = u"GSETTINGS_BACKEND=keyfile"_s;
    const bool startsInHangul = desktop
                                    .output(u"env"_s,
                                            { settings,
                                              u"gsettings"_s,
                                              u"set"_s,
                                              u"org.freedesktop.ibus.engine.hangul"_s,
                                              u"initial-input-mode"_s,
                                              u"hangul"_s })
                                    .has_value();
    if (!startsInHangul
        || desktop.launch(u"env"_s,
                          { settings,
                            u"ibus-daemon"_s,
                            u"--panel=disable"_s,
                            u"--emoji-extension=disable"_s,
                            u"--config=/usr/libexec/ibus-memconf"_s })
            == nullptr)
        return false;
    const auto engineIsChosen = [&] {
        return desktop.output(u"ibus"_s, { u"engine"_s, u"hangul"_s }).has_value();
    };
    for (QDeadlineTimer patience(20'000); !patience.hasExpired();)
        if (engineIsChosen())
            return true;
    return false;
}

} // namespace

/// Text that is composed before it is there, as in many scripts.
class InputMethodTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    std::unique_ptr<AgentSession> session;
    std::unique_ptr<EditorWindow> editor;

    /// The text of the first branch, once it has been sent.
    [[nodiscard]] QString sentText() const
    {
        if (!QTest::qWaitFor([this] { return session->countOf(branchPath) > 0; }, 20'000))
            return u"(nothing was sent)"_s;
        return session->sent(branchPath)[u"context_snapshot"_s][u"captured_text"_s].toString();
    }

private Q_SLOTS:
    void init()
    {
        session = std::make_unique<AgentSession>(desktop);
        QVERIFY(session->storeKey());
        QProcessEnvironment environment;
        environment.insert(u"QT_IM_MODULE"_s, u"ibus"_s);
        QVERIFY(session->launch(environment));
        QTRY_VERIFY(session->output().contains("Loaded"));
        editor = std::make_unique<EditorWindow>(u"notes"_s);
        QVERIFY(editor->bringToFront());
    }

    void cleanup()
    {
        session.reset();
        editor.reset();
    }

    void sendsWhatIsStillBeingComposed()
    {
        QVERIFY(session->openPanel());
        session->type(u"gksrmf"_s);
        session->press(u"Return"_s);
        QCOMPARE(sentText(), u"한글"_s);
        QTRY_VERIFY(!session->panel());
    }

    void takesWhatIsTypedAheadOfThePanel()
    {
        session->press(u"super+shift+b"_s);
        session->type(u"gksrmf dml"_s);
        session->press(u"Return"_s);
        QCOMPARE(sentText(), u"한글 의"_s);
    }

    void leavesTheArrowKeysToTheListOfCandidates()
    {
        QVERIFY(session->openPanel());
        session->type(u"gks"_s);
        session->press(u"F9"_s);
        session->press(u"Down"_s);
        session->press(u"Return"_s);
        session->press(u"Return"_s);
        const QString text = sentText();
        QCOMPARE(text.size(), 1);
        QCOMPARE(text.front().script(), QChar::Script_Han);
        QCOMPARE(session->sent(branchPath)[u"project_id"_s].toString(), u"p1"_s);

        // Without a list they are the panel's again.
        QVERIFY(session->openPanel());
        session->press(u"Down"_s);
        session->type(u"gks"_s);
        session->press(u"Return"_s);
        QTRY_COMPARE(session->countOf(branchPath), 2U);
        QCOMPARE(session->sent(branchPath, 1)[u"project_id"_s].toString(), u"p2"_s);
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::InputMethodTest, QApplication>(
        argc, argv, { .keyRing = true }, quibel::testing::startInputMethod);
}

#include "InputMethodTest.moc"
