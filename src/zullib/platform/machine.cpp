// The real machine for machine.h.
#include "platform/machine.h"

#include <poll.h>
#include <sys/time.h>
#include <time.h>

#include <cerrno>
#include <cstdlib>

namespace platform {

void Sleep(std::int64_t microseconds) {
    timespec left{static_cast<time_t>(microseconds / kSecond), static_cast<long>(microseconds % kSecond * 1000)};
    while (nanosleep(&left, &left) == -1 && errno == EINTR) {
    }
}

int Wait(int fd, std::int64_t microseconds) {
    // poll, as select can't take a descriptor above 1023; rounded up, so that a short wait isn't a busy loop.
    pollfd entry{fd, POLLIN, 0};
    const int ready = poll(&entry, 1, static_cast<int>((microseconds + kMillisecond - 1) / kMillisecond));
    if (ready == 1 && (entry.revents & POLLNVAL) != 0) {
        errno = EBADF;
        return -1;
    }
    return ready;
}

std::uint32_t Tick() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return (static_cast<std::uint32_t>(now.tv_sec) << 10) + (static_cast<std::uint32_t>(now.tv_usec) >> 10);
}

void Shell(const char* line) {
    if (std::system(line) == -1) return;  // the board's tool reports its own failures
}

std::string DiskPath(const char* path) { return path; }

}  // namespace platform
