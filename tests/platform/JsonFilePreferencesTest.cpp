#include "platform/freedesktop/JsonFilePreferences.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QTest>

#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace quibel;
using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype mebibyte = 1 << 20;
constexpr uid_t nobody = 65534;

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Collects what is written to standard error.
class StandardError
{
    Q_DISABLE_COPY_MOVE(StandardError)

public:
    StandardError()
        : original(::dup(STDERR_FILENO))
    {
        if (!collected.open())
            qFatal("no temporary file");
        ::dup2(collected.handle(), STDERR_FILENO);
    }
    ~StandardError()
    {
        ::dup2(original, STDERR_FILENO);
        ::close(original);
    }

    [[nodiscard]] QStringList lines()
    {
        std::fflush(stderr);
        return QString::fromLocal8Bit(readAll(collected.fileName()))
            .split(u'\n', Qt::SkipEmptyParts);
    }

private:
    QTemporaryFile collected;
    int original;
};

/// One fsync: of what, and what the preferences file held at that moment.
struct Synchronization
{
    QString file;
    QByteArray content;
};

struct SynchronizationLog
{
    QString preferences; ///< Logging is on while this is set.
    std::vector<Synchronization> entries;
};

SynchronizationLog& synchronizations()
{
    static SynchronizationLog log;
    return log;
}

/// Makes writes fail from `bytes` on, as a full disk does.
class FullDisk
{
    Q_DISABLE_COPY_MOVE(FullDisk)

public:
    explicit FullDisk(rlim_t bytes)
    {
        ::getrlimit(RLIMIT_FSIZE, &before);
        const rlimit limit { .rlim_cur = bytes, .rlim_max = before.rlim_max };
        std::signal(SIGXFSZ, SIG_IGN);
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() { ::setrlimit(RLIMIT_FSIZE, &before); }

private:
    rlimit before = {};
};

mode_t modeOf(const QString& path)
{
    struct stat status = {};
    ::stat(QFile::encodeName(path).constData(), &status);
    return status.st_mode & 07777U;
}

/// Sets ever larger values until it is killed; each is made of one repeated letter.
[[noreturn]] void writeWithoutEnd(const QString& path)
{
    JsonFilePreferences preferences(path);
    for (int count = 0;; ++count) {
        const char letter = static_cast<char>('a' + count % 26);
        preferences.setData(u"bytes"_s, QByteArray(1 + count * 997 % 100'000, letter));
        std::puts("written");
        std::fflush(stdout);
    }
}

} // namespace

/// Stands before the system's, for this program only.
extern "C" int fsync(int fd)
{
    SynchronizationLog& log = synchronizations();
    if (!log.preferences.isEmpty())
        log.entries.push_back({ .file = QFile::symLinkTarget(u"/proc/self/fd/%1"_s.arg(fd)),
                                .content = readAll(log.preferences) });
    return static_cast<int>(::syscall(SYS_fsync, fd));
}

class JsonFilePreferencesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void isFoundInTheUsersConfiguration();
    void holdsNothingWithoutAFile();
    void keepsWhatWasSet();
    void keepsAnyBytes_data();
    void keepsAnyBytes();
    void keepsAnyText_data();
    void keepsAnyText();
    void writesOneFlatReadableObject();
    void readsValuesOfOtherTypesAsNone_data();
    void readsValuesOfOtherTypesAsNone();
    void leavesForeignValuesAlone();
    void removesAKey();
    void doesNotWriteWhatIsThereAlready();

    void keepsFileAndFolderToTheUser();
    void takesAnOpenFileBack();
    void writesThroughASymbolicLink_data();
    void writesThroughASymbolicLink();
    void leavesNoTemporaryFile();
    void isOnDiskBeforeAChangeReturns();

    void setsADamagedFileAside_data();
    void setsADamagedFileAside();
    void leavesADamagedFileThatIsOnlyLookedAt();
    void describesWhereItIsKept();
    void neverOverwritesAnEarlierDamagedFile();
    void setsTheFileBehindALinkAside();
    void setsAFolderInItsPlaceAside();

    void seesAnotherProgramsChange();
    void doesNotOverwriteAnotherProgramsChange();
    void noticesThatTheFileWasRemoved();

    void keepsChangesInMemoryWhileTheDiskIsFull();
    void keepsChangesInMemoryWhileTheFolderIsReadOnly();
    void isWholeAfterAKill();

private:
    [[nodiscard]] QByteArray content() const { return readAll(path); }
    void write(const QByteArray& bytes) const
    {
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(bytes), bytes.size());
    }
    [[nodiscard]] QStringList filesInFolder() const
    {
        return QDir(QFileInfo(path).path())
            .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System | QDir::Hidden);
    }

    std::unique_ptr<QTemporaryDir> directory;
    QString path;
};

