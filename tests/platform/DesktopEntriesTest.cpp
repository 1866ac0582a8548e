#include "platform/freedesktop/DesktopEntries.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace quibel;
using namespace Qt::StringLiterals;

namespace {

constexpr int installedEntries = 300;

/// Runs until it is told to end, with the marks of a process started from a desktop entry.
class LaunchedProcess
{
    Q_DISABLE_COPY_MOVE(LaunchedProcess)

public:
    /// `ownMark`: whether the mark names this process, or one that it inherited it from.
    LaunchedProcess(const QString& file, bool ownMark)
    {
        process.start(
            u"sh"_s,
            { u"-c"_s,
              u"GIO_LAUNCHED_DESKTOP_FILE=%1 GIO_LAUNCHED_DESKTOP_FILE_PID=%2 "
              "exec sh -c 'echo started; read end'"_s.arg(file, ownMark ? u"$$"_s : u"1"_s) });
        if (!process.waitForReadyRead())
            qFatal("the process does not start");
    }
    ~LaunchedProcess()
    {
        process.closeWriteChannel();
        process.waitForFinished();
    }

    [[nodiscard]] ProcessIdentifier id() const
    {
        return static_cast<ProcessIdentifier>(process.processId());
    }

private:
    QProcess process;
};

} // namespace

class DesktopEntriesTest : public QObject
{
    Q_OBJECT

public:
    explicit DesktopEntriesTest(QString directory)
        : root(std::move(directory))
    {
    }

private Q_SLOTS:
    void initTestCase();

    void findsByAnyNameOfTheWindow_data();
    void findsByAnyNameOfTheWindow();
    void findsByTheProcess_data();
    void findsByTheProcess();
    void findsIdsBeforeItIsPrepared_data();
    void findsIdsBeforeItIsPrepared();
    void readsInSteps();
    void noticesChanges();
    void findsFromMemory();

private:
    void install(const QString& file, const QString& lines) const
    {
        const QString path = root + u'/' + file;
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        // Written elsewhere first, as package managers do, so that nobody reads half a file.
        QFile entry(root + u"/new"_s);
        QVERIFY(entry.open(QIODevice::WriteOnly));
        entry.write(
            u"[Desktop Entry]\nType=Application\nExec=/bin/true\n%1\n"_s.arg(lines).toUtf8());
        entry.close();
        QFile::remove(path);
        QVERIFY(entry.rename(path));
    }
    [[nodiscard]] static std::unique_ptr<DesktopEntries> prepared()
    {
        auto entries = std::make_unique<DesktopEntries>();
        QSignalSpy finished(entries.get(), &DesktopEntries::prepareFinished);
        entries->prepare();
        if (finished.isEmpty() && !finished.wait())
            qFatal("the entries are not read");
        return entries;
    }

    QString root;
};

void DesktopEntriesTest::initTestCase()
{
    const QString user = u"user/applications/"_s;
    const QString system = u"system/applications/"_s;
    install(system + u"org.example.Editor.desktop"_s, u"Name=Editor\nName[de]=Bearbeiter"_s);
    install(system + u"xterm.desktop"_s, u"Name=Terminal"_s);
    install(system + u"Mixed-Case.desktop"_s, u"Name=Mixed"_s);
    install(system + u"vendor/nested.desktop"_s, u"Name=Nested"_s);
    install(system + u"office-writer.desktop"_s, u"Name=Writer\nStartupWMClass=Office Writer"_s);
    install(system + u"web-app.desktop"_s, u"Name=Web App\nStartupWMClass=crx_web"_s);
    install(system + u"browser.desktop"_s, u"Name=Browser"_s);
    install(system + u"a-hidden-twin.desktop"_s,
            u"Name=Hidden twin\nNoDisplay=true\nStartupWMClass=Twin"_s);
    install(system + u"b-shown-twin.desktop"_s, u"Name=Shown twin\nStartupWMClass=Twin"_s);
    install(system + u"c-shown-twin.desktop"_s, u"Name=Second twin\nStartupWMClass=Twin"_s);
    install(system + u"org.first.Notes.desktop"_s, u"Name=First notes"_s);
    install(system + u"org.second.Notes.desktop"_s, u"Name=Second notes"_s);
    install(system + u"masked.desktop"_s, u"Name=System's"_s);
    install(user + u"masked.desktop"_s, u"Name=User's"_s);
    install(system + u"deleted.desktop"_s, u"Name=Deleted"_s);
    install(user + u"deleted.desktop"_s, u"Name=Deleted\nHidden=true"_s);
    install(u"elsewhere/outside.desktop"_s, u"Name=Outside"_s);
    for (int number = 0; number < installedEntries; ++number)
        install(system + u"filler-%1.desktop"_s.arg(number),
                u"Name=Filler %1\nName[de]=Füller %1\nComment=One of many"_s.arg(number));
}

