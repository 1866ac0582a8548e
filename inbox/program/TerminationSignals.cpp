#include "inbox/program/TerminationSignals.h"

#include <QSocketNotifier>

#include <csignal>

#include <sys/signalfd.h>
#include <unistd.h>

namespace quibel::inbox {

namespace {

int openSignals()
{
    sigset_t set {};
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    return ::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

} // namespace

TerminationSignals::TerminationSignals()
    : descriptor(openSignals())
{
    auto* notifier = new QSocketNotifier(descriptor.number(), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this] {
        signalfd_siginfo info {};
        if (::read(descriptor.number(), &info, sizeof info) == sizeof info)
            Q_EMIT received();
    });
}

} // namespace quibel::inbox