void JsonFilePreferencesTest::init()
{
    directory = std::make_unique<QTemporaryDir>();
    QVERIFY(directory->isValid());
    path = directory->filePath(u"config/quibel/preferences.json"_s);
}

void JsonFilePreferencesTest::isFoundInTheUsersConfiguration()
{
    const QByteArray before = qgetenv("XDG_CONFIG_HOME");
    const QByteArray home = qgetenv("HOME");
    qputenv("XDG_CONFIG_HOME", "/somewhere/config");
    QCOMPARE(JsonFilePreferences::defaultPath(), u"/somewhere/config/quibel/preferences.json"_s);
    qunsetenv("XDG_CONFIG_HOME");
    qputenv("HOME", "/home/somebody");
    QCOMPARE(JsonFilePreferences::defaultPath(),
             u"/home/somebody/.config/quibel/preferences.json"_s);
    qputenv("HOME", home);
    if (!before.isNull())
        qputenv("XDG_CONFIG_HOME", before);
}

void JsonFilePreferencesTest::holdsNothingWithoutAFile()
{
    StandardError errors;
    JsonFilePreferences preferences(path);
    QCOMPARE(preferences.text(u"key"_s), std::nullopt);
    QCOMPARE(preferences.textList(u"key"_s), std::nullopt);
    QCOMPARE(preferences.data(u"key"_s), std::nullopt);
    preferences.remove(u"key"_s);
    QVERIFY(!QFileInfo::exists(path));
    QCOMPARE(errors.lines(), QStringList());
}

void JsonFilePreferencesTest::keepsWhatWasSet()
{
    {
        JsonFilePreferences preferences(path);
        preferences.setText(u"quibel.screenshotMode"_s, u"on"_s);
        preferences.setTextList(u"ProjectStore.projects"_s, { u"p2"_s, u"p1"_s });
        preferences.setTextList(u"none"_s, {});
        preferences.setData(u"quibel.lastFailedCapture"_s, "{}");
    }
    const JsonFilePreferences preferences(path);
    QCOMPARE(preferences.text(u"quibel.screenshotMode"_s), u"on"_s);
    QCOMPARE(preferences.textList(u"ProjectStore.projects"_s), (QStringList { u"p2"_s, u"p1"_s }));
    QCOMPARE(preferences.textList(u"none"_s), QStringList());
    QCOMPARE(preferences.data(u"quibel.lastFailedCapture"_s), QByteArray("{}"));
}

void JsonFilePreferencesTest::keepsAnyBytes_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("none") << QByteArray("");
    QTest::newRow("no text") << QByteArray("\0\xff\n", 3);
    QTest::newRow("one mebibyte") << QByteArray(mebibyte, '\xa5');
}

void JsonFilePreferencesTest::keepsAnyBytes()
{
    QFETCH(const QByteArray, bytes);
    JsonFilePreferences(path).setData(u"key"_s, bytes);
    QCOMPARE(JsonFilePreferences(path).data(u"key"_s), bytes);
}

void JsonFilePreferencesTest::keepsAnyText_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString();
    QTest::newRow("quotes and controls") << u"\"\\\n\u0001"_s;
    QTest::newRow("beyond the first plane") << u"ü \U0001F33F"_s;
    QTest::newRow("half a pair") << QString(QChar(0xd83c));
}

void JsonFilePreferencesTest::keepsAnyText()
{
    QFETCH(const QString, text);
    JsonFilePreferences(path).setText(text, text);
    QCOMPARE(JsonFilePreferences(path).text(text), text);
}

