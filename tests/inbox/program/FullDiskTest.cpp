#include "tests/inbox/program/InboxProcess.h"
#include "tests/inbox/program/PostingClients.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/mount.h>

namespace quibel::inbox {

using namespace Qt::StringLiterals;
using namespace testing;

namespace {

/// A file system of its own that is soon full, for as long as it lives.
class SmallDisk
{
public:
    explicit SmallDisk(const QByteArray& size)
        : mounted(::mount("tmpfs",
                          path().constData(),
                          "tmpfs",
                          MS_NOSUID | MS_NODEV,
                          ("size=" + size).constData())
                  == 0)
    {
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    ~SmallDisk()
    {
        if (mounted)
            ::umount2(path().constData(), MNT_DETACH);
    }

    [[nodiscard]] bool isMounted() const { return mounted; }
    [[nodiscard]] QString filePath(const QString& name) const { return directory.filePath(name); }

    /// Takes all the room that is left.
    [[nodiscard]] bool fill() const
    {
        QFile file(filePath(u"filling"_s));
        if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
            return false;
        const QByteArray block(4096, 'x');
        while (file.write(block) == block.size()) { }
        return true;
    }
    [[nodiscard]] bool makeRoom() const { return QFile::remove(filePath(u"filling"_s)); }

private:
    [[nodiscard]] QByteArray path() const { return directory.path().toLocal8Bit(); }

    QTemporaryDir directory;
    bool mounted;
};

} // namespace

/// What remains when the disk is full in the middle of the work.
class FullDiskTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void refusesWhileTheDiskIsFullAndGoesOnAfterwards()
    {
        const SmallDisk disk("4m");
        if (!disk.isMounted())
            QSKIP("a small file system cannot be mounted here: neither as root, nor in a user "
                  "namespace, nor by sudo");
        InboxProcess inbox({ u"--data"_s, disk.filePath(u"data"_s) });
        const auto key = inbox.createKey();
        const auto url = inbox.serve();
        PostingClients clients(url, key, 8);
        QTRY_VERIFY_WITH_TIMEOUT(clients.createdCount() >= 20, 30'000);
        QVERIFY(disk.fill());
        const auto refusals = [&clients] { return clients.count(507) + clients.count(503); };
        QTRY_VERIFY_WITH_TIMEOUT(refusals() >= 20, 30'000);
        const auto before = clients.createdCount();
        QVERIFY(disk.makeRoom());
        QTRY_VERIFY_WITH_TIMEOUT(clients.createdCount() >= before + 20, 30'000);
        clients.stop();

        QCOMPARE(clients.count(0), 0);
        QCOMPARE(clients.count(201) + refusals(), int(clients.createdCount()) + refusals());
        QCOMPARE(inbox.keptBranches(), clients.created());
        QVERIFY(inbox.stop());
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::FullDiskTest)
#include "FullDiskTest.moc"
