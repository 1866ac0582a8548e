#include "inbox/program/ProcessSignals.h"

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
    for (const int number : { SIGTERM, SIGINT, SIGHUP })
        sigaddset(&set, number);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    return ::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

} // namespace

ProcessSignals::ProcessSignals()
    : descriptor(openSignals())
{
    auto* notifier = new QSocketNotifier(descriptor.number(), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this] {
        signalfd_siginfo info {};
        while (::read(descriptor.number(), &info, sizeof info) == sizeof info) {
            if (info.ssi_signo == SIGHUP)
                Q_EMIT reloadRequested();
            else
                Q_EMIT endRequested();
        }
    });
}

} // namespace quibel::inbox
