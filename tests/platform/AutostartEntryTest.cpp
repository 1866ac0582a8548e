#include "platform/freedesktop/AutostartEntry.h"
#include "platform/glib/GLibHandles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include <gio/gdesktopappinfo.h>

using namespace Qt::StringLiterals;

namespace quibel {

class AutostartEntryTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> home;
    const QByteArray path = qgetenv("PATH");

    [[nodiscard]] QString userEntry() const
    {
        return home->filePath(u"user/autostart/org.quibel.CaptureAgent.desktop"_s);
    }

    [[nodiscard]] QString systemEntry(const QString& folder) const
    {
        return home->filePath(folder + u"/autostart/org.quibel.CaptureAgent.desktop"_s);
    }

    static void write(const QString& file, const QByteArray& content)
    {
        QDir().mkpath(QFileInfo(file).path());
        QFile written(file);
        QVERIFY(written.open(QIODevice::WriteOnly));
        written.write(content);
    }

    [[nodiscard]] static QByteArray read(const QString& file)
    {
        QFile opened(file);
        return opened.open(QIODevice::ReadOnly) ? opened.readAll() : QByteArray();
    }

    static void makeProgram(const QString& file, const QByteArray& script)
    {
        write(file, script);
        QVERIFY(
            QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }

private Q_SLOTS:
    void init()
    {
        home = std::make_unique<QTemporaryDir>();
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(home->filePath(u"user"_s)));
        qputenv("XDG_CONFIG_DIRS",
                QFile::encodeName(home->filePath(u"first"_s) + u':' + home->filePath(u"second"_s)));
    }

    void cleanup() { qputenv("PATH", path); }

    void isOffAtFirst()
    {
        const AutostartEntry entry(u"/opt/agent"_s);
        QVERIFY(!entry.isOn());
        QVERIFY(!QFile::exists(home->filePath(u"user"_s)));
    }

    void isOnOnceItIsTurnedOnAndLeavesNothingWhenItIsTurnedOff()
    {
        write(home->filePath(u"user/autostart/other.desktop"_s), "other");
        AutostartEntry entry(u"/opt/agent"_s);
        QCOMPARE(entry.turnOn(), std::nullopt);
        QVERIFY(entry.isOn());
        QVERIFY(AutostartEntry(u"/opt/agent"_s).isOn());
        const QByteArray content = read(userEntry());
        QVERIFY(content.startsWith("[Desktop Entry]\n"));
        QVERIFY(content.contains("\nX-GNOME-Autostart-enabled=true\n"));
        QVERIFY(content.contains("\nX-KDE-autostart-after=panel\n"));

        QCOMPARE(entry.turnOff(), std::nullopt);
        QVERIFY(!entry.isOn());
        QCOMPARE(QDir(home->filePath(u"user/autostart"_s)).entryList(QDir::Files),
                 QStringList(u"other.desktop"_s));
        QCOMPARE(entry.turnOff(), std::nullopt);
    }

