#include "tests/service/TestCertificates.h"
#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QApplication>
#include <QJsonArray>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel::testing {

class KeptBranchTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    [[nodiscard]] static QByteArray keptIn(const QJsonObject& preferences)
    {
        return QByteArray::fromBase64(preferences[keptKey][u"base64"_s].toString().toLatin1());
    }

private Q_SLOTS:
    void survivesAKillAndIsSentAgainByTheNextPress()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());

        session.service.answer(branchPath, Answer::json(500, "{}"));
        QVERIFY(session.branchOff(u"keep me"_s));
        QTRY_VERIFY(session.preferences().contains(keptKey));
        const QByteArray kept = keptIn(session.preferences());
        QCOMPARE(kept, session.service.requests().back().body);
        session.kill();
        QCOMPARE(keptIn(session.preferences()), kept);

        // The list of projects would drop the kept branch, so the service does not give it now.
        session.service.answer("/api/projects", Answer::json(503, "{}"));
        session.service.answer(branchPath, Answer::json(201, R"({"id":"b1"})"));
        QVERIFY(session.launch());
        QTRY_COMPARE(session.countOf("/api/projects"), 2U);
        session.press(u"super+shift+b"_s);
        QTRY_COMPARE(session.countOf(branchPath), 2U);
        QCOMPARE(session.service.requests().back().body, kept);
        QTRY_VERIFY(!session.preferences().contains(keptKey));
        QVERIFY(!session.panel());
        QVERIFY(session.openPanel());
        session.press(u"Escape"_s);
    }

    void isKeptWhenAnEarlierOneArrivesAfterAll()
    {
        AgentSession session(desktop);
        QVERIFY(session.launchConnected());
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        // Its upload ends together with the first branch's second try, and is reported.
        const QByteArray upload = "/api/branches/b1/screenshots";
        session.service.answer(upload, Answer::json(201, "{}").heldBack());
        QVERIFY(session.openPanel());
        session.press(u"Right"_s);
        session.type(u"with a picture"_s);
        session.press(u"Return"_s);
        QTRY_COMPARE(session.countOf(upload), 1U);

        session.service.answer(branchPath, Answer::json(500, "{}"));
        QVERIFY(session.openPanel());
        session.press(u"Left"_s);
        session.type(u"first"_s);
        session.press(u"Return"_s);
        QTRY_VERIFY(keptIn(session.preferences()).contains("first"));
        session.service.answer(branchPath, Answer::json(201, R"({"id":"b1"})").heldBack());
        session.press(u"super+shift+b"_s);
        QTRY_COMPARE(session.countOf(branchPath), 3U);
        session.service.answer(branchPath, Answer::json(500, "{}"));
        QVERIFY(session.branchOff(u"second"_s));
        QTRY_VERIFY(keptIn(session.preferences()).contains("second"));
        const QByteArray second = keptIn(session.preferences());

        session.service.release();
        QTRY_VERIFY(session.output().contains("[Quibel] Screenshot saved\n"));
        QCOMPARE(keptIn(session.preferences()), second);
        session.press(u"super+shift+b"_s);
        QTRY_COMPARE(session.countOf(branchPath), 5U);
        QCOMPARE(session.service.requests().back().body, second);
    }

    void isKeptWhenTheServiceIsNotThere()
    {
        AgentSession session(desktop);
        QVERIFY(session.storeKey());
        session.writePreferences({ { u"ProjectStore.projects"_s, QJsonArray({ u"p1"_s }) },
                                   { u"quibel.apiBaseURL"_s, u"http://127.0.0.1:1"_s } });
        QVERIFY(session.launch());
        QVERIFY(session.branchOff(u"offline"_s));
        QTRY_VERIFY(keptIn(session.preferences()).contains("offline"));
    }

    void isKeptWhenTheServiceCannotShowWhoItIs()
    {
        const TestCertificates certificates;
        ScriptedService impostor(certificates.selfSigned());
        AgentSession session(desktop);
        QVERIFY(session.storeKey());
        session.writePreferences({ { u"ProjectStore.projects"_s, QJsonArray({ u"p1"_s }) },
                                   { u"quibel.apiBaseURL"_s, impostor.url().toString() } });
        QVERIFY(session.launch());
        QVERIFY(session.branchOff(u"secret"_s));
        QTRY_VERIFY(keptIn(session.preferences()).contains("secret"));
        QVERIFY(impostor.requests().empty());
    }

    void isKeptAndNotSentInTheClearToAnotherMachine()
    {
        AgentSession session(desktop);
        QVERIFY(session.storeKey());
        session.writePreferences({ { u"ProjectStore.projects"_s, QJsonArray({ u"p1"_s }) },
                                   { u"quibel.apiBaseURL"_s, u"http://service.invalid"_s } });
        QVERIFY(session.launch());
        QVERIFY(session.branchOff(u"secret"_s));
        QTRY_VERIFY(keptIn(session.preferences()).contains("secret"));
        QTRY_VERIFY(!session.errors().isEmpty());
        QVERIFY(!session.errors().contains("sk_system"));
    }

    void anAnswerWithProjectsDropsIt()
    {
        AgentSession session(desktop);
        QVERIFY(session.storeKey());
        session.writePreferences({ { keptKey, QJsonObject { { u"base64"_s, u"e30="_s } } } });
        QVERIFY(session.launch());
        QTRY_VERIFY(session.output().contains("Loaded 2 projects"));
        QTRY_VERIFY(!session.preferences().contains(keptKey));
    }

    /// Kills the agent at moments spread over a submission that fails; a failure that the agent has
    /// handled, which its next press of the hot key would show, is on disk.
    void aKillAtAnyMomentLeavesReadablePreferences()
    {
        AgentSession session(desktop);
        QVERIFY(session.storeKey());
        session.writePreferences({ { u"ProjectStore.projects"_s, QJsonArray({ u"p1"_s }) } });
        session.service.answer("/api/projects", Answer::json(503, "{}"));
        session.service.answer(branchPath, Answer::json(500, "{}"));
        QByteArray lastKept;
        for (int round = 0; round < 5; ++round) {
            QVERIFY(session.launch());
            if (!lastKept.isEmpty()) {
                const auto before = session.countOf(branchPath);
                session.press(u"super+shift+b"_s);
                QTRY_COMPARE(session.countOf(branchPath), before + 1);
                QCOMPARE(session.service.requests().back().body, lastKept);
            }
            QVERIFY(session.openPanel());
            const auto before = session.countOf(branchPath);
            session.type(u"round %1"_s.arg(round));
            session.press(u"Return"_s);
            QTRY_COMPARE(session.countOf(branchPath), before + 1);
            const QByteArray sent = session.service.requests().back().body;
            session.kill();
            const QByteArray kept = keptIn(session.preferences());
            QVERIFY(kept == sent || kept == lastKept);
            lastKept = kept;
        }
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::KeptBranchTest, QApplication>(
        argc, argv, { .keyRing = true });
}

#include "KeptBranchTest.moc"