void DesktopEntriesTest::findsByAnyNameOfTheWindow_data()
{
    QTest::addColumn<QString>("applicationId");
    QTest::addColumn<QString>("classInstance");
    QTest::addColumn<QString>("className");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("name");
    const auto row = [](const char* title,
                        const QString& applicationId,
                        const QString& classInstance,
                        const QString& className,
                        const QString& id,
                        const QString& name) {
        QTest::newRow(title) << applicationId << classInstance << className << id << name;
    };
    const QString none;
    row("nothing known", none, none, none, none, none);
    row("unknown names", u"org.example.Other"_s, u"other"_s, u"Other"_s, none, none);
    row("application id, name in the user's language",
        u"org.example.Editor"_s,
        u"x"_s,
        u"X"_s,
        u"org.example.Editor"_s,
        u"Bearbeiter"_s);
    row("application id with its suffix",
        u"org.example.Editor.desktop"_s,
        none,
        none,
        u"org.example.Editor"_s,
        u"Bearbeiter"_s);
    row("application id as a file",
        u"/usr/share/applications/xterm.desktop"_s,
        none,
        none,
        u"xterm"_s,
        u"Terminal"_s);
    row("application id before class",
        u"org.example.Editor"_s,
        u"xterm"_s,
        u"XTerm"_s,
        u"org.example.Editor"_s,
        u"Bearbeiter"_s);
    row("class in another case", none, none, u"XTerm"_s, u"xterm"_s, u"Terminal"_s);
    row("class in lower case", none, none, u"mixed-case"_s, u"Mixed-Case"_s, u"Mixed"_s);
    row("class instance", none, u"xterm"_s, u"Window"_s, u"xterm"_s, u"Terminal"_s);
    row("entry in a folder", none, none, u"vendor-nested"_s, u"vendor-nested"_s, u"Nested"_s);
    row("StartupWMClass", none, none, u"Office Writer"_s, u"office-writer"_s, u"Writer"_s);
    row("StartupWMClass in another case",
        none,
        none,
        u"office writer"_s,
        u"office-writer"_s,
        u"Writer"_s);
    row("StartupWMClass as application id", u"crx_web"_s, none, none, u"web-app"_s, u"Web App"_s);
    row("an application inside a browser",
        none,
        u"crx_web"_s,
        u"Browser"_s,
        u"web-app"_s,
        u"Web App"_s);
    row("the browser itself", none, u"browser"_s, u"Browser"_s, u"browser"_s, u"Browser"_s);
    row("StartupWMClass of several", none, none, u"Twin"_s, u"b-shown-twin"_s, u"Shown twin"_s);
    row("the end of one id", none, u"x"_s, u"editor"_s, u"org.example.Editor"_s, u"Bearbeiter"_s);
    row("the end of several ids", none, none, u"Notes"_s, none, none);
    row("an entry of the user's own", none, none, u"masked"_s, u"masked"_s, u"User's"_s);
    row("an entry that the user deleted", none, none, u"deleted"_s, none, none);
}

void DesktopEntriesTest::findsByAnyNameOfTheWindow()
{
    QFETCH(const QString, applicationId);
    QFETCH(const QString, classInstance);
    QFETCH(const QString, className);
    QFETCH(const QString, id);
    QFETCH(const QString, name);
    const auto entries = prepared();
    const auto found = entries->find({ .applicationId = applicationId,
                                       .classInstance = classInstance,
                                       .className = className,
                                       .processIdentifier = {} });
    QCOMPARE(found.has_value(), !id.isEmpty());
    QCOMPARE(found.value_or(DesktopEntry()), (DesktopEntry { .id = id, .localizedName = name }));
}

void DesktopEntriesTest::findsByTheProcess_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("className");
    QTest::addColumn<bool>("ownMark");
    QTest::addColumn<QString>("id");
    const QString installed = u"/system/applications/"_s;
    QTest::newRow("installed") << QString(installed + u"org.first.Notes.desktop"_s) << u"Java"_s
                               << true << u"org.first.Notes"_s;
    QTest::newRow("in a folder") << QString(installed + u"vendor/nested.desktop"_s) << u"Java"_s
                                 << true << u"vendor-nested"_s;
    QTest::newRow("not installed")
        << u"/elsewhere/outside.desktop"_s << u"Java"_s << true << u"outside"_s;
    QTest::newRow("not there") << u"/elsewhere/missing.desktop"_s << u"Java"_s << true << QString();
    QTest::newRow("mark of another process")
        << QString(installed + u"xterm.desktop"_s) << u"Java"_s << false << QString();
    QTest::newRow("after the class")
        << QString(installed + u"org.first.Notes.desktop"_s) << u"XTerm"_s << true << u"xterm"_s;
    QTest::newRow("before the end of an id") << QString(installed + u"org.first.Notes.desktop"_s)
                                             << u"Editor"_s << true << u"org.first.Notes"_s;
}

