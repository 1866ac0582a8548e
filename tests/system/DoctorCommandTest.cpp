#include "platform/x11/XcbConnection.h"
#include "tests/platform/ClientWindow.h"
#include "tests/platform/Keyboard.h"
#include "tests/service/TestCertificates.h"
#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonDocument>
#include <QTcpServer>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

constexpr int patienceMs = 30'000;

} // namespace

/// What the real program says of desktops that are whole, and of others.
class DoctorCommandTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    struct Examination
    {
        int exitCode = -1; ///< None of the program's own when it crashed or did not end.
        QByteArray output;
        QByteArray errors;
        QJsonObject checks; ///< Of the report as JSON.
        bool healthy = false;

        [[nodiscard]] QJsonObject check(const QString& name) const
        {
            return checks.value(name).toObject();
        }
        [[nodiscard]] QString verdict(const QString& name) const
        {
            return check(name).value(u"verdict"_s).toString();
        }
        /// The checks that are not "ok".
        [[nodiscard]] QStringList complaints() const
        {
            QStringList names;
            for (const QString& name : checks.keys())
                if (verdict(name) != u"ok"_s)
                    names.append(name);
            return names;
        }
    };

    [[nodiscard]] QProcessEnvironment surroundings() const
    {
        QProcessEnvironment environment = desktop.environment();
        environment.insert(u"QUIBEL_API_BASE_URL"_s, session->service.url().toString());
        return environment;
    }

    [[nodiscard]] static Examination run(const QProcessEnvironment& environment,
                                         const QStringList& arguments)
    {
        QProcess doctor;
        doctor.setProcessEnvironment(environment);
        doctor.start(qEnvironmentVariable("QUIBEL_TEST_BIN_DIR") + u"/quibel-capture-agent"_s,
                     arguments);
        Examination made;
        const bool ended
            = QTest::qWaitFor([&] { return doctor.state() == QProcess::NotRunning; }, patienceMs);
        if (!ended || doctor.exitStatus() != QProcess::NormalExit) {
            doctor.kill();
            doctor.waitForFinished();
            return made;
        }
        made.exitCode = doctor.exitCode();
        made.output = doctor.readAllStandardOutput();
        made.errors = doctor.readAllStandardError();
        const QJsonObject report = QJsonDocument::fromJson(made.output).object();
        made.checks = report.value(u"checks"_s).toObject();
        made.healthy = report.value(u"healthy"_s).toBool();
        return made;
    }

    [[nodiscard]] static Examination examine(const QProcessEnvironment& environment)
    {
        return run(environment, { u"--doctor"_s, u"--json"_s });
    }

    [[nodiscard]] QString configPath(const QString& path) const
    {
        return desktop.environment().value(u"XDG_CONFIG_HOME"_s) + u'/' + path;
    }

    void writeConfig(const QString& path, const QByteArray& content) const
    {
        QFile file(configPath(path));
        QVERIFY(QDir().mkpath(QFileInfo(file).path()));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    static void grabHotKey(XcbConnection& x, std::uint16_t modifiers = XCB_MOD_MASK_ANY)
    {
        const auto request = xcb_grab_key_checked(
            x.get(), 0, x.root(), modifiers, Keyboard::b, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        QVERIFY(!XcbOwned<xcb_generic_error_t>(xcb_request_check(x.get(), request)));
    }

    std::unique_ptr<AgentSession> session;
    std::unique_ptr<EditorWindow> editor;

private Q_SLOTS:
    void init()
    {
        session = std::make_unique<AgentSession>(desktop);
        QVERIFY(session->storeKey());
        editor = std::make_unique<EditorWindow>(u"notes"_s);
        QVERIFY(editor->bringToFront());
    }

    void cleanup()
    {
        editor.reset();
        session.reset();
    }

    void findsAWholeDesktopWell()
    {
        const Examination made = examine(surroundings());
        QCOMPARE(made.complaints(), QStringList());
        QCOMPARE(made.exitCode, 0);
        QVERIFY(made.healthy);
        QCOMPARE(made.errors, QByteArray());
        QCOMPARE(made.check(u"display"_s).value(u"windowManager"_s).toString(), u"Openbox"_s);
        QCOMPARE(made.check(u"hotKey"_s).value(u"state"_s).toString(), u"free"_s);
        QCOMPARE(made.check(u"tray"_s).value(u"kind"_s).toString(), u"xEmbed"_s);
        QVERIFY(made.check(u"secretService"_s).value(u"keyStored"_s).toBool());
        QCOMPARE(made.check(u"preferences"_s).value(u"path"_s).toString(),
                 configPath(u"quibel/preferences.json"_s));
        const QJsonObject service = made.check(u"service"_s);
        QCOMPARE(service.value(u"source"_s).toString(), u"environment"_s);
        QCOMPARE(service.value(u"status"_s).toInt(), 200);
        const QJsonObject capture = made.check(u"screenCapture"_s);
        QCOMPARE(capture.value(u"way"_s).toString(), u"window"_s);
        QCOMPARE(capture.value(u"width"_s).toInt(), editor->width());
        QCOMPARE(capture.value(u"height"_s).toInt(), editor->height());
    }

    void picturesTheDisplayWhenNoWindowIsInFront()
    {
        editor->hide();
        QVERIFY(settleWindowManager());
        const Examination made = examine(surroundings());
        QCOMPARE(made.complaints(), QStringList());
        const QJsonObject capture = made.check(u"screenCapture"_s);
        QCOMPARE(capture.value(u"way"_s).toString(), u"display"_s);
        QCOMPARE(capture.value(u"width"_s).toInt(), 1'280);
        QCOMPARE(capture.value(u"height"_s).toInt(), 800);
    }

    void asksOnceAndTellsTheKeyNowhere()
    {
        const Examination made = examine(surroundings());
        QCOMPARE(session->countOf("/api/projects"), 1U);
        QCOMPARE(session->service.requests().front().header("Authorization"),
                 QByteArray("Bearer sk_system"));
        QVERIFY(!made.output.contains("sk_system"));
        QVERIFY(!made.errors.contains("sk_system"));
    }

    void writesATableForPeople()
    {
        const Examination made = run(surroundings(), { u"--doctor"_s });
        QCOMPARE(made.exitCode, 0);
        QCOMPARE(made.errors, QByteArray());
        const auto lines = made.output.split('\n');
        QCOMPARE(lines.constFirst(),
                 QByteArray("ok    display         X11, window manager Openbox, no compositor"));
        QVERIFY(made.output.contains("\nok    hot key         Super+Shift+B could be grabbed"));
        QVERIFY(made.output.endsWith("\n\nEverything that branching off a thought needs works.\n"));
    }

    void changesNothing()
    {
        const Examination made = examine(surroundings());
        QCOMPARE(made.exitCode, 0);
        QVERIFY(!QFileInfo::exists(configPath(u"quibel/preferences.json"_s)));
        QCOMPARE(session->storedKey(), QByteArray("sk_system"));
    }

    void leavesTheHotKeyToTheAgent()
    {
        QCOMPARE(examine(surroundings()).exitCode, 0);
        QVERIFY(session->launch());
        QVERIFY(session->openPanel());
        QCOMPARE(session->errors(), QByteArray());
    }

    void findsTheHotKeyWithTheAgent()
    {
        QVERIFY(session->launch());
        const Examination made = examine(surroundings());
        QCOMPARE(made.complaints(), QStringList());
        QCOMPARE(made.exitCode, 0);
        QCOMPARE(made.check(u"hotKey"_s).value(u"state"_s).toString(), u"heldByAgent"_s);
        QVERIFY(session->isRunning());
        QVERIFY(session->openPanel());
    }

    void findsTheHotKeyTakenBesideTheAgent_data()
    {
        QTest::addColumn<std::uint16_t>("modifiers");
        QTest::newRow("whatever else is on") << std::uint16_t { XCB_MOD_MASK_ANY };
        QTest::newRow("without lock keys")
            << static_cast<std::uint16_t>(XCB_MOD_MASK_4 | XCB_MOD_MASK_SHIFT);
    }

    void findsTheHotKeyTakenBesideTheAgent()
    {
        QFETCH(const std::uint16_t, modifiers);
        const auto other = XcbConnection::open();
        grabHotKey(*other, modifiers);
        QVERIFY(session->launch());
        QCOMPARE(examine(surroundings()).check(u"hotKey"_s).value(u"state"_s).toString(),
                 u"taken"_s);
        xcb_ungrab_key(other->get(), XCB_GRAB_ANY, other->root(), XCB_MOD_MASK_ANY);
        QVERIFY(other->atom("the server has taken the request before") != XCB_ATOM_NONE);
        const Examination freed = examine(surroundings());
        QCOMPARE(freed.check(u"hotKey"_s).value(u"state"_s).toString(), u"freeBesideAgent"_s);
        QCOMPARE(freed.exitCode, 1);
    }

    void findsTheHotKeyTaken_data()
    {
        QTest::addColumn<QByteArray>("binding");
        QTest::addColumn<QString>("holder");
        QTest::newRow("by somebody") << QByteArray("A-b") << QString();
        QTest::newRow("by a program that says so") << QByteArray("W-S-b") << u"Openbox"_s;
    }

    void findsTheHotKeyTaken()
    {
        QFETCH(const QByteArray, binding);
        QFETCH(const QString, holder);
        const auto other = XcbConnection::open();
        grabHotKey(*other);
        writeConfig(u"openbox/rc.xml"_s, "<keybind key=\"" + binding + "\">");
        const Examination made = examine(surroundings());
        QVERIFY(QFile::remove(configPath(u"openbox/rc.xml"_s)));
        QCOMPARE(made.complaints(), QStringList { u"hotKey"_s });
        QCOMPARE(made.exitCode, 1);
        QCOMPARE(made.check(u"hotKey"_s).value(u"state"_s).toString(), u"taken"_s);
        QCOMPARE(made.check(u"hotKey"_s)[u"boundBy"_s][0].toString(), holder);
        QCOMPARE(made.errors, QByteArray());
    }

    void findsTheHotKeyBoundToTheAgent()
    {
        const auto other = XcbConnection::open();
        grabHotKey(*other);
        QVERIFY(session->launch());
        writeConfig(u"openbox/rc.xml"_s,
                    R"(<keybind key="W-S-b"><action name="Execute"><command>)"
                    "quibel-capture-agent --capture</command></action></keybind>");
        const Examination made = examine(surroundings());
        QVERIFY(QFile::remove(configPath(u"openbox/rc.xml"_s)));
        QCOMPARE(made.complaints(), QStringList());
        QCOMPARE(made.exitCode, 0);
        QCOMPARE(made.check(u"hotKey"_s).value(u"state"_s).toString(), u"boundToAgent"_s);
    }

    void worksWithoutATray()
    {
        desktop.stopTray();
        const Examination made = examine(surroundings());
        QVERIFY(desktop.startTray());
        QCOMPARE(made.complaints(), QStringList { u"tray"_s });
        QCOMPARE(made.verdict(u"tray"_s), u"warning"_s);
        QCOMPARE(made.exitCode, 0);
    }

    void missesTheKeyRing()
    {
        desktop.stopKeyRing();
        const Examination made = examine(surroundings());
        QVERIFY(desktop.startKeyRing());
        QCOMPARE(made.exitCode, 1);
        QCOMPARE(made.complaints(), QStringList { u"secretService"_s });
        QCOMPARE(made.check(u"secretService"_s).value(u"state"_s).toString(), u"absent"_s);
    }

    void findsTheKeyRingLocked()
    {
        QVERIFY(desktop.output(u"gdbus"_s,
                               { u"call"_s,
                                 u"--session"_s,
                                 u"--dest"_s,
                                 u"org.freedesktop.secrets"_s,
                                 u"--object-path"_s,
                                 u"/org/freedesktop/secrets"_s,
                                 u"--method"_s,
                                 u"org.freedesktop.Secret.Service.Lock"_s,
                                 u"['/org/freedesktop/secrets/collection/login']"_s }));
        const Examination made = examine(surroundings());
        desktop.stopKeyRing();
        QVERIFY(desktop.startKeyRing());
        QCOMPARE(made.exitCode, 1);
        QCOMPARE(made.complaints(), QStringList { u"secretService"_s });
        QCOMPARE(made.check(u"secretService"_s).value(u"state"_s).toString(), u"locked"_s);
    }

    void missesTheKey()
    {
        session->forgetKey();
        const Examination made = examine(surroundings());
        QCOMPARE(made.exitCode, 1);
        QCOMPARE(made.complaints(), QStringList { u"secretService"_s });
        QVERIFY(!session->service.requests().front().header("Authorization"));
    }

    void findsTheServiceDown()
    {
        QTcpServer closed;
        QVERIFY(closed.listen(QHostAddress::LocalHost));
        const QString address = u"http://127.0.0.1:%1"_s.arg(closed.serverPort());
        closed.close();
        session->writePreferences({ { u"quibel.apiBaseURL"_s, address } });
        const Examination made = examine(surroundings());
        QCOMPARE(made.exitCode, 1);
        QCOMPARE(made.complaints(), QStringList { u"service"_s });
        const QJsonObject service = made.check(u"service"_s);
        QCOMPARE(service.value(u"source"_s).toString(), u"preference"_s);
        QCOMPARE(service.value(u"baseURL"_s).toString(), address);
        QVERIFY(!service.value(u"reachable"_s).toBool());
    }

    void keepsAKeyThatTheServiceRejects()
    {
        session->service.answer("/api/projects", Answer::json(401, "{}"));
        const QJsonObject preferences { { u"quibel.lastUsedProjectId"_s, u"p1"_s } };
        session->writePreferences(preferences);
        const Examination made = examine(surroundings());
        QCOMPARE(made.exitCode, 1);
        QCOMPARE(made.complaints(), QStringList { u"service"_s });
        QCOMPARE(made.check(u"service"_s).value(u"status"_s).toInt(), 401);
        QCOMPARE(session->storedKey(), QByteArray("sk_system"));
        QCOMPARE(session->preferences(), preferences);
    }

    void findsTheCertificateWrong()
    {
        const TestCertificates certificates;
        ScriptedService service(certificates.selfSigned());
        QProcessEnvironment environment = surroundings();
        environment.insert(u"QUIBEL_API_BASE_URL"_s, service.url().toString());
        const Examination made = examine(environment);
        QCOMPARE(made.exitCode, 1);
        QCOMPARE(made.complaints(), QStringList { u"service"_s });
        QCOMPARE(made.check(u"service"_s).value(u"certificate"_s).toString(), u"invalid"_s);
        QVERIFY(made.check(u"service"_s)
                    .value(u"finding"_s)
                    .toString()
                    .contains(u"self-signed"_s, Qt::CaseInsensitive));
        QCOMPARE(service.requests().size(), 0U);
    }

    void leavesDamagedPreferencesAlone()
    {
        writeConfig(u"quibel/preferences.json"_s, "{\"quibel.apiBaseURL\": ");
        const Examination made = examine(surroundings());
        QFile file(configPath(u"quibel/preferences.json"_s));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("{\"quibel.apiBaseURL\": "));
        QCOMPARE(QFileInfo(file).dir().entryList(QDir::Files),
                 QStringList { u"preferences.json"_s });
        QCOMPARE(made.complaints(), QStringList { u"preferences"_s });
        QCOMPARE(made.verdict(u"preferences"_s), u"warning"_s);
        QCOMPARE(made.exitCode, 0);
        QCOMPARE(made.errors, QByteArray());
    }

    void examinesWhatThereIsWithoutADisplay()
    {
        QProcessEnvironment environment = surroundings();
        environment.remove(u"DISPLAY"_s);
        const Examination made = examine(environment);
        QCOMPARE(made.exitCode, 1);
        const QStringList expected { u"display"_s, u"hotKey"_s, u"screenCapture"_s, u"tray"_s };
        QCOMPARE(made.complaints(), expected);
    }

    void examinesWhatThereIsWithoutABus()
    {
        QProcessEnvironment environment = surroundings();
        environment.remove(u"DBUS_SESSION_BUS_ADDRESS"_s);
        const Examination made = examine(environment);
        QCOMPARE(made.exitCode, 1);
        QCOMPARE(made.complaints(), QStringList { u"secretService"_s });
        QVERIFY(made.check(u"secretService"_s)
                    .value(u"finding"_s)
                    .toString()
                    .contains(u"no session bus"_s));
    }

    void doubtsTheHotKeyBesideAnAgentThatItCannotAsk()
    {
        QVERIFY(session->launch());
        QProcessEnvironment environment = surroundings();
        environment.remove(u"DBUS_SESSION_BUS_ADDRESS"_s);
        const Examination made = examine(environment);
        QCOMPARE(made.verdict(u"hotKey"_s), u"warning"_s);
        QCOMPARE(made.check(u"hotKey"_s).value(u"state"_s).toString(), u"taken"_s);
    }

    void runsWhereThereIsNothing()
    {
        QProcessEnvironment environment;
        environment.insert(u"HOME"_s, u"/nonexistent"_s);
        for (const QString& name : { u"LSAN_OPTIONS"_s, u"TSAN_OPTIONS"_s })
            environment.insert(name, qEnvironmentVariable(qPrintable(name)));
        environment.insert(u"QUIBEL_API_BASE_URL"_s, session->service.url().toString());
        const Examination made = examine(environment);
        QCOMPARE(made.exitCode, 1);
        QCOMPARE(made.verdict(u"service"_s), u"ok"_s);
        QCOMPARE(made.verdict(u"secretService"_s), u"failure"_s);
    }

    void waitsForNoSessionManager()
    {
        QTcpServer sessionManager;
        QVERIFY(sessionManager.listen(QHostAddress::LocalHost));
        QProcessEnvironment environment = surroundings();
        environment.insert(u"SESSION_MANAGER"_s,
                           u"tcp/127.0.0.1:%1"_s.arg(sessionManager.serverPort()));
        QCOMPARE(examine(environment).exitCode, 0);
        QVERIFY(!sessionManager.hasPendingConnections());
    }

    void doesWithoutABusThatIsSilent()
    {
        QTcpServer bus;
        QVERIFY(bus.listen(QHostAddress::LocalHost));
        QProcessEnvironment environment = surroundings();
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s,
                           u"tcp:host=127.0.0.1,port=%1"_s.arg(bus.serverPort()));
        QElapsedTimer timer;
        timer.start();
        const Examination made = examine(environment);
        // Five seconds and a start, with sanitizers and under load.
        QVERIFY2(timer.elapsed() < 20'000, "waited too long");
        QCOMPARE(made.complaints(), QStringList { u"secretService"_s });
    }

    void endsInTimeWhoeverIsSilent()
    {
        // Displays over TCP are ports from 6000 on.
        QTcpServer display;
        for (quint16 port = 6'200; !display.isListening() && port < 6'300; ++port)
            display.listen(QHostAddress::LocalHost, port);
        QTcpServer bus;
        QVERIFY(display.isListening() && bus.listen(QHostAddress::LocalHost));
        session->service.answer("/api/projects", Answer::never());
        QProcessEnvironment environment = surroundings();
        environment.insert(u"DISPLAY"_s, u"127.0.0.1:%1"_s.arg(display.serverPort() - 6'000));
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s,
                           u"tcp:host=127.0.0.1,port=%1"_s.arg(bus.serverPort()));
        QElapsedTimer timer;
        timer.start();
        const Examination made = examine(environment);
        QCOMPARE(made.exitCode, 1);
        QVERIFY2(timer.elapsed() < 10'000, "waited too long");
        QVERIFY(made.check(u"secretService"_s)
                    .value(u"finding"_s)
                    .toString()
                    .contains(u"does not answer"_s));
        QCOMPARE(made.verdict(u"display"_s), u"failure"_s);
        QVERIFY(made.check(u"service"_s)
                    .value(u"finding"_s)
                    .toString()
                    .contains(u"no answer in time"_s));
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::DoctorCommandTest, QApplication>(
        argc, argv, { .keyRing = true, .tray = true });
}

#include "DoctorCommandTest.moc"
