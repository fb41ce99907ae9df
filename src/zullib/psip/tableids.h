/// table_id, the first byte of a section (ISO/IEC 13818-1, table 2-31; ATSC A/65, table 4.1; SCTE 65).
#pragma once

#include <cstdint>

constexpr std::uint8_t kTablePat = 0x00;
constexpr std::uint8_t kTablePmt = 0x02;
constexpr std::uint8_t kTableFirstMessage = 0xC0;  ///< program and network messages of cable systems
constexpr std::uint8_t kTableLastMessage = 0xC5;
constexpr std::uint8_t kTableMgt = 0xC7;
constexpr std::uint8_t kTableTvct = 0xC8;
constexpr std::uint8_t kTableCvct = 0xC9;
constexpr std::uint8_t kTableEit = 0xCB;
constexpr std::uint8_t kTableEtt = 0xCC;
constexpr std::uint8_t kTableStt = 0xCD;
constexpr std::uint8_t kTableStuffing = 0xFF;  ///< no section: stuffing to the end of the packet