void DesktopEntriesTest::findsByTheProcess()
{
    QFETCH(const QString, file);
    QFETCH(const QString, className);
    QFETCH(const bool, ownMark);
    QFETCH(const QString, id);
    const LaunchedProcess process(root + file, ownMark);
    const auto entries = prepared();
    const auto found = entries->find({ .applicationId = {},
                                       .classInstance = {},
                                       .className = className,
                                       .processIdentifier = process.id() });
    QCOMPARE(found.value_or(DesktopEntry()).id, id);
}

void DesktopEntriesTest::findsIdsBeforeItIsPrepared_data()
{
    QTest::addColumn<QString>("className");
    QTest::addColumn<QString>("id");
    QTest::newRow("exact") << u"org.example.Editor"_s << u"org.example.Editor"_s;
    QTest::newRow("lower case") << u"XTerm"_s << u"xterm"_s;
    QTest::newRow("unknown") << u"Unknown"_s << QString();
}

void DesktopEntriesTest::findsIdsBeforeItIsPrepared()
{
    QFETCH(const QString, className);
    QFETCH(const QString, id);
    const DesktopEntries entries;
    const auto found = entries.find({ .applicationId = {},
                                      .classInstance = {},
                                      .className = className,
                                      .processIdentifier = {} });
    QCOMPARE(found.value_or(DesktopEntry()).id, id);
    QVERIFY(!entries.isPrepared());
}

void DesktopEntriesTest::readsInSteps()
{
    DesktopEntries entries;
    QSignalSpy finished(&entries, &DesktopEntries::prepareFinished);
    entries.prepare();
    QVERIFY(finished.isEmpty());
    QVERIFY(finished.wait());
    QVERIFY(entries.isPrepared());
}

void DesktopEntriesTest::noticesChanges()
{
    const auto entries = prepared();
    const auto name = [&](const QString& className) {
        return entries
            ->find({ .applicationId = {},
                     .classInstance = {},
                     .className = className,
                     .processIdentifier = {} })
            .value_or(DesktopEntry())
            .localizedName;
    };
    QCOMPARE(name(u"Late Class"_s), QString());
    install(u"user/applications/late.desktop"_s, u"Name=Late\nStartupWMClass=Late Class"_s);
    QTRY_COMPARE(name(u"Late Class"_s), u"Late"_s);
    install(u"user/applications/late.desktop"_s, u"Name=Later\nStartupWMClass=Late Class"_s);
    QTRY_COMPARE(name(u"Late Class"_s), u"Later"_s);
    QVERIFY(QFile::remove(root + u"/user/applications/late.desktop"_s));
    QTRY_COMPARE(name(u"Late Class"_s), QString());
}

void DesktopEntriesTest::findsFromMemory()
{
    const auto entries = prepared();
    const WindowOwner window { .applicationId = {},
                               .classInstance = u"filler-7"_s,
                               .className = u"Filler"_s,
                               .processIdentifier = {} };
    // No file can be read any more, as none can be opened.
    QVERIFY(QFile::rename(root + u"/system"_s, root + u"/gone"_s));
    const auto found = entries->find(window);
    QVERIFY(QFile::rename(root + u"/gone"_s, root + u"/system"_s));
    QCOMPARE(found.value_or(DesktopEntry()).localizedName, u"Füller 7"_s);
    QBENCHMARK
    {
        static_cast<void>(entries->find(window));
    }
}

int main(int argc, char** argv)
{
    const QTemporaryDir directory;
    // GLib looks at them once.
    qputenv("XDG_DATA_HOME", QFile::encodeName(directory.filePath(u"user"_s)));
    qputenv("XDG_DATA_DIRS", QFile::encodeName(directory.filePath(u"system"_s)));
    qputenv("LANGUAGE", "de");
    qputenv("LC_ALL", "C.UTF-8");
    QCoreApplication application(argc, argv);
    DesktopEntriesTest test(directory.path());
    return QTest::qExec(&test, argc, argv);
}

#include "DesktopEntriesTest.moc"
