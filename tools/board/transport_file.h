/// A transport stream on disk, with the rate at which a tuner would deliver it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "common/mapped_file.h"
#include "common/ts_packet.h"

namespace board {

inline constexpr std::size_t kPacketSize = common::kTsPacketSize;

/// Bits per second of an 8-VSB channel: the rate of a stream without a clock.
inline constexpr double kChannelRate = 19'392'658;

/// A whole transport stream, mapped into memory.
class TransportFile {
 public:
    /// Throws std::runtime_error when there is no such file or it isn't a transport stream of 188-byte packets.
    explicit TransportFile(const std::string& path);

    /// \return whole packets, at least one
    Bytes Content() const { return mContent; }

    /// \return bits per second, by the clock references of the first PID that has any (ISO/IEC 13818-1, 2.4.2.2)
    double Rate() const { return mRate; }

 private:
    std::shared_ptr<const Bytes> mFile;
    Bytes mContent;
    double mRate;
};

/// \return rate of a transport stream by its clock references; kChannelRate with fewer than two
double RateByClock(Bytes stream);

}  // namespace board
