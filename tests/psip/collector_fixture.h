/// A collector, and sections and steps to feed it with.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/log.h"
#include "psip/tablecollector.h"
#include "transport.h"

namespace collector {

using transport::Blob;

constexpr std::uint16_t kPid = 0x1FFB;

/// A section of `size` bytes in all, 12 and above, with a valid CRC. \param seed  varies its bytes
inline Blob Section(unsigned tableId, std::size_t size, unsigned version = 1, unsigned number = 0, unsigned seed = 0) {
    Blob section{static_cast<std::uint8_t>(tableId), 0, 0, 0, 1, static_cast<std::uint8_t>(0xC1 | version << 1),
                 static_cast<std::uint8_t>(number),  0};
    while (section.size() < size - kCrcSize) section.push_back(static_cast<std::uint8_t>(section.size() * 7 + seed));
    return transport::Closed(section);
}

/// Bytes [from, to) of a section.
inline Blob Part(const Blob& section, std::size_t from, std::size_t to) {
    return Blob(section.begin() + static_cast<std::ptrdiff_t>(from), section.begin() + static_cast<std::ptrdiff_t>(to));
}

inline Blob operator+(Blob first, const Blob& second) {
    transport::Append(first, second);
    return first;
}

inline Blob Altered(Blob section, std::size_t at, unsigned bits) {
    section[at] = static_cast<std::uint8_t>(section[at] ^ bits);
    return section;
}

/// The same with a valid CRC.
inline Blob Resealed(const Blob& section, std::size_t at, unsigned bits) {
    return transport::Closed(Part(Altered(section, at, bits), 0, section.size() - kCrcSize));
}

/// A section whose bytes from `second` on look like another start, as in a stream that repeats a head.
inline Blob SectionWithTwoHeads(std::ptrdiff_t second) {
    Blob section = Part(Section(0xC7, 300), 0, 296);
    std::copy_n(section.begin(), 8, section.begin() + second);
    return transport::Closed(section);
}

struct Step {
    Blob piece;
    bool start;
    int continuity;
    Blob delivered;  ///< empty: nothing
    std::uint16_t pid = kPid;
};

constexpr bool kStart = true;
constexpr bool kGoesOn = false;
constexpr int kCounted = 0xF0;  ///< added to the continuity of a packet's second piece
inline const Blob kNothing;
inline const Blob kStuffing(20, 0xFF);

class CollectorTest : public testing::Test {
 protected:
    CollectorTest() { global_debug_flag = 0; }

    /// The piece has a block of its exact size, so that a read past its end is caught.
    Blob Collect(const Step& step) {
        const Blob piece(step.piece);
        const Bytes whole =
            mCollector->CollectPsipSection(step.pid, piece, step.start, static_cast<std::uint8_t>(step.continuity));
        return Blob(whole.begin(), whole.end());
    }

    void Run(const std::string& name, const std::vector<Step>& steps) {
        for (std::size_t i = 0; i < steps.size(); ++i) {
            EXPECT_EQ(Collect(steps[i]), steps[i].delivered) << name << ", step " << i;
        }
    }

    std::unique_ptr<TableCollector> mCollector = std::make_unique<TableCollector>();
};

}  // namespace collector
