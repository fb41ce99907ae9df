/// The machine as the module sees it: waits, the tick, the shell, the disk root. Plain functions, and the only
/// code that a test build replaces: the shipped module has no switch for any of them.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

/// Suspends the calling thread.
/// \param microseconds  0 and above
void Sleep(std::int64_t microseconds);

constexpr std::int64_t kMillisecond = 1000;    ///< in microseconds
constexpr std::int64_t kSecond = 1000 * 1000;  ///< in microseconds

/// Waits until a descriptor can be read.
/// \param microseconds  longest wait, 0 and above
/// \return 1 when it is readable, 0 on time-out, -1 with `errno` on failure
int Wait(int fd, std::int64_t microseconds);

/// A counter of 1/1024 seconds that wraps at 32 bits; only differences are meaningful.
/// Seconds of the clock shifted left by 10, plus microseconds shifted right by 10.
std::uint32_t Tick();

/// Runs a command line in the system's shell and waits for its end; the result is ignored.
void Shell(const char* line);

/// The path on this machine of a file of the board.
/// \param path  absolute path as the board knows it, such as "/mnt/hd1/zul_scan_results"
std::string DiskPath(const char* path);

}  // namespace platform
