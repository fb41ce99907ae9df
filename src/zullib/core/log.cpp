// The log: standard output, standard error, and the log channel of a master that asked for it.
#include <algorithm>
#include <cstdarg>
#include <cstring>

#include "core/log.h"
#include "core/udpcom.h"
#include "platform/mutex.h"

std::atomic<int> global_debug_flag{1};
std::atomic<UdpSender*> error_udp_sender{nullptr};
char* error_buffer = nullptr;

namespace {

constexpr std::size_t kErrorBufferSize = 2048;
constexpr std::size_t kLogLimit = 1024;   ///< bytes of a LOG line's text, including its terminator
constexpr std::size_t kPanicLimit = 512;  ///< the same for PANIC
constexpr char kLogPrefix[] = "LOG: ";
constexpr char kPanicPrefix[] = "LOG:ERROR ";
constexpr char kLineEnd[] = "\r\n";
static_assert(sizeof kPanicPrefix + kLogLimit + sizeof kLineEnd <= kErrorBufferSize);

/// Guards `error_buffer` and the channel while a line is built and sent, and the channel's deletion.
/// Innermost of all locks.
platform::Mutex& ChannelLock() {
    static platform::StaticMutex mutex;
    return mutex.Get();
}

/// Builds prefix, text and line end in `error_buffer` and sends them, with `zeroBytes` of the terminator.
void SendLine(const char* prefix, std::size_t limit, int zeroBytes, const char* format, va_list arguments) {
    const platform::MutexLock lock(ChannelLock());
    UdpSender* const channel = error_udp_sender.load(std::memory_order_relaxed);
    if (channel == nullptr || error_buffer == nullptr) return;
    std::size_t length = std::strlen(prefix);
    std::copy_n(prefix, length, error_buffer);
    const int wanted = std::vsnprintf(error_buffer + length, limit, format, arguments);
    length += std::min(static_cast<std::size_t>(std::max(wanted, 0)), limit - 1);
    std::memcpy(error_buffer + length, kLineEnd, sizeof kLineEnd);
    length += sizeof kLineEnd - 1;
    channel->Send(error_buffer, static_cast<int>(length) + zeroBytes);
}

const char* BaseName(const char* path) {
    const char* const slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

}  // namespace

void AllocateErrorBuffer() {
    const platform::MutexLock lock(ChannelLock());
    if (error_buffer == nullptr) error_buffer = new char[kErrorBufferSize];
    std::memcpy(error_buffer, kPanicPrefix, sizeof kPanicPrefix);
}

void OpenLogChannel(int port, const char* ip) {
    const platform::MutexLock lock(ChannelLock());
    if (error_udp_sender.load(std::memory_order_relaxed) != nullptr) return;
    auto* const sender = new UdpSender;
    sender->Connect(static_cast<std::uint16_t>(port), ip);
    error_udp_sender.store(sender, std::memory_order_relaxed);
}

void CloseLogChannel() {
    const platform::MutexLock lock(ChannelLock());
    delete error_udp_sender.exchange(nullptr, std::memory_order_relaxed);
}

void LogLine(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int level = global_debug_flag.load(std::memory_order_relaxed);  // may have changed since LogIsWanted
    if (level == 1) {
        flockfile(stdout);  // keeps the prefix and its text together
        std::fputs("ZUL: ", stdout);
        std::vprintf(format, arguments);
        funlockfile(stdout);
    } else if (level == 2) {
        SendLine(kLogPrefix, kLogLimit, 1, format, arguments);
    }
    va_end(arguments);
}

void PanicLine(int error, const char* file, int line, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    flockfile(stderr);
    std::fprintf(stderr, "PANIC at %s:%d  ", BaseName(file), line);
    std::fflush(stderr);
    std::vfprintf(stderr, format, arguments);
    std::fputc('\n', stderr);
    errno = error;
    std::perror("perror");
    funlockfile(stderr);
    SendLine(kPanicPrefix, kPanicLimit, 0, format, again);
    va_end(again);
    va_end(arguments);
    errno = error;
}
