#include "tests/system/AgentSession.h"
#include "tests/system/DesktopTest.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>

#include <optional>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace quibel::testing {

class KeyInMemoryTest : public DesktopTest
{
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    /// How often the key stands in the memory of a process, in either of the encodings that it has
    /// there, but for the requests that the toolkit has written; nullopt if that cannot be read.
    [[nodiscard]] static std::optional<qsizetype> ownCopies(pid_t process, const QString& key)
    {
        QFile map(u"/proc/%1/maps"_s.arg(process));
        QFile memory(u"/proc/%1/mem"_s.arg(process));
        if (!map.open(QIODevice::ReadOnly)
            || !memory.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
            return std::nullopt;
        const QByteArray narrow = key.toUtf8();
        const QByteArray wide(reinterpret_cast<const char*>(key.utf16()), key.size() * 2);
        const QByteArray ofTheToolkit = "\r\nAuthorization: Bearer " + narrow;
        static const QRegularExpression writable(u"^([0-9a-f]+)-([0-9a-f]+) rw"_s);
        qsizetype count = 0;
        const QList<QByteArray> lines = map.readAll().split('\n');
        for (const QByteArray& line : lines) {
            const auto range = writable.match(QString::fromLatin1(line));
            const qint64 begin = range.captured(1).toLongLong(nullptr, 16);
            const qint64 end = range.captured(2).toLongLong(nullptr, 16);
            // The sanitizers map terabytes, most of which is empty.
            constexpr qint64 largest = qint64 { 64 } << 20;
            if (!range.hasMatch() || end - begin > largest || !memory.seek(begin))
                continue;
            const QByteArray bytes = memory.read(end - begin);
            count += bytes.count(narrow) + bytes.count(wide) - bytes.count(ofTheToolkit);
        }
        return count;
    }

private Q_SLOTS:
    void aCrashLeavesNoCore()
    {
        AgentSession session(desktop);
        QProcessEnvironment surroundings;
        // The sanitizers would forbid it themselves.
        surroundings.insert(u"ASAN_OPTIONS"_s, u"disable_coredump=0"_s);
        QVERIFY(session.launch(surroundings));
        QFile limits(u"/proc/%1/limits"_s.arg(session.processId()));
        QVERIFY(limits.open(QIODevice::ReadOnly));
        static const QRegularExpression none(u"Max core file size +0 +0 "_s);
        const QString text = QString::fromLatin1(limits.readAll());
        QVERIFY2(text.contains(none), qPrintable(text));
        // Still open to its user, by which desktops find out who asks them.
        QCOMPARE(QFileInfo(limits).ownerId(), ::getuid());
    }

    void keepsNoCopyOfTheKeyOfItsOwn()
    {
        const QString key = u"sk_ofTheMemoryTest_7041"_s;
        AgentSession session(desktop);
        QVERIFY(session.storeKey(key.toUtf8()));
        QVERIFY(session.launch());
        QTRY_VERIFY(session.output().contains("Loaded 2 projects from API\n"));
        EditorWindow editor(u"notes"_s);
        QVERIFY(editor.bringToFront());
        QVERIFY(session.branchOff(u"thought"_s));
        QTRY_COMPARE(session.countOf(branchPath), 1U);
        QTRY_VERIFY(editor.isActiveWindow());
        QTRY_COMPARE(session.service.openConnectionCount(), 0);
        QTRY_COMPARE(ownCopies(session.processId(), key), 0);
    }
};

} // namespace quibel::testing

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::testing::KeyInMemoryTest, QApplication>(
        argc, argv, { .keyRing = true });
}

#include "KeyInMemoryTest.moc"
