/// Terrestrial and Cable Virtual Channel Tables (ATSC A/65, 6.3).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "section.h"

namespace mux {

/// modulation_mode values.
inline constexpr std::uint8_t kModulationQam64 = 0x02;   ///< SCTE mode 1
inline constexpr std::uint8_t kModulationQam256 = 0x03;  ///< SCTE mode 2
inline constexpr std::uint8_t kModulation8Vsb = 0x04;

struct VctChannel {
    std::string shortName{};  ///< UTF-8, at most 7 UTF-16 units
    std::uint16_t major = 0;  ///< 0 to 1023
    std::uint16_t minor = 0;  ///< 0 to 1023
    std::uint8_t modulation = kModulation8Vsb;
    std::uint32_t carrierFrequency = 0;  ///< Hz; 0 in current practice
    std::uint16_t channelTsid = 0;
    std::uint16_t programme = 0;
    std::uint8_t etmLocation = 0;  ///< 0: no channel ETT, 1: in this transport stream
    bool accessControlled = false;
    bool hidden = false;
    bool pathSelect = false;  ///< CVCT only
    bool outOfBand = false;   ///< CVCT only
    bool hideGuide = false;
    std::uint8_t serviceType = 2;  ///< 2: digital television, 3: audio
    std::uint16_t sourceId = 0;
    Octets descriptors{};
};

struct Vct {
    bool cable = false;  ///< CVCT, table_id 0xC9; else TVCT, 0xC8
    std::uint16_t transportStreamId = 0;
    std::uint8_t version = 0;
    std::vector<VctChannel> channels{};
};

/// A VCT, in as many sections of at most 1024 bytes as it takes, at least one.
/// Throws Error for a name that doesn't fit or a channel whose entry fills more than a section.
std::vector<Section> WriteVct(const Vct& vct);

}  // namespace mux
