#include "writer/program/Stop.h"

#include "writer/Errors.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace Halyx::Writer {

namespace {

// A signal handler reaches nothing but globals.
volatile std::sig_atomic_t stopRequested = 0;
int wakePipe[2] = {-1, -1};
struct sigaction previousInterrupt;
struct sigaction previousTerminate;

extern "C" void noteStop(int) {
    const int error = errno;
    stopRequested = 1;
    const char byte = 0;
    // A full pipe wakes as well.
    [[maybe_unused]] const ssize_t written = ::write(wakePipe[1], &byte, 1);
    errno = error;
}

} // namespace

Stop::Stop() {
    if (::pipe2(wakePipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        throwSystemError("cannot make a pipe", errno);
    }
    stopRequested = 0;
    struct sigaction action {};
    action.sa_handler = noteStop; // no SA_RESTART: a blocked call returns
    ::sigaction(SIGINT, &action, &previousInterrupt);
    ::sigaction(SIGTERM, &action, &previousTerminate);
}

Stop::~Stop() {
    ::sigaction(SIGINT, &previousInterrupt, nullptr);
    ::sigaction(SIGTERM, &previousTerminate, nullptr);
    ::close(wakePipe[0]);
    ::close(wakePipe[1]);
}

bool Stop::requested() const {
    return stopRequested != 0;
}

bool Stop::wait(double seconds) const {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    while (!requested()) {
        int timeout = -1;
        if (seconds >= 0) {
            const double left = seconds - std::chrono::duration<double>(Clock::now() - begin).count();
            if (left <= 0) {
                break;
            }
            timeout = static_cast<int>(std::min(std::ceil(left * 1000), 1e9));
        }
        struct pollfd wake {
            wakePipe[0], POLLIN, 0
        };
        ::poll(&wake, 1, timeout);
    }
    return requested();
}

bool Stop::waitForInput(int descriptor) const {
    while (!requested()) {
        struct pollfd both[2] = {{descriptor, POLLIN, 0}, {wakePipe[0], POLLIN, 0}};
        if (::poll(both, 2, -1) > 0 && both[0].revents != 0) {
            break;
        }
    }
    return requested();
}

} // namespace Halyx::Writer
