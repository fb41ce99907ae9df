/// Master Guide Table (ATSC A/65, 6.2).
#pragma once

#include <cstdint>
#include <vector>

#include "section.h"

namespace mux {

/// table_type values.
inline constexpr std::uint16_t kTypeTvct = 0x0000;  ///< current TVCT
inline constexpr std::uint16_t kTypeCvct = 0x0002;  ///< current CVCT
inline constexpr std::uint16_t kTypeChannelEtt = 0x0004;
inline constexpr std::uint16_t kTypeEit0 = 0x0100;  ///< EIT-k is this + k, k up to 127
inline constexpr std::uint16_t kTypeEtt0 = 0x0200;  ///< event ETT-k likewise

struct MgtTable {
    std::uint16_t type = 0;
    std::uint16_t pid = 0;
    std::uint8_t version = 0;
    std::uint32_t bytes = 0;  ///< number_bytes: of all the table's sections
    Octets descriptors{};
};

struct Mgt {
    std::uint8_t version = 0;
    std::vector<MgtTable> tables{};
    Octets descriptors{};
};

/// An MGT, always one section. Throws Error when it is larger than 4096 bytes.
Section WriteMgt(const Mgt& mgt);

}  // namespace mux
