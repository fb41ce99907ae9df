/// Transport packets (ISO/IEC 13818-1, 2.4.3) and the PIDs with a fixed meaning.
#pragma once

#include <cstdint>

constexpr int kPacketSize = 188;  ///< bytes
constexpr std::uint8_t kSyncByte = 0x47;

constexpr std::uint16_t kPids = 8192;  ///< a PID has 13 bits
constexpr std::uint16_t kPatPid = 0x0000;
constexpr std::uint16_t kPsipBasePid = 0x1FFB;  ///< MGT, VCT and STT (ATSC A/65, 4.1)
constexpr std::uint16_t kNullPid = 0x1FFF;      ///< stuffing packets
