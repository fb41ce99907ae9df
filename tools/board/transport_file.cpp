// Transport streams on disk and their rate (ISO/IEC 13818-1, 2.4.2 and 2.4.3).
#include "transport_file.h"

#include <bitstream/mpeg/ts.h>
#include <fmt/format.h>

#include <optional>
#include <stdexcept>

namespace board {

namespace {

constexpr double kClockRate = 27e6;                                   // ticks a second of the system clock
constexpr std::uint64_t kClockSpan = (std::uint64_t{1} << 33) * 300;  // ticks after which a reference wraps

}  // namespace

double RateByClock(Bytes stream) {
    std::optional<std::uint16_t> pid;
    std::uint64_t ticks = 0;  // from the first reference to the last
    std::uint64_t previous = 0;
    std::size_t first = 0;
    std::size_t last = 0;
    for (std::size_t at = 0; at + kPacketSize <= stream.size(); at += kPacketSize) {
        const std::uint8_t* const packet = &stream[at];
        if (!ts_validate(packet) || (pid && ts_get_pid(packet) != *pid)) continue;
        if (!ts_has_adaptation(packet) || ts_get_adaptation(packet) < 7 || !tsaf_has_pcr(packet)) continue;
        const std::uint64_t clock = tsaf_get_pcr(packet) * 300 + tsaf_get_pcrext(packet);
        if (pid) {
            ticks += (clock + kClockSpan - previous) % kClockSpan;
        } else {
            first = at;
        }
        pid = ts_get_pid(packet);
        previous = clock;
        last = at;
    }
    if (ticks == 0) return kChannelRate;
    return static_cast<double>(last - first) * 8 * kClockRate / static_cast<double>(ticks);
}

TransportFile::TransportFile(const std::string& path) : mFile(common::MapFile(path)) {
    if (!mFile) throw std::runtime_error(fmt::format("{}: can't be opened", path));
    mContent = mFile->first(mFile->size() / kPacketSize * kPacketSize);
    if (mContent.empty()) throw std::runtime_error(fmt::format("{}: shorter than a packet", path));
    if (mContent[0] != common::kSync) throw std::runtime_error(fmt::format("{}: doesn't begin with a packet", path));
    mRate = RateByClock(mContent);
}

}  // namespace board
