#include "platform/ProcessMemory.h"

#include <malloc.h>

namespace quibel {

void giveBackFreedMemory()
{
    // The allocator begins with these 128 KiB, but the first large block that is freed, up to
    // 32 MiB, becomes the new bound: all that is smaller then comes from heaps, where one block in
    // use keeps the free ones below it. One screenshot of 33 megapixels leaves 35 MiB so.
    // NOLINTBEGIN(concurrency-mt-unsafe): there is one thread yet.
    constexpr int mappedFrom = 128 * 1024;
    mallopt(M_MMAP_THRESHOLD, mappedFrom);
    // Else each thread has a heap of its own, which stays when the thread has ended.
    mallopt(M_ARENA_MAX, 1);
    // NOLINTEND(concurrency-mt-unsafe)
}

} // namespace quibel