void JsonFilePreferencesTest::writesOneFlatReadableObject()
{
    JsonFilePreferences preferences(path);
    preferences.setText(u"text"_s, u"on"_s);
    preferences.setTextList(u"list"_s, { u"p2"_s, u"p1"_s });
    preferences.setData(u"bytes"_s, "Hello");
    const QJsonObject expected { { u"text"_s, u"on"_s },
                                 { u"list"_s, QJsonArray { u"p2"_s, u"p1"_s } },
                                 { u"bytes"_s, QJsonObject { { u"base64"_s, u"SGVsbG8="_s } } } };
    QCOMPARE(QJsonDocument::fromJson(content()).object(), expected);
}

void JsonFilePreferencesTest::readsValuesOfOtherTypesAsNone_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<bool>("isText");
    QTest::addColumn<bool>("isList");
    QTest::addColumn<bool>("isData");
    QTest::newRow("number") << QByteArray("1") << false << false << false;
    QTest::newRow("flag") << QByteArray("true") << false << false << false;
    QTest::newRow("null") << QByteArray("null") << false << false << false;
    QTest::newRow("text") << QByteArray(R"("p1")") << true << false << false;
    QTest::newRow("texts") << QByteArray(R"(["p1"])") << false << true << false;
    QTest::newRow("a number among texts") << QByteArray(R"(["p1", 2])") << false << false << false;
    QTest::newRow("bytes") << QByteArray(R"({"base64": "AA=="})") << false << false << true;
    QTest::newRow("bytes that are none")
        << QByteArray(R"({"base64": "A*=="})") << false << false << false;
    QTest::newRow("another object") << QByteArray(R"({"base": "AA=="})") << false << false << false;
    QTest::newRow("more than bytes")
        << QByteArray(R"({"base64": "AA==", "other": 1})") << false << false << false;
}

void JsonFilePreferencesTest::readsValuesOfOtherTypesAsNone()
{
    QFETCH(const QByteArray, json);
    write(R"({"key": )" + json + "}");
    const JsonFilePreferences preferences(path);
    QTEST(preferences.text(u"key"_s).has_value(), "isText");
    QTEST(preferences.textList(u"key"_s).has_value(), "isList");
    QTEST(preferences.data(u"key"_s).has_value(), "isData");
}

void JsonFilePreferencesTest::leavesForeignValuesAlone()
{
    const QByteArray foreign = R"("a": 1.5, "b": [true, null, {"c": -7}], "d": 9007199254740993)";
    write("{" + foreign + "}");
    JsonFilePreferences preferences(path);
    preferences.setText(u"key"_s, u"value"_s);
    QCOMPARE(QJsonDocument::fromJson(content()),
             QJsonDocument::fromJson("{" + foreign + R"(, "key": "value"})"));
    QVERIFY(content().contains("9007199254740993"));
}

void JsonFilePreferencesTest::removesAKey()
{
    JsonFilePreferences preferences(path);
    preferences.setText(u"one"_s, u"1"_s);
    preferences.setText(u"two"_s, u"2"_s);
    preferences.remove(u"one"_s);
    QCOMPARE(preferences.text(u"one"_s), std::nullopt);
    QCOMPARE(QJsonDocument::fromJson(content()).object(), (QJsonObject { { u"two"_s, u"2"_s } }));
}

void JsonFilePreferencesTest::doesNotWriteWhatIsThereAlready()
{
    JsonFilePreferences preferences(path);
    preferences.setText(u"key"_s, u"value"_s);
    const FileState before = FileState::of(path.toStdString());
    preferences.setText(u"key"_s, u"value"_s);
    QVERIFY(FileState::of(path.toStdString()) == before);
    preferences.setText(u"key"_s, u"other"_s);
    QVERIFY(FileState::of(path.toStdString()) != before);
}

void JsonFilePreferencesTest::keepsFileAndFolderToTheUser()
{
    const mode_t mask = ::umask(0);
    JsonFilePreferences(path).setText(u"key"_s, u"value"_s);
    ::umask(mask);
    QCOMPARE(modeOf(path), mode_t(0600));
    QCOMPARE(modeOf(directory->filePath(u"config/quibel"_s)), mode_t(0700));
    QCOMPARE(modeOf(directory->filePath(u"config"_s)), mode_t(0700));
}

