// Transport streams on disk and their rate (ISO/IEC 13818-1, 2.4.2 and 2.4.3).
#include "transport_file.h"

#include <fmt/format.h>

#include <optional>
#include <stdexcept>

namespace board {

namespace {

constexpr double kClockRate = 27e6;                                   // ticks a second of the system clock
constexpr std::uint64_t kClockSpan = (std::uint64_t{1} << 33) * 300;  // ticks after which a reference wraps

using Packet = std::span<const std::uint8_t, kPacketSize>;

/// \return the packet's program_clock_reference in ticks of 27 MHz, or nothing
///     byte  4     adaptation_field_length
///     byte  5     flags, PCR_flag is 0x10
///     bytes 6-11  base (33 bits, 90 kHz), reserved (6), extension (9)
std::optional<std::uint64_t> ClockReference(Packet packet) {
    const bool hasField = common::HasAdaptation(packet) && packet[4] >= 7;
    if (packet[0] != common::kSync || !hasField || (packet[5] & 0x10) == 0) return std::nullopt;
    std::uint64_t base = 0;
    for (std::size_t i = 6; i < 10; ++i) base = base << 8 | packet[i];
    base = base << 1 | packet[10] >> 7;
    const unsigned extension = (packet[10] & 1u) << 8 | packet[11];
    return base * 300 + extension;
}

std::span<const std::uint8_t> WholePackets(const common::MappedFile& file, const std::string& path) {
    if (!file.IsOpen()) throw std::runtime_error(fmt::format("{}: can't be opened", path));
    const auto bytes = file.Bytes();
    if (bytes.size() < kPacketSize) throw std::runtime_error(fmt::format("{}: shorter than a packet", path));
    if (bytes[0] != common::kSync) throw std::runtime_error(fmt::format("{}: doesn't begin with a packet", path));
    return bytes.first(bytes.size() / kPacketSize * kPacketSize);
}

}  // namespace

double RateByClock(std::span<const std::uint8_t> stream) {
    std::optional<std::uint16_t> pid;
    std::uint64_t ticks = 0;  // from the first reference to the last
    std::uint64_t previous = 0;
    std::size_t first = 0;
    std::size_t last = 0;
    for (std::size_t at = 0; at + kPacketSize <= stream.size(); at += kPacketSize) {
        const Packet packet = stream.subspan(at).first<kPacketSize>();
        if (pid && common::PidOf(packet) != *pid) continue;
        const auto clock = ClockReference(packet);
        if (!clock) continue;
        if (pid) {
            ticks += (*clock + kClockSpan - previous) % kClockSpan;
        } else {
            first = at;
        }
        pid = common::PidOf(packet);
        previous = *clock;
        last = at;
    }
    if (ticks == 0) return kChannelRate;
    return static_cast<double>(last - first) * 8 * kClockRate / static_cast<double>(ticks);
}

TransportFile::TransportFile(const std::string& path)
    : mFile(path), mBytes(WholePackets(mFile, path)), mRate(RateByClock(mBytes)) {}

}  // namespace board
