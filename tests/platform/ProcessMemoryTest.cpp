#include "platform/ProcessMemory.h"

#include <QFile>
#include <QTest>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <thread>

#include <unistd.h>

namespace quibel {

namespace {

constexpr std::size_t kibibyte = 1024;
constexpr std::size_t mebibyte = 1024 * kibibyte;

/// Memory of which every page is in use.
std::unique_ptr<char[]> block(std::size_t bytes) // NOLINT(modernize-avoid-c-arrays)
{
    auto made = std::make_unique_for_overwrite<char[]>(bytes); // NOLINT(modernize-avoid-c-arrays)
    std::fill_n(static_cast<volatile char*>(made.get()), bytes, 'x');
    return made;
}

std::size_t residentBytes()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("the system does not tell");
    const auto pageBytes = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    return file.readAll().split(' ').at(1).toULongLong() * pageBytes;
}

bool isInTheFirstHeap(const char* address)
{
    return reinterpret_cast<std::uintptr_t>(address) < reinterpret_cast<std::uintptr_t>(::sbrk(0));
}

} // namespace

class ProcessMemoryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    static void initTestCase() { giveBackFreedMemory(); }

    void largeBlocksGoBackAlthoughLargerOnesWereFreedBefore()
    {
        block(24 * mebibyte).reset();
        const std::size_t before = residentBytes();
        std::array<decltype(block(0)), 20> blocks;
        for (auto& each : blocks)
            each = block(mebibyte);
        const auto keptBehindThem = block(kibibyte);
        QVERIFY(residentBytes() > before + 19 * mebibyte);
        for (auto& each : blocks)
            each.reset();
        QVERIFY(residentBytes() < before + mebibyte);
    }

    void threadsHaveNoHeapsOfTheirOwn()
    {
        bool shared = false;
        std::thread([&shared] { shared = isInTheFirstHeap(block(kibibyte).get()); }).join();
        QVERIFY(shared);
    }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::ProcessMemoryTest)

#include "ProcessMemoryTest.moc"