void JsonFilePreferencesTest::takesAnOpenFileBack()
{
    write("{}");
    QCOMPARE(::chmod(QFile::encodeName(path).constData(), 0644), 0);
    JsonFilePreferences(path).setText(u"key"_s, u"value"_s);
    QCOMPARE(modeOf(path), mode_t(0600));
}

void JsonFilePreferencesTest::writesThroughASymbolicLink_data()
{
    QTest::addColumn<QString>("link");
    QTest::addColumn<bool>("targetExists");
    QTest::newRow("absolute") << QString() << true;
    QTest::newRow("relative") << u"../../dotfiles/quibel.json"_s << true;
    QTest::newRow("to a file that is not there yet") << u"../../dotfiles/quibel.json"_s << false;
}

void JsonFilePreferencesTest::writesThroughASymbolicLink()
{
    QFETCH(const QString, link);
    QFETCH(const bool, targetExists);
    const QString target = directory->filePath(u"dotfiles/quibel.json"_s);
    QVERIFY(QDir().mkpath(directory->filePath(u"dotfiles"_s)));
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QVERIFY(QFile::link(link.isEmpty() ? target : link, path));
    if (targetExists)
        write(R"({"old": "1"})");

    JsonFilePreferences preferences(path);
    QCOMPARE(preferences.text(u"old"_s).has_value(), targetExists);
    preferences.setText(u"key"_s, u"value"_s);
    QVERIFY(QFileInfo(path).isSymLink());
    QVERIFY(!QFileInfo(target).isSymLink());
    QCOMPARE(modeOf(target), mode_t(0600));
    QCOMPARE(JsonFilePreferences(target).text(u"key"_s), u"value"_s);
    QCOMPARE(JsonFilePreferences(target).text(u"old"_s).has_value(), targetExists);
}

void JsonFilePreferencesTest::leavesNoTemporaryFile()
{
    JsonFilePreferences preferences(path);
    preferences.setText(u"key"_s, u"value"_s);
    preferences.setText(u"key"_s, u"other"_s);
    {
        const StandardError errors;
        const FullDisk full(10);
        preferences.setText(u"key"_s, u"third"_s);
    }
    QCOMPARE(filesInFolder(), QStringList { u"preferences.json"_s });
}

void JsonFilePreferencesTest::isOnDiskBeforeAChangeReturns()
{
    JsonFilePreferences preferences(path);
    preferences.setText(u"key"_s, u"old"_s);
    const QByteArray old = content();
    synchronizations() = { .preferences = path, .entries = {} };
    preferences.setText(u"key"_s, u"new"_s);
    const std::vector<Synchronization> entries = synchronizations().entries;
    synchronizations() = {};
    QCOMPARE(entries.size(), size_t(2));
    QVERIFY(entries.front().file.startsWith(path + u'.'));
    QCOMPARE(entries.front().content, old);
    QCOMPARE(entries.back().file, QFileInfo(path).path());
    QCOMPARE(entries.back().content, content());
}

void JsonFilePreferencesTest::setsADamagedFileAside_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("empty") << QByteArray("");
    QTest::newRow("cut off") << QByteArray(R"({"key": "val)");
    QTest::newRow("an array") << QByteArray("[]");
    QTest::newRow("no JSON") << QByteArray("\0\xff garbage", 10);
}

void JsonFilePreferencesTest::setsADamagedFileAside()
{
    QFETCH(const QByteArray, bytes);
    write(bytes);
    StandardError errors;
    JsonFilePreferences preferences(path);
    QCOMPARE(preferences.text(u"key"_s), std::nullopt);
    QCOMPARE(filesInFolder(), QStringList { u"preferences.json.damaged"_s });
    preferences.setText(u"key"_s, u"value"_s);
    QCOMPARE(preferences.text(u"key"_s), u"value"_s);
    QCOMPARE(JsonFilePreferences(path).text(u"key"_s), u"value"_s);

    QCOMPARE(readAll(path + u".damaged"_s), bytes);
    QCOMPARE(errors.lines().size(), 1);
    QVERIFY(errors.lines().constFirst().contains(path + u".damaged"_s));
}

