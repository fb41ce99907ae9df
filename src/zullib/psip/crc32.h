/// The CRC of sections.
#pragma once

#include <cstdint>

/// CRC_32 of ISO/IEC 13818-1, Annex A: polynomial 0x04C11DB7, initial value 0xFFFFFFFF, most significant bit first.
/// \return the CRC; 0xFFFFFFFF for no bytes
std::uint32_t crc32(const std::uint8_t* data, std::uint32_t len);
