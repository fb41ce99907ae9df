// The readers of the tables' loops: every cut, and every wrong length.
#include <gtest/gtest.h>

#include "psip/eit.h"
#include "psip/mgt.h"
#include "psip/pmt.h"
#include "psip/vct.h"
#include "transport.h"

namespace {

using transport::Blob;

/// A loop whose entries have a part of fixed size with the length of more bytes. EIT: up to the title.
struct Loop {
    const char* name;
    std::size_t fixed;
    std::size_t lengthAt;     ///< offset of the length in the fixed part
    std::uint16_t mostInner;  ///< largest value of the length
    /// Takes an entry. \return the bytes that its length covers, possibly truncated
    std::optional<Bytes> (*take)(Bytes&);
};

template <auto kTake, auto kInner>
std::optional<Bytes> Take(Bytes& loop) {
    const auto entry = kTake(loop);
    return entry ? std::optional((*entry).*kInner) : std::nullopt;
}

constexpr Loop kLoops[] = {
    {"PMT", 5, 3, 0x0FFF, Take<TakeEsEntry, &EsEntry::descriptors>},
    {"MGT", 11, 9, 0x0FFF, Take<TakeMgtEntry, &MgtEntry::descriptors>},
    {"VCT", 32, 30, 0x03FF, Take<TakeVctChannel, &VctChannel::descriptors>},
    {"EIT", 10, 9, 0x00FF, Take<TakeEitEvent, &EitEvent::title>},
};

/// An entry that declares the length `declared`, with `inner` bytes after the fixed part. Bits beside the length are
/// set.
Blob Entry(const Loop& loop, unsigned declared, std::size_t inner) {
    Blob entry(loop.fixed, 0xA5);
    if (loop.mostInner > 0xFF) entry[loop.lengthAt] = static_cast<std::uint8_t>(~(loop.mostInner >> 8) | declared >> 8);
    entry[loop.lengthAt + (loop.mostInner > 0xFF ? 1 : 0)] = static_cast<std::uint8_t>(declared);
    for (std::size_t i = 0; i < inner; ++i) entry.push_back(static_cast<std::uint8_t>(i));
    return entry;
}

TEST(TableLoops, ACutLoopYieldsTheEntriesWhoseFixedPartIsWhole) {
    for (const Loop& loop : kLoops) {
        constexpr std::size_t kInner = 7;
        Blob whole = Entry(loop, kInner, kInner);
        transport::Append(whole, Entry(loop, 0, 0));
        const std::size_t first = loop.fixed + kInner, second = first + loop.fixed;
        for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
            const Blob part(whole.data(), whole.data() + cut);  // exact block: one byte too many is caught
            Bytes rest = part;
            int entries = 0;
            while (loop.take(rest)) ++entries;
            EXPECT_EQ(entries, cut < loop.fixed ? 0 : cut < second ? 1 : 2) << loop.name << " cut at " << cut;
            const bool between = cut == 0 || (cut >= loop.fixed && cut <= first) || cut == second;
            EXPECT_EQ(rest.empty(), between) << loop.name << " cut at " << cut;
        }
    }
}

TEST(TableLoops, ALengthThatLiesYieldsWhatIsThere) {
    for (const Loop& loop : kLoops) {
        for (const std::size_t there : {0u, 1u, 20u}) {
            for (unsigned declared = 0; declared <= loop.mostInner; ++declared) {
                const Blob entry = Entry(loop, declared, there);
                Bytes rest = entry;
                const auto inner = loop.take(rest);
                ASSERT_TRUE(inner) << loop.name << " " << declared;
                EXPECT_EQ(inner->size(), std::min<std::size_t>(declared, there)) << loop.name << " " << declared;
                EXPECT_EQ(rest.size(), there - inner->size()) << loop.name << " " << declared;
            }
        }
    }
}

TEST(TableLoops, AStreamsPidHas13Bits) {
    const Blob stream{0x81, 0xFF, 0xFE, 0xF0, 0x00};
    Bytes rest = stream;
    EXPECT_EQ(TakeEsEntry(rest)->pid, 0x1FFE);
}

}  // namespace