    void readsWhatOthersSet_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<bool>("on");
        QTest::newRow("nothing") << QByteArray() << true;
        QTest::newRow("hidden") << "Hidden=true\n"_ba << false;
        QTest::newRow("not hidden") << "Hidden=false\n"_ba << true;
        QTest::newRow("switched off by GNOME") << "X-GNOME-Autostart-enabled=false\n"_ba << false;
    }

    void readsWhatOthersSet()
    {
        QFETCH(const QByteArray, line);
        QFETCH(const bool, on);
        write(userEntry(), "[Desktop Entry]\nType=Application\nName=x\nExec=x\n" + line);
        AutostartEntry entry(u"/opt/agent"_s);
        QCOMPARE(entry.isOn(), on);
        QCOMPARE(entry.turnOn(), std::nullopt);
        QVERIFY(entry.isOn());
    }

    void overridesAnEntryOfTheSystem()
    {
        const QByteArray installed = "[Desktop Entry]\nType=Application\nName=x\nExec=x\n";
        write(systemEntry(u"second"_s), installed);
        AutostartEntry entry(u"/opt/agent"_s);
        QVERIFY(entry.isOn());
        QCOMPARE(entry.turnOff(), std::nullopt);
        QVERIFY(!entry.isOn());
        QVERIFY(read(userEntry()).contains("\nHidden=true\n"));
        QCOMPARE(read(systemEntry(u"second"_s)), installed);
        QCOMPARE(entry.turnOn(), std::nullopt);
        QVERIFY(entry.isOn());

        // The first folder counts.
        write(systemEntry(u"first"_s), installed + "Hidden=true\n");
        QCOMPARE(entry.turnOff(), std::nullopt);
        QVERIFY(!QFile::exists(userEntry()));
        QVERIFY(!entry.isOn());
    }

    void whatItWritesStartsTheProgram_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::newRow("plain") << u"bin"_s;
        QTest::newRow("blanks") << u"my programs"_s;
        QTest::newRow("quotes") << uR"(a "b" 'c')"_s;
        QTest::newRow("shell's signs") << u"$HOME `id` \\ \\\\ ; & #"_s;
        QTest::newRow("letters") << u"Überraschung 🌳"_s;
    }

    void whatItWritesStartsTheProgram()
    {
        QFETCH(const QString, folder);
        const QString program = home->filePath(folder + u"/quibel-agent"_s);
        const QString trace = home->filePath(u"started"_s);
        makeProgram(program, "#!/bin/sh\necho \"$#\" > '" + QFile::encodeName(trace) + "'\n");
        AutostartEntry entry(program);
        QCOMPARE(entry.turnOn(), std::nullopt);
        const GLibHandle<GDesktopAppInfo> application(
            g_desktop_app_info_new_from_filename(QFile::encodeName(userEntry()).constData()));
        QVERIFY(application);
        GLibError error;
        QVERIFY(
            g_app_info_launch(G_APP_INFO(application.get()), nullptr, nullptr, error.receiver()));
        QTRY_COMPARE(read(trace), "0\n"_ba);
    }

    void noPerCentSignIsTakenForAField()
    {
        // GLib looks for a program by the name before it is expanded, so it can start none of
        // these.
        AutostartEntry entry(u"/opt/100%f/agent"_s);
        QCOMPARE(entry.turnOn(), std::nullopt);
        QVERIFY(read(userEntry()).contains("\nExec=\"/opt/100%%f/agent\"\n"));
    }

    void namesTheProgramAloneWhenThatIsWhatTheNameStarts()
    {
        const QString program = home->filePath(u"bin/quibel-agent"_s);
        makeProgram(program, "#!/bin/sh\n");
        makeProgram(home->filePath(u"other/quibel-agent"_s), "#!/bin/sh\n");
        AutostartEntry entry(program);

        qputenv("PATH", QFile::encodeName(home->filePath(u"bin"_s)));
        QCOMPARE(entry.turnOn(), std::nullopt);
        QVERIFY(read(userEntry()).contains("\nExec=quibel-agent\n"));
        qputenv("PATH", QFile::encodeName(home->filePath(u"other"_s)));
        QCOMPARE(entry.turnOn(), std::nullopt);
        QVERIFY(read(userEntry()).contains("\nExec=\"" + program.toUtf8() + "\"\n"));
    }

    void saysWhatIsInTheWay()
    {
        // A file where a folder should be stops the administrator as well.
        write(home->filePath(u"user/autostart"_s), {});
        AutostartEntry entry(u"/opt/agent"_s);
        for (const auto& problem : { entry.turnOn(), entry.turnOff() }) {
            QVERIFY(problem);
            QVERIFY2(problem->startsWith(userEntry() + u": "_s), qPrintable(*problem));
        }
        QVERIFY(!entry.isOn());
    }
};

} // namespace quibel

QTEST_APPLESS_MAIN(quibel::AutostartEntryTest)

#include "AutostartEntryTest.moc"
