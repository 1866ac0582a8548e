#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QJsonArray>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

const QString prompter = u"org.gnome.keyring.SystemPrompter"_s;
const QString prompt = u"Unlock Login Keyring"_s;

} // namespace

/// The desktop's own key ring and its own prompt.
class LockedKeyRingTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    [[nodiscard]] QByteArray call(const QString& destination,
                                  const QString& object,
                                  const QString& method,
                                  const QString& argument) const
    {
        return desktop
            .output(u"gdbus"_s,
                    { u"call"_s,
                      u"--session"_s,
                      u"--dest"_s,
                      destination,
                      u"--object-path"_s,
                      object,
                      u"--method"_s,
                      method,
                      argument })
            .value_or("failed");
    }

    [[nodiscard]] bool lock() const
    {
        return call(u"org.freedesktop.secrets"_s,
                    u"/org/freedesktop/secrets"_s,
                    u"org.freedesktop.Secret.Service.Lock"_s,
                    u"['/org/freedesktop/secrets/collection/login']"_s)
            .contains("/collection/login");
    }

    /// Has the user unlock the key ring for another program.
    void unlockElsewhere(const AgentSession& session) const
    {
        QProcess* const other = desktop.launch(
            u"secret-tool"_s,
            { u"lookup"_s, u"service"_s, u"QuibelDesktop"_s, u"account"_s, u"apiKey"_s });
        QVERIFY(other);
        QTRY_VERIFY(session.windowWithKeyboardIs(prompt));
        session.type(u"password"_s);
        session.press(u"Return"_s);
        QTRY_COMPARE(other->state(), QProcess::NotRunning);
        desktop.stop(other);
    }

    [[nodiscard]] bool hasBeenPrompted() const
    {
        return call(u"org.freedesktop.DBus"_s,
                    u"/org/freedesktop/DBus"_s,
                    u"org.freedesktop.DBus.NameHasOwner"_s,
                    prompter)
            != "(false,)\n";
    }

    /// Prepares a launch with a key and a project that are known, and a key ring that is locked.
    [[nodiscard]] bool lockTheKeyOf(const AgentSession& session, QJsonObject preferences = {}) const
    {
        preferences[u"ProjectStore.projects"_s] = QJsonArray({ u"p1"_s });
        session.writePreferences(preferences);
        return session.storeKey() && lock();
    }

private Q_SLOTS:
    void init() { QVERIFY(desktop.startKeyRing()); }

    void cleanup()
    {
        desktop.stopKeyRing(); // A prompt that is still there goes with it.
        // The prompter lingers for the next prompt.
        QTRY_VERIFY_WITH_TIMEOUT(!hasBeenPrompted(), 30'000);
    }

    void theProjectsAreFetchedOnceTheKeyRingIsUnlockedAndNobodyIsAsked()
    {
        AgentSession session(desktop);
        QVERIFY(lockTheKeyOf(session, { { keptKey, QJsonObject { { u"base64"_s, u"e30="_s } } } }));
        QVERIFY(session.launch({}, { u"--send-branch"_s }));
        QTRY_VERIFY(session.panelHasKeyboard());
        session.press(u"Escape"_s);
        QTRY_VERIFY(!session.panel());
        QVERIFY(!hasBeenPrompted());
        QCOMPARE(session.countOf("/api/projects"), 0U);

        unlockElsewhere(session);
        QTRY_VERIFY_WITH_TIMEOUT(session.output().contains("Loaded 2 projects from API\n"), 20'000);
        QCOMPARE(session.countOf("/api/projects"), 1U);
        QVERIFY(session.preferences().contains(keptKey));
    }

    void aLineIsSentOnceTheUserHasUnlockedTheKeyRing()
    {
        AgentSession session(desktop);
        QVERIFY(lockTheKeyOf(session));
        QVERIFY(session.launch());
        QVERIFY(session.branchOff(u"thought"_s));
        QTRY_VERIFY(session.windowWithKeyboardIs(prompt));
        QVERIFY(!session.panel());
        session.type(u"password"_s);
        session.press(u"Return"_s);
        QTRY_COMPARE(session.countOf(branchPath), 1U);
        QCOMPARE(session.sent(branchPath)[u"title"_s], u"thought"_s);
        QTRY_VERIFY_WITH_TIMEOUT(session.output().contains("Loaded 2 projects from API\n"), 20'000);
        QVERIFY(!session.preferences().contains(keptKey));
    }

    void aLineIsKeptWhenTheUserDoesNotUnlockTheKeyRing()
    {
        AgentSession session(desktop);
        QVERIFY(lockTheKeyOf(session));
        QVERIFY(session.launch());
        QVERIFY(session.branchOff(u"thought"_s));
        QTRY_VERIFY(session.windowWithKeyboardIs(prompt));
        session.press(u"Escape"_s);
        QTRY_VERIFY(session.preferences().contains(keptKey));

        unlockElsewhere(session);
        QTRY_VERIFY_WITH_TIMEOUT(session.output().contains("Loaded 2 projects from API\n"), 20'000);
        QVERIFY(session.preferences().contains(keptKey));
        QCOMPARE(session.countOf(branchPath), 0U);
        session.press(u"super+shift+b"_s);
        QTRY_COMPARE(session.countOf(branchPath), 1U);
        QCOMPARE(session.sent(branchPath)[u"title"_s], u"thought"_s);
    }

    void aLineIsKeptWhenTheKeyRingGoesWhileItAsks()
    {
        AgentSession session(desktop);
        QVERIFY(lockTheKeyOf(session));
        QVERIFY(session.launch());
        QVERIFY(session.branchOff(u"thought"_s));
        QTRY_VERIFY(session.windowWithKeyboardIs(prompt));
        desktop.stopKeyRing();
        QTRY_VERIFY_WITH_TIMEOUT(session.preferences().contains(keptKey), 30'000);
    }

    void aKeyIsSavedOnceTheUserHasUnlockedTheKeyRing()
    {
        AgentSession session(desktop);
        QVERIFY(lockTheKeyOf(session));
        QVERIFY(session.launch({}, { u"--connect-account"_s }));
        QTRY_VERIFY(session.windowWithKeyboardIs(u"Connect Quibel"_s));
        QVERIFY(!hasBeenPrompted());
        session.type(u"sk_new"_s);
        session.press(u"Return"_s);
        QTRY_VERIFY(session.windowWithKeyboardIs(prompt));
        session.type(u"password"_s);
        session.press(u"Return"_s);
        QTRY_COMPARE(session.storedKey(), "sk_new"_ba);
        QTRY_VERIFY(!session.windowWithKeyboardIs(u"Connect Quibel"_s));
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::LockedKeyRingTest, QApplication>(
        argc, argv, { .keyRing = true }, [](quibel::testing::VirtualDesktop& desktop) {
            return desktop.installBusService(u"org.gnome.keyring.SystemPrompter"_s,
                                             u"/usr/libexec/gcr-prompter"_s);
        });
}

#include "LockedKeyRingTest.moc"
