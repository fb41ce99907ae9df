/// PAT and PMT (ISO/IEC 13818-1, 2.4.4).
#pragma once

#include <cstdint>
#include <vector>

#include "section.h"

namespace mux {

struct PatProgramme {
    std::uint16_t number = 0;  ///< 0: `pid` is that of the network information
    std::uint16_t pid = 0;
};

struct Pat {
    std::uint16_t transportStreamId = 0;
    std::uint8_t version = 0;
    std::vector<PatProgramme> programmes{};
};

/// A PAT: one section per 253 programmes, at least one. Throws Error for more than fit in 256 sections.
std::vector<Section> WritePat(const Pat& pat);

/// stream_type of our streams.
inline constexpr std::uint8_t kStreamMpeg2Video = 0x02;
inline constexpr std::uint8_t kStreamAc3 = 0x81;

struct PmtStream {
    std::uint8_t streamType = 0;
    std::uint16_t pid = 0;
    Octets descriptors{};  ///< concatenated descriptors
};

struct Pmt {
    std::uint16_t programme = 0;
    std::uint8_t version = 0;
    std::uint16_t pcrPid = 0x1FFF;
    Octets descriptors{};  ///< of the programme
    std::vector<PmtStream> streams{};
};

/// A PMT, always one section. Throws Error when it is larger than 1024 bytes.
Section WritePmt(const Pmt& pmt);

}  // namespace mux