void JsonFilePreferencesTest::leavesADamagedFileThatIsOnlyLookedAt()
{
    write("[]");
    StandardError errors;
    const JsonFilePreferences preferences(path, JsonFilePreferences::Damaged::leave);
    QCOMPARE(preferences.text(u"key"_s), std::nullopt);
    QCOMPARE(preferences.describe().damage, u"not an object"_s);
    QVERIFY(preferences.describe().exists);
    QCOMPARE(filesInFolder(), QStringList { u"preferences.json"_s });
    QCOMPARE(readAll(path), QByteArray("[]"));
    QCOMPARE(errors.lines(), QStringList());

    write(R"({"key": "value"})");
    QCOMPARE(preferences.describe().damage, std::nullopt);
    QCOMPARE(preferences.text(u"key"_s), u"value"_s);
}

void JsonFilePreferencesTest::describesWhereItIsKept()
{
    const JsonFilePreferences preferences(path);
    const PreferencesFacts fresh {
        .path = path, .exists = false, .damage = {}, .canBeWritten = true
    };
    QCOMPARE(preferences.describe(), fresh);
    write("{}");
    QVERIFY(preferences.describe().exists);

    QVERIFY(QFile::remove(path));
    QVERIFY(QDir().rmdir(QFileInfo(path).path()));
    QFile inTheWay(QFileInfo(path).path());
    QVERIFY(inTheWay.open(QIODevice::WriteOnly));
    QVERIFY(!preferences.describe().canBeWritten);
}

void JsonFilePreferencesTest::neverOverwritesAnEarlierDamagedFile()
{
    const StandardError errors;
    for (const char* const bytes : { "first", "second", "third" }) {
        write(bytes);
        QCOMPARE(JsonFilePreferences(path).text(u"key"_s), std::nullopt);
    }
    const std::map<QString, QByteArray> expected { { u".damaged"_s, "first" },
                                                   { u".damaged.1"_s, "second" },
                                                   { u".damaged.2"_s, "third" } };
    for (const auto& [suffix, bytes] : expected)
        QCOMPARE(readAll(path + suffix), bytes);
}

void JsonFilePreferencesTest::setsTheFileBehindALinkAside()
{
    const StandardError errors;
    const QString target = directory->filePath(u"quibel.json"_s);
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QVERIFY(QFile::link(target, path));
    write("damaged");
    JsonFilePreferences preferences(path);
    preferences.setText(u"key"_s, u"value"_s);
    QVERIFY(QFileInfo(path).isSymLink());
    QVERIFY(QFileInfo::exists(target + u".damaged"_s));
    QCOMPARE(JsonFilePreferences(target).text(u"key"_s), u"value"_s);
}

void JsonFilePreferencesTest::setsAFolderInItsPlaceAside()
{
    QVERIFY(QDir().mkpath(path + u"/a folder in its place"_s));
    {
        StandardError errors;
        JsonFilePreferences preferences(path);
        QCOMPARE(preferences.text(u"key"_s), std::nullopt);
        QCOMPARE(errors.lines().size(), 1);
    }
    QVERIFY(QFileInfo::exists(path + u".damaged/a folder in its place"_s));
}

void JsonFilePreferencesTest::seesAnotherProgramsChange()
{
    JsonFilePreferences preferences(path);
    preferences.setText(u"key"_s, u"mine"_s);
    write(R"({"key": "theirs"})");
    QCOMPARE(preferences.text(u"key"_s), u"theirs"_s);
    JsonFilePreferences(path).setText(u"key"_s, u"again"_s);
    QCOMPARE(preferences.text(u"key"_s), u"again"_s);
}

