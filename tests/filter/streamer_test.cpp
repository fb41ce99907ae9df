// One stream: threshold, overflow, reconnect, failed sends; datagrams on the wire.
#include "filter/streamer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "fast_machine.h"
#include "udp_client.h"

namespace {

using Sizes = std::vector<int>;

/// The sizes of the datagrams that arrived.
Sizes SizesAt(const Client& peer) {
    Sizes sizes;
    for (const std::string& datagram : peer.Take()) sizes.push_back(static_cast<int>(datagram.size()));
    return sizes;
}

}  // namespace

TEST(Streamer, ThresholdIsHeldToItsRange) {
    for (const auto& [asked, got] :
         {std::pair{1315, 32580}, {1316, 1316}, {32712, 32712}, {32713, 32580}, {0, 32580}}) {
        EXPECT_EQ(Streamer(65536, asked).PacketSize(), got) << asked;
    }
    Streamer streamer(65536, 1316);
    for (const auto& [asked, got] : {std::pair{1000, 940}, {187, 0}, {0, 0}, {32768, 32712}}) {
        EXPECT_TRUE(streamer.SetPacketSize(asked));
        EXPECT_EQ(streamer.PacketSize(), got) << asked;
    }
}

TEST(Streamer, SendsWhenTheThresholdIsReached) {
    const Client receiver;
    Streamer streamer(65536, 1316);
    const std::vector<std::uint8_t> data(40000, 1);
    EXPECT_EQ(streamer.Stream(data.data(), 1316), 0) << "not active";
    streamer.Activated(true);
    EXPECT_EQ(streamer.Stream(data.data(), 1316), 0) << "no destination";
    streamer.StreamSet(receiver.port, "127.0.0.1");
    fast_machine::TakeSleeps();
    EXPECT_EQ(streamer.Stream(data.data(), 1315), 0);
    EXPECT_EQ(SizesAt(receiver), Sizes{});
    EXPECT_EQ(streamer.Stream(data.data(), 1), 1316);
    EXPECT_EQ(fast_machine::TakeSleeps(), std::vector<std::int64_t>{100000}) << "the first send connects";
    EXPECT_EQ(streamer.Stream(data.data(), 40000), 40000);
    EXPECT_EQ(SizesAt(receiver), (Sizes{1316, 32768, 7232})) << "at most 32768 bytes in one datagram";
    EXPECT_TRUE(fast_machine::TakeSleeps().empty());
    streamer.SetPacketSize(0);
    EXPECT_EQ(streamer.Stream(data.data(), 5), 5);
    const Client other;
    streamer.StreamSet(other.port, "127.0.0.1");
    EXPECT_EQ(streamer.Stream(data.data(), 6), 6);
    EXPECT_EQ(SizesAt(receiver), Sizes{5});
    EXPECT_EQ(SizesAt(other), Sizes{6});
}

TEST(Streamer, AnOverflowDropsWhatWaits) {
    const Client receiver;
    Streamer streamer(2000, 1316 * 2);
    streamer.StreamSet(receiver.port, "127.0.0.1");
    streamer.Activated(true);
    const std::vector<std::uint8_t> data(2001, 1);
    EXPECT_EQ(streamer.Stream(data.data(), 2000), 0) << "exactly full";
    EXPECT_EQ(streamer.Stream(data.data(), 1), 0) << "one too many";
    streamer.SetPacketSize(188);
    EXPECT_EQ(streamer.Stream(data.data(), 188), 188) << "the buffer was emptied";
    EXPECT_EQ(SizesAt(receiver), Sizes{188});
}

TEST(Streamer, SendsBytesAsTheyWereHandedOver) {
    const Client receiver;
    Streamer streamer(65536, 1316);
    streamer.StreamSet(receiver.port, "127.0.0.1");
    streamer.Activated(true);
    std::mt19937 random;  // NOLINT: the same sequence in every run
    std::string handedOver, sent;
    for (const std::size_t length : {0u, 188u, 0u}) {  // a private PAT before and after it is built
        const std::vector<std::uint8_t> pat(188, 0x47);
        streamer.Stream(pat.data(), static_cast<int>(length));
        handedOver.append(length, '\x47');
    }
    for (int buffer = 0; buffer < 300; ++buffer) {
        std::vector<std::uint8_t> host(8000);
        std::generate(host.begin(), host.end(), [&] { return static_cast<std::uint8_t>(random()); });
        if (random() % 16 == 0) streamer.SetPacketSize(static_cast<int>(188 * (1 + random() % 20)));
        const bool small = random() % 8 == 0;  // more pieces than a streamer can hold
        for (std::size_t at = 0; at < host.size();) {
            const std::size_t len =
                std::min<std::size_t>(small ? 1 + random() % 3 : 1 + random() % 400, host.size() - at);
            const auto* const piece = host.data() + at;
            at += len + random() % 2;  // some begin where the last one ended
            if (random() % 32 == 0) {
                std::vector<std::uint8_t> passing(piece, piece + len);
                streamer.Stream(passing.data(), static_cast<int>(len));
                std::fill(passing.begin(), passing.end(), 0);
            } else {
                streamer.Collect(piece, static_cast<int>(len));
            }
            handedOver.append(piece, piece + len);
        }
        streamer.Flush();
        for (const std::string& datagram : receiver.Take()) sent += datagram;
    }
    ASSERT_GT(sent.size(), handedOver.size() - 20 * 188);
    handedOver.resize(sent.size());
    EXPECT_TRUE(sent == handedOver);
}

TEST(Streamer, CollectedDatagramsLeaveTogetherInOrder) {
    const Client receiver;
    Streamer streamer(65536, 1316);
    streamer.StreamSet(receiver.port, "127.0.0.1");
    streamer.Activated(true);
    const std::vector<std::uint8_t> data(70000, 1);
    fast_machine::TakeSleeps();
    for (const int piece : {1000, 316, 1400, 1315, 40000, 30000}) streamer.Collect(data.data(), piece);
    EXPECT_EQ(SizesAt(receiver), Sizes{});
    EXPECT_EQ(streamer.Flush(), 1316 + 1400 + 41315 + 30000);
    EXPECT_EQ(SizesAt(receiver), (Sizes{1316, 1400, 32768, 41315 - 32768, 30000}));
    EXPECT_EQ(fast_machine::TakeSleeps().size(), 1u) << "the first of them connects";
    EXPECT_EQ(streamer.Flush(), 0);
    for (const int piece : {1316, 100}) streamer.Collect(data.data(), piece);
    EXPECT_EQ(streamer.Flush(), 1316);
    streamer.Collect(data.data(), 65536 - 100 + 1);
    EXPECT_EQ(streamer.Flush(), 0) << "one byte too many after the kept ones: all is lost";
    SizesAt(receiver);

    streamer.StreamSet(5000, "no address");
    for (int datagram = 0; datagram < 3; ++datagram) streamer.Collect(data.data(), 1316);
    EXPECT_EQ(streamer.Flush(), 0);
    EXPECT_EQ(fast_machine::TakeSleeps().size(), 3u) << "each reconnects";
}
