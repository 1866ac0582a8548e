#include "platform/freedesktop/ProcessLock.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace quibel {

class ProcessLockTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> home;

    [[nodiscard]] QString path() const { return home->filePath(u"lock"_s); }

private Q_SLOTS:
    void init() { home = std::make_unique<QTemporaryDir>(); }

    void isHeldByOne()
    {
        ProcessLock first;
        QVERIFY(first.tryLock(path()));
        ProcessLock second;
        QVERIFY(!second.tryLock(path()));
    }

    void isFreeAgainWithItsHolder()
    {
        QVERIFY(ProcessLock().tryLock(path()));
        QVERIFY(ProcessLock().tryLock(path()));
    }

    void isFreeAgainHoweverItsHolderEnds()
    {
        QProcess holder;
        holder.start(u"flock"_s,
                     { u"--no-fork"_s, path(), u"sh"_s, u"-c"_s, u"echo held; exec cat"_s });
        QVERIFY(holder.waitForReadyRead());
        QVERIFY(!ProcessLock().tryLock(path()));
        holder.kill();
        QVERIFY(holder.waitForFinished());
        QVERIFY(ProcessLock().tryLock(path()));
    }

    void isNotHandedDownToTheProgramsThatItsHolderStarts()
    {
        auto lock = std::make_unique<ProcessLock>();
        QVERIFY(lock->tryLock(path()));
        QProcess child;
        child.start(u"cat"_s);
        QVERIFY(child.waitForStarted());
        lock.reset();
        QVERIFY(ProcessLock().tryLock(path()));
        child.closeWriteChannel();
        QVERIFY(child.waitForFinished());
    }

    void isOfTheUserAlone()
    {
        ProcessLock lock;
        QVERIFY(lock.tryLock(path()));
        QCOMPARE(QFile::permissions(path()) & ~(QFile::ReadUser | QFile::WriteUser),
                 QFile::ReadOwner | QFile::WriteOwner);
    }

    void aFileThatCannotBeMadeKeepsNobodyOut_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("no directory") << u"missing/lock"_s;
        QTest::newRow("a directory itself") << u"."_s;
        QTest::newRow("points elsewhere") << u"link"_s;
    }

    void aFileThatCannotBeMadeKeepsNobodyOut()
    {
        QFETCH(const QString, name);
        const QString elsewhere = home->filePath(u"elsewhere"_s);
        QVERIFY(QFile::link(elsewhere, home->filePath(u"link"_s)));
        ProcessLock first;
        QVERIFY(first.tryLock(home->filePath(name)));
        ProcessLock second;
        QVERIFY(second.tryLock(home->filePath(name)));
        QVERIFY(!QFile::exists(elsewhere));
    }
};

} // namespace quibel

QTEST_APPLESS_MAIN(quibel::ProcessLockTest)

#include "ProcessLockTest.moc"
