// Starts a program so many times and tells, for each, the milliseconds from just before it is
// executed to its first grab of a key, as one line each. The program is ended in between.
//
//   quibel-bench-start <starts> <program>
#include "platform/x11/Xcb.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/record.h>
#include <xcb/xcbext.h>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using quibel::XcbOwned;

constexpr std::uint8_t grabKeyRequest = 33;
constexpr std::uint8_t fromClient = 1; ///< Category of a record: a request.
constexpr auto patience = 30s;

/// The grabs of keys by whoever connects to the X server from now on.
class KeyGrabs
{
public:
    KeyGrabs()
    {
        const auto id = xcb_generate_id(control);
        const std::array<xcb_record_client_spec_t, 1> clients { XCB_RECORD_CS_FUTURE_CLIENTS };
        xcb_record_range_t range {};
        range.core_requests = { .first = grabKeyRequest, .last = grabKeyRequest };
        const XcbOwned<xcb_generic_error_t> error(xcb_request_check(
            control,
            xcb_record_create_context_checked(control, id, 0, 1, 1, clients.data(), &range)));
        if (error) {
            std::fputs("the X server does not record\n", stderr);
            std::quick_exit(1);
        }
        cookie = xcb_record_enable_context(data, id);
        xcb_flush(data);
    }
    KeyGrabs(const KeyGrabs&) = delete;
    KeyGrabs& operator=(const KeyGrabs&) = delete;
    ~KeyGrabs()
    {
        xcb_disconnect(data);
        xcb_disconnect(control);
    }

    /// Waits for the next grab. Errors: false when none comes in time.
    bool wait()
    {
        const auto deadline = Clock::now() + patience;
        while (Clock::now() < deadline) {
            while (const auto reply = poll())
                if (reply->category == fromClient
                    && xcb_record_enable_context_data_length(reply.get()) > 0)
                    return true;
            pollfd readable { .fd = xcb_get_file_descriptor(data), .events = POLLIN, .revents = 0 };
            ::poll(&readable, 1, 100);
        }
        return false;
    }

    /// Forgets what has been told so far.
    void drain()
    {
        while (poll()) { }
    }

private:
    XcbOwned<xcb_record_enable_context_reply_t> poll()
    {
        void* reply = nullptr;
        xcb_generic_error_t* error = nullptr;
        xcb_poll_for_reply(data, cookie.sequence, &reply, &error);
        const XcbOwned<xcb_generic_error_t> ignored(error);
        return XcbOwned<xcb_record_enable_context_reply_t>(
            static_cast<xcb_record_enable_context_reply_t*>(reply));
    }

    xcb_connection_t* control = xcb_connect(nullptr, nullptr);
    xcb_connection_t* data = xcb_connect(nullptr, nullptr);
    xcb_record_enable_context_cookie_t cookie {};
};

bool startOnce(KeyGrabs& grabs, char* program)
{
    grabs.drain();
    const auto begin = Clock::now();
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(::open("/dev/null", O_WRONLY), STDOUT_FILENO);
        std::array<char*, 2> arguments { program, nullptr };
        ::execv(program, arguments.data());
        ::_exit(127);
    }
    const bool grabbed = grabs.wait();
    const std::chrono::duration<double, std::milli> taken = Clock::now() - begin;
    if (grabbed)
        std::printf("%.3f\n", taken.count());
    std::fflush(stdout);
    std::this_thread::sleep_for(500ms);
    ::kill(child, SIGTERM);
    ::waitpid(child, nullptr, 0);
    std::this_thread::sleep_for(200ms);
    return grabbed;
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 3)
        return 2;
    KeyGrabs grabs;
    std::signal(SIGPIPE, SIG_IGN);
    for (int i = std::atoi(argv[1]); i > 0; --i)
        if (!startOnce(grabs, argv[2]))
            return 1;
    return 0;
}
