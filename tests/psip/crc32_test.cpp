// The CRC against the published value and against its definition, bit by bit.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "psip/crc32.h"

namespace {

/// ISO/IEC 13818-1, Annex A: the register with its feedback.
std::uint32_t ByDefinition(const std::uint8_t* data, std::size_t size) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (std::size_t bit = 0; bit < size * 8; ++bit) {
        const std::uint32_t in = data[bit / 8] >> (7 - bit % 8) & 1u;
        crc = (crc >> 31) != in ? crc << 1 ^ 0x04C11DB7u : crc << 1;
    }
    return crc;
}

TEST(Crc32, IsTheOneOfTheStandard) {
    EXPECT_EQ(crc32(reinterpret_cast<const std::uint8_t*>("123456789"), 9), 0x0376E6E7u);
    EXPECT_EQ(crc32(nullptr, 0), 0xFFFFFFFFu);
    std::mt19937 random(1);
    std::vector<std::uint8_t> data(4096 + 8);
    for (auto& byte : data) byte = static_cast<std::uint8_t>(random());
    for (std::size_t offset = 0; offset < 8; ++offset) {  // every alignment of the steps of eight bytes
        for (const unsigned size : {1u, 3u, 7u, 8u, 9u, 15u, 16u, 17u, 23u, 63u, 64u, 65u, 183u, 1020u, 4092u}) {
            EXPECT_EQ(crc32(&data[offset], size), ByDefinition(&data[offset], size)) << size << " bytes at " << offset;
        }
    }
}

}  // namespace
