#include "platform/TerminationSignals.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

namespace quibel {

namespace {

constexpr std::array signalsToEnd { SIGTERM, SIGINT, SIGHUP };

/// A signal handler has nothing but globals.
volatile std::sig_atomic_t counter = -1;

void count(int /*signal*/)
{
    const int interrupted = errno;
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(counter, &one, sizeof one);
    errno = interrupted;
}

} // namespace

TerminationSignals::TerminationSignals(std::function<void()> handler)
{
    counter = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    notifier = std::make_unique<QSocketNotifier>(counter, QSocketNotifier::Read);
    QObject::connect(notifier.get(),
                     &QSocketNotifier::activated,
                     notifier.get(),
                     [handler = std::move(handler)] {
                         std::uint64_t signals = 0;
                         [[maybe_unused]] const auto taken
                             = ::read(counter, &signals, sizeof signals);
                         handler();
                     });
    for (const int signal : signalsToEnd) {
        struct sigaction former = {};
        ::sigaction(signal, nullptr, &former);
        if (former.sa_handler == SIG_IGN)
            continue;
        struct sigaction action = {};
        action.sa_handler = count;
        action.sa_flags = SA_RESTART;
        ::sigaction(signal, &action, nullptr);
    }
}

TerminationSignals::~TerminationSignals()
{
    for (const int signal : signalsToEnd) {
        struct sigaction current = {};
        ::sigaction(signal, nullptr, &current);
        if (current.sa_handler == count)
            std::signal(signal, SIG_DFL);
    }
    notifier.reset();
    ::close(std::exchange(counter, -1));
}

} // namespace quibel
