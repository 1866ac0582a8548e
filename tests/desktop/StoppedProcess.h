#pragma once

#include <QtGlobal>

#include <csignal>

#include <sys/types.h>

namespace quibel::testing {

/// Holds a process still while it lives, as a hang would.
class StoppedProcess
{
    Q_DISABLE_COPY_MOVE(StoppedProcess)

public:
    explicit StoppedProcess(pid_t process)
        : pid(process)
    {
        ::kill(pid, SIGSTOP);
    }
    ~StoppedProcess() { ::kill(pid, SIGCONT); }

private:
    pid_t pid;
};

} // namespace quibel::testing
