/// The log that every source reports to: standard output or a master's log channel, and failures on standard error.
#pragma once

#include <atomic>
#include <cerrno>

class UdpSender;

/// Level of `LOG`: 1 standard output, 2 the log channel, any other value silent.
extern std::atomic<int> global_debug_flag;

/// The log channel, null until a master asks for it. Opened and closed through the two functions below.
extern std::atomic<UdpSender*> error_udp_sender;

/// 2048 bytes in which all lines for the log channel are built. Null before `AllocateErrorBuffer`.
extern char* error_buffer;

/// Allocates `error_buffer` with "LOG:ERROR " at its start, once.
void AllocateErrorBuffer();

/// Opens the log channel to a peer; an open one keeps its peer.
void OpenLogChannel(int port, const char* ip);

/// Closes the log channel, if it is open.
void CloseLogChannel();

/// True when `LOG` currently has an output; otherwise its arguments aren't evaluated.
inline bool LogIsWanted() {
    const int level = global_debug_flag.load(std::memory_order_relaxed);
    return level == 1 || (level == 2 && error_udp_sender.load(std::memory_order_relaxed) != nullptr);
}

/// Used by `LOG`: prints or sends one line according to the level.
[[gnu::format(printf, 1, 2)]] void LogLine(const char* format, ...);

/// Used by `PANIC`: reports on standard error and on the log channel, and returns.
[[gnu::format(printf, 4, 5)]] void PanicLine(int error, const char* file, int line, const char* format, ...);

/// Logs a line according to `global_debug_flag`; its arguments are evaluated only when the line is output.
#define LOG(...)                                 \
    do {                                         \
        if (LogIsWanted()) LogLine(__VA_ARGS__); \
    } while (false)

/// Reports a failure at any level, and returns: the caller handles it.
#define PANIC(...) PanicLine(errno, __FILE__, __LINE__, __VA_ARGS__)

/// Logs a line that would repeat on the packet path: the first of every `interval` times it is reached.
#define LOG_SOMETIMES(interval, ...)                                                              \
    do {                                                                                          \
        static std::atomic<unsigned> logCount{0};                                                 \
        if (logCount.fetch_add(1, std::memory_order_relaxed) % (interval) == 0) LOG(__VA_ARGS__); \
    } while (false)
