// The second build of the machine seams: the same waits, scaled.
#include "fast_machine.h"

#include <poll.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <utility>

#include "platform/machine.h"

namespace {

int SpeedFromEnvironment() {
    const char* text = std::getenv("ZUL_FAST_CLOCK");
    return std::max(1, text != nullptr ? std::atoi(text) : 1000);
}

/// The state that tests control, all under one lock except the speed.
struct Machine {
    std::atomic<int> speed{SpeedFromEnvironment()};
    std::mutex mutex;
    std::optional<std::uint32_t> tick;
    std::vector<std::int64_t> sleeps;
    std::function<void(std::int64_t)> onSleep;
    std::function<void(const std::string&)> onShell;
    const bool recordSleeps = std::getenv("ZUL_FAST_CLOCK") == nullptr;  // those of a whole board aren't read
    bool recordShell = false;
    std::vector<std::string> shellLines;
};

Machine& TheMachine() {
    static auto* machine = new Machine;  // outlives the module's detached threads
    return *machine;
}

constexpr std::size_t kMostSleeps = 100000;

void NanoSleep(std::int64_t nanoseconds) {
    if (nanoseconds < 1000) return;  // shorter than the call itself
    timespec left{static_cast<time_t>(nanoseconds / 1000000000), static_cast<long>(nanoseconds % 1000000000)};
    while (nanosleep(&left, &left) == -1 && errno == EINTR) {
    }
}

/// \return what a member was
template <class Value>
Value Exchange(Value Machine::*member, std::type_identity_t<Value> value) {
    const std::lock_guard lock(TheMachine().mutex);
    return std::exchange(TheMachine().*member, std::move(value));
}

template <class Value>
Value Get(Value Machine::*member) {
    const std::lock_guard lock(TheMachine().mutex);
    return TheMachine().*member;
}

}  // namespace

namespace fast_machine {

void SetSpeed(int factor) { TheMachine().speed = std::max(1, factor); }
void SetTick(std::optional<std::uint32_t> tick) { Exchange(&Machine::tick, tick); }
std::vector<std::int64_t> TakeSleeps() { return Exchange(&Machine::sleeps, {}); }
void OnSleep(std::function<void(std::int64_t)> action) { Exchange(&Machine::onSleep, std::move(action)); }
void OnShell(std::function<void(const std::string&)> action) { Exchange(&Machine::onShell, std::move(action)); }
void RecordShell(bool on) { Exchange(&Machine::recordShell, on); }
std::vector<std::string> TakeShellLines() { return Exchange(&Machine::shellLines, {}); }

}  // namespace fast_machine

namespace platform {

void Sleep(std::int64_t microseconds) {
    Machine& machine = TheMachine();
    {
        const std::lock_guard lock(machine.mutex);
        if (machine.recordSleeps && machine.sleeps.size() < kMostSleeps) machine.sleeps.push_back(microseconds);
    }
    // Called without the lock: it may ask the machine for more.
    if (const auto action = Get(&Machine::onSleep)) action(microseconds);
    NanoSleep(microseconds * 1000 / machine.speed);
}

int Wait(int fd, std::int64_t microseconds) {
    pollfd entry{fd, POLLIN, 0};
    const std::int64_t scaled = microseconds / TheMachine().speed;
    const timespec limit{static_cast<time_t>(scaled / kSecond), static_cast<long>(scaled % kSecond * 1000)};
    const int ready = ppoll(&entry, 1, &limit, nullptr);
    if (ready == 1 && (entry.revents & POLLNVAL) != 0) {
        errno = EBADF;
        return -1;
    }
    return ready;
}

std::uint32_t Tick() {
    if (const auto tick = Get(&Machine::tick)) return *tick;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const std::int64_t microseconds = (now.tv_sec * kSecond + now.tv_nsec / 1000) * TheMachine().speed;
    return static_cast<std::uint32_t>(microseconds * 1024 / kSecond);
}

void Shell(const char* line) {
    if (const auto action = Get(&Machine::onShell)) action(line);
    Machine& machine = TheMachine();
    {
        const std::lock_guard lock(machine.mutex);
        if (machine.recordShell) {
            machine.shellLines.emplace_back(line);
            return;
        }
    }
    if (std::system(line) == -1) return;
}

std::string DiskPath(const char* path) { return path; }

}  // namespace platform
