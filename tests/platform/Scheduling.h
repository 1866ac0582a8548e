#pragma once

#include <QtGlobal>

#include <cstdint>

#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

namespace quibel::testing {

/// What the system tells of how a thread is scheduled, in its own layout.
struct Scheduling
{
    std::uint32_t size = 0;
    std::uint32_t policy = 0;
    std::uint64_t flags = 0;
    std::int32_t niceness = 0;
    std::uint32_t priority = 0;
    std::uint64_t turn = 0; ///< Nanoseconds; 0 where the system does not know of turns.
    std::uint64_t deadline = 0;
    std::uint64_t period = 0;

    bool operator==(const Scheduling&) const = default;
};

constexpr pid_t thisThread = 0;

/// Of a process: its first thread.
inline Scheduling schedulingOf(pid_t thread)
{
    Scheduling scheduling;
    if (::syscall(SYS_sched_getattr, thread, &scheduling, sizeof scheduling, 0) != 0)
        qFatal("the system does not tell");
    return scheduling;
}

/// Whether a thread interrupts those that are scheduled the usual way, as far as the system can.
inline bool interruptsOthers(const Scheduling& scheduling, const Scheduling& usual)
{
    return scheduling.turn < usual.turn || usual.turn == 0;
}

} // namespace quibel::testing
