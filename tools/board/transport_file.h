/// A transport stream on disk, with the pace at which a tuner would deliver it.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "common/mapped_file.h"
#include "common/ts_packet.h"

namespace board {

inline constexpr std::size_t kPacketSize = common::kTsPacketSize;

/// Bits a second of an 8-VSB channel, of which a stream without a clock takes its pace.
inline constexpr double kChannelRate = 19'392'658;

/// A whole transport stream, mapped into memory.
class TransportFile {
 public:
    /// Throws std::runtime_error when there is no such file or it isn't a transport stream of 188-byte packets.
    explicit TransportFile(const std::string& path);

    /// \return whole packets, at least one
    std::span<const std::uint8_t> Bytes() const { return mBytes; }

    /// \return bits a second, by the clock references of the first PID that has any (ISO/IEC 13818-1, 2.4.2.2)
    double Rate() const { return mRate; }

 private:
    common::MappedFile mFile;
    std::span<const std::uint8_t> mBytes;
    double mRate;
};

/// Pace of a transport stream by its clock references. \return kChannelRate for a stream with fewer than two
double RateByClock(std::span<const std::uint8_t> stream);

}  // namespace board
