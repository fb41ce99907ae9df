// The walk: sync, routing, and packets split over buffers.
#include <random>

#include "core/statistics.h"
#include "filter/filter_fixture.h"
#include "support/output.h"

using namespace transport;

namespace {

constexpr unsigned kVideo = 0x100;
constexpr unsigned kOther = 0x101;

Blob Joined(const std::vector<Blob>& packets) {
    Blob bytes;
    for (const Blob& packet : packets) Append(bytes, packet);
    return bytes;
}

}  // namespace

/// One stream that carries kVideo alone.
class WalkTest : public TsFilterTest {
 protected:
    void SetUp() override {
        TsFilterTest::SetUp();
        Row(kVideo).programId = Row(kVideo).transportId = 1;
        AddEagerStream(0);
        mFilter.AddProgramToStream(0, 1, 1);
        Row(kVideo).status = Row(kOther).status = ePidKnown;
    }
};

TEST_F(WalkTest, AnyCutOfTheInputGivesTheSameStream) {
    std::mt19937 random(1);
    Blob input, wanted;
    for (unsigned i = 0; i < 300; ++i) {
        const unsigned pid = random() % 3 == 0 ? kOther : kVideo;
        const Blob packet = Filled(pid, i, static_cast<std::uint8_t>(i % 0x40));
        Append(input, packet);
        if (pid == kVideo) Append(wanted, packet);
    }
    // Buffers of two packets and more: shorter ones don't show the next sync byte.
    constexpr std::size_t kShortest = 400;
    for (int round = 0; round < 50; ++round) {
        for (std::size_t at = 0, size; at < input.size(); at += size) {
            size = kShortest + random() % static_cast<unsigned>(1 + 400 * round);
            if (at + size + kShortest > input.size()) size = input.size() - at;
            const auto from = input.begin() + static_cast<long>(at);
            ASSERT_TRUE(Feed(Blob(from, from + static_cast<long>(size))));
        }
        EXPECT_EQ(TakeOutput(), wanted) << "round " << round;
    }
}

TEST_F(WalkTest, AHeadMayComeByteByByte) {
    const Blob last = Filled(kVideo, 3, 4);
    Feed(Joined({Filled(kVideo, 0, 1), Blob{0x47}}));
    Feed({last[1]});
    Feed(Blob(last.begin() + 2, last.end()));
    EXPECT_EQ(TakeOutput(), Joined({Filled(kVideo, 0, 1), last}));
}

TEST_F(WalkTest, ALostSyncIsFoundAgainAndCountedOnce) {
    struct Case {
        const char* what;
        std::vector<Blob> input;
        Blob output;
        unsigned losses;
        bool walked = true;
    };
    Blob bad = Filled(kVideo, 2, 3);
    bad[0] = 0x46;
    const Blob a = Filled(kVideo, 0, 1), b = Filled(kVideo, 1, 2), other = Filled(kOther, 0, 9),
               c = Filled(kVideo, 3, 4);
    const Blob rest(100, 0x11);
    const Case cases[] = {
        // Bytes between two syncs are routed like the last packet, whatever they are.
        {"a sync byte that is wrong", {a, b, bad, c, c, c}, Joined({a, b, bad, c, c, c}), 1},
        {"bytes that are no packet", {a, b, rest, c, c, c}, Joined({a, b, rest, c, c, c}), 1},
        {"the same after a packet of another stream", {other, b, bad, c, c, c}, Joined({c, c, c}), 1},
        {"a buffer of aligned packets", {a, other, b, c}, Joined({a, b, c}), 0},
        {"no sync to the buffer's end", {a, other, b, rest, rest, rest}, a, 0, false},
    };
    for (const Case& step : cases) {
        Statistics::Self()->Reset();
        EXPECT_EQ(Feed(Joined(step.input)), step.walked) << step.what;
        EXPECT_EQ(TakeOutput(), step.output) << step.what;
        const std::string dump = Printed([] { Statistics::Self()->DumpStats(); });
        const std::size_t in = Joined(step.input).size(), out = step.output.size();
        for (const auto& [text, figure] : {std::pair{"Rx-ed ", in},
                                           {"Tx-ed ", out},
                                           {"Dr-ed ", in - out},
                                           {"Diff (bug if != 0) ", std::size_t{0}},
                                           {"No Sync ", std::size_t{step.losses}}}) {
            EXPECT_NE(dump.find(text + std::to_string(figure) + "\n"), std::string::npos) << step.what << "\n" << dump;
        }
    }
}

TEST_F(WalkTest, RefusesWhatItCantWalk) {
    EXPECT_FALSE(Feed(Blob(1000, 0x00))) << "no sync";
    EXPECT_TRUE(TakeOutput().empty());
    unsigned char byte = 0x47;
    EXPECT_TRUE(mFilter.Filter(&byte, 0));
    EXPECT_TRUE(mFilter.Filter(&byte, -1));
    EXPECT_TRUE(mFilter.FilterActive());
    mFilter.FilterActive(false);
    EXPECT_TRUE(mFilter.FilterActive()) << "the filter hasn't noticed yet";
    EXPECT_FALSE(Feed(Joined({Filled(kVideo, 0, 1), Filled(kVideo, 1, 1)})));
    EXPECT_FALSE(mFilter.FilterActive());
    EXPECT_TRUE(TakeOutput().empty());
}

TEST_F(WalkTest, TheLastPacketIsForwardedButNeitherCountedNorAnalysed) {
    Feed(Joined({Filled(kVideo, 0, 1), Filled(kVideo, 1, 1), Filled(kVideo, 2, 1)}));
    EXPECT_EQ(Row(kVideo).count, 2u);
    EXPECT_EQ(TakeOutput().size(), 3 * kPacket);
    Feed(Filled(kVideo, 3, 1));
    EXPECT_EQ(Row(kVideo).count, 2u) << "a buffer of one packet is all tail";
    EXPECT_EQ(TakeOutput().size(), kPacket);
}

TEST_F(TsFilterTest, PayloadIndexAndScrambling) {
    struct Case {
        std::uint8_t control;
        std::uint8_t adaptationLength;
        unsigned index;
    };
    for (const Case& step : {Case{0x00, 9, 0}, Case{0x20, 9, 0}, Case{0x10, 9, 4}, Case{0x30, 0, 5},
                             Case{0x30, 183, 188}, Case{0x30, 255, 260}}) {
        const unsigned char packet[188] = {0x47, 0, 0, step.control, step.adaptationLength};
        EXPECT_EQ(TsFilter::GetTsPayloadIndex(packet, 0), step.index) << int{step.control};
    }
    // Stored once, at the first analysed packet.
    Blob scrambled = Filled(kVideo, 0, 0);
    scrambled[3] |= 0x80;
    FeedProved(scrambled);
    FeedProved(Filled(kVideo, 1, 0));
    EXPECT_EQ(Row(kVideo).scrambling, eScrambled);
}