void JsonFilePreferencesTest::doesNotOverwriteAnotherProgramsChange()
{
    JsonFilePreferences preferences(path);
    preferences.setText(u"key"_s, u"mine"_s);
    write(R"({"key": "mine", "quibel.apiBaseURL": "https://other.example"})");
    preferences.setText(u"key"_s, u"new"_s);
    const JsonFilePreferences after(path);
    QCOMPARE(after.text(u"quibel.apiBaseURL"_s), u"https://other.example"_s);
    QCOMPARE(after.text(u"key"_s), u"new"_s);
}

void JsonFilePreferencesTest::noticesThatTheFileWasRemoved()
{
    JsonFilePreferences preferences(path);
    preferences.setText(u"key"_s, u"mine"_s);
    QVERIFY(QFile::remove(path));
    QCOMPARE(preferences.text(u"key"_s), std::nullopt);
    preferences.setText(u"other"_s, u"value"_s);
    QCOMPARE(JsonFilePreferences(path).text(u"key"_s), std::nullopt);
}

void JsonFilePreferencesTest::keepsChangesInMemoryWhileTheDiskIsFull()
{
    JsonFilePreferences preferences(path);
    preferences.setText(u"old"_s, u"value"_s);
    preferences.setText(u"gone"_s, u"value"_s);
    const QByteArray before = content();
    StandardError errors;
    {
        const FullDisk full(10'000);
        preferences.setData(u"kept"_s, QByteArray(mebibyte, 'k'));
        preferences.remove(u"gone"_s);
        QCOMPARE(content(), before);
    }
    QCOMPARE(preferences.data(u"kept"_s), QByteArray(mebibyte, 'k'));
    QCOMPARE(preferences.text(u"gone"_s), std::nullopt);
    QCOMPARE(preferences.text(u"old"_s), u"value"_s);
    QCOMPARE(errors.lines().size(), 1);

    preferences.setText(u"next"_s, u"value"_s);
    const JsonFilePreferences after(path);
    QCOMPARE(after.data(u"kept"_s), QByteArray(mebibyte, 'k'));
    QCOMPARE(after.text(u"gone"_s), std::nullopt);
    QCOMPARE(after.text(u"next"_s), u"value"_s);
}

void JsonFilePreferencesTest::keepsChangesInMemoryWhileTheFolderIsReadOnly()
{
    JsonFilePreferences preferences(path);
    preferences.setText(u"old"_s, u"value"_s);
    const QByteArray before = content();
    const QByteArray folder = QFile::encodeName(QFileInfo(path).path());
    QCOMPARE(::chmod(folder.constData(), 0555), 0);
    // Modes do not bind root.
    const bool root = ::geteuid() == 0;
    if (root) {
        for (const QString& name : { QString(), u"config"_s, u"config/quibel/preferences.json"_s })
            QCOMPARE(::chmod(QFile::encodeName(directory->filePath(name)).constData(), 0755), 0);
        QCOMPARE(::seteuid(nobody), 0);
    }
    StandardError errors;
    preferences.setText(u"kept"_s, u"value"_s);
    preferences.setText(u"kept"_s, u"newer"_s);
    if (root)
        QCOMPARE(::seteuid(0), 0);
    QCOMPARE(errors.lines().size(), 1);
    QCOMPARE(content(), before);
    QCOMPARE(preferences.text(u"kept"_s), u"newer"_s);
    QCOMPARE(::chmod(folder.constData(), 0755), 0);
}

void JsonFilePreferencesTest::isWholeAfterAKill()
{
    for (int round = 0; round < 10; ++round) {
        QProcess writer;
        writer.start(QCoreApplication::applicationFilePath(), { u"--write"_s, path });
        QByteArray written;
        while (written.count('\n') < 5 + 7 * round) {
            QVERIFY(writer.waitForReadyRead());
            written += writer.readAllStandardOutput();
        }
        ::kill(static_cast<pid_t>(writer.processId()), SIGKILL);
        QVERIFY(writer.waitForFinished());
        StandardError errors;
        const auto bytes = JsonFilePreferences(path).data(u"bytes"_s);
        QCOMPARE(errors.lines(), QStringList());
        QVERIFY(bytes && !bytes->isEmpty());
        QCOMPARE(*bytes, QByteArray(bytes->size(), bytes->front()));
    }
}

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 3 && arguments.at(1) == u"--write"_s)
        writeWithoutEnd(arguments.at(2));
    JsonFilePreferencesTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "JsonFilePreferencesTest.moc"
