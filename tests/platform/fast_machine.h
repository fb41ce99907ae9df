/// The machine under a test's control: fast time, and a recorded shell.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace fast_machine {

/// How many seconds of the module pass in one real second. Starts at the environment's ZUL_FAST_CLOCK, or 1000.
void SetSpeed(int factor);

/// Fixes the tick at a value, or lets it follow the fast time again.
void SetTick(std::optional<std::uint32_t> tick);

/// The sleeps asked for since the last call, in microseconds, of all threads, in order (at most the first 100000;
/// none in a process whose environment has ZUL_FAST_CLOCK).
std::vector<std::int64_t> TakeSleeps();

/// Calls a test at the start of each sleep, on the thread that sleeps, with the microseconds asked for. Set it before
/// the module's threads run.
void OnSleep(std::function<void(std::int64_t)> action);

/// The same for each shell line, before it is kept or run: what the board's tool does is done when `Shell` returns.
void OnShell(std::function<void(const std::string&)> action);

/// Keeps shell lines instead of running them; off at the start.
void RecordShell(bool on);

/// The shell lines since the last call, in order.
std::vector<std::string> TakeShellLines();

}  // namespace fast_machine
