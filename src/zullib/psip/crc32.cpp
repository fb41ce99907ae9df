// CRC_32 of ISO/IEC 13818-1, Annex A, in steps of eight bytes over generated tables.
#include "psip/crc32.h"

#include <array>

#include "bytes.h"

namespace {

constexpr std::uint32_t kPolynomial = 0x04C11DB7;
constexpr std::size_t kStep = 8;

using CrcTable = std::array<std::uint32_t, 256>;

/// Table n holds the effect of a byte on the CRC when n bytes follow it.
constexpr std::array<CrcTable, kStep> MakeTables() {
    std::array<CrcTable, kStep> tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t crc = byte << 24;
        for (int bit = 0; bit < 8; ++bit) crc = (crc << 1) ^ ((crc & 0x80000000u) != 0 ? kPolynomial : 0);
        tables[0][byte] = crc;
    }
    for (std::size_t n = 1; n < kStep; ++n) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t before = tables[n - 1][byte];
            tables[n][byte] = (before << 8) ^ tables[0][before >> 24];
        }
    }
    return tables;
}

constexpr std::array<CrcTable, kStep> kTables = MakeTables();

constexpr std::uint32_t Crc(Bytes data) {
    std::uint32_t crc = 0xFFFFFFFF;
    while (data.size() >= kStep) {
        crc ^= Be32(data, 0);
        crc = kTables[7][crc >> 24] ^ kTables[6][crc >> 16 & 0xFF] ^ kTables[5][crc >> 8 & 0xFF] ^
              kTables[4][crc & 0xFF] ^ kTables[3][data[4]] ^ kTables[2][data[5]] ^ kTables[1][data[6]] ^
              kTables[0][data[7]];
        data = data.subspan(kStep);
    }
    for (const std::uint8_t byte : data) crc = (crc << 8) ^ kTables[0][crc >> 24 ^ byte];
    return crc;
}

// The published check value of this CRC, by the step of eight bytes and the step of one.
constexpr std::uint8_t kCheck[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
static_assert(Crc(kCheck) == 0x0376E6E7 && Crc({}) == 0xFFFFFFFF);

}  // namespace

std::uint32_t crc32(const std::uint8_t* data, std::uint32_t len) { return Crc(Bytes(data, len)); }
