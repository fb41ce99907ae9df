// A transmitter with a channel of a few packets written by hand: what runs where there is neither zul-mux nor
// libdvbpsi.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <thread>
#include <vector>

#include "live_board.h"
#include "stream_tap.h"
#include "transport.h"

namespace board {
namespace {

using transport::Blob;

constexpr std::uint64_t kEnough = 200'000;  ///< bytes: the channel some twenty times over

/// Two programmes, each with video and sound, and null packets between them.
std::map<unsigned, std::vector<Blob>> HandMadeChannel() {
    std::map<unsigned, std::vector<Blob>> pids;
    pids[0] = {transport::SectionPacket(0, 0, transport::Pat(0x4D, 0, {{1, 0x30}, {2, 0x40}}))};
    for (const unsigned programme : {1u, 2u}) {
        const unsigned pmt = 0x20 + programme * 0x10;
        pids[pmt] = {
            transport::SectionPacket(pmt, 0, transport::Pmt(programme, {{0x02, pmt + 1, {}}, {0x81, pmt + 4, {}}}))};
        for (unsigned i = 0; i < 16; ++i) {
            for (const unsigned pid : {pmt + 1, pmt + 4}) {
                pids[pid].push_back(transport::Filled(pid, i, static_cast<std::uint8_t>(programme * 16 + i)));
            }
        }
    }
    pids[0x1FFF] = {transport::Filled(0x1FFF, 0, 0xFF)};
    return pids;
}

TEST(Transmitter, SendsTheProgrammeThatWasAskedForAndItsTables) {
    const auto channel = HandMadeChannel();
    {
        std::ofstream file("/mnt/seven.ts", std::ios::binary);
        for (const auto& [pid, packets] : channel) {
            for (const Blob& packet : packets) file.write(reinterpret_cast<const char*>(packet.data()), 188);
        }
    }
    Journal<ProgrammeStreams> told;
    StreamTap tap(
        "239.1.1.1", 5001, 1, 0, [](auto) {}, [&told](const ProgrammeStreams& streams) { told.Add(streams); });
    LiveBoard board('T', {.band = {{7, {"/mnt/seven.ts", 5}}}, .clock = 4});
    ASSERT_TRUE(board.Start());
    EXPECT_EQ(board.Ask("UNIT1,239.1.1.1,5001,7,4d,1"), "OK\r\n");
    EXPECT_TRUE(told.WaitFor([](const auto& s) { return s == ProgrammeStreams{1, 0x02, 0x81}; }));
    for (int turn = 0; turn < 2000 && tap.BytesReceived() < kEnough; ++turn) {
        std::this_thread::sleep_for(Milliseconds(10));
    }
    EXPECT_TRUE(StartsWith(board.Ask("STATUS"), "STATUS 1 0 239.1.1.1:5001 0:1:ff:[0001] F:ATSC "));
    EXPECT_EQ(board.Ask("UNIT0"), "OK\r\n");

    std::map<unsigned, std::set<Blob>> sent;
    const std::vector<std::uint8_t> stream = tap.LastBytes();
    for (auto at = stream.begin(); at != stream.end(); at += kPacketSize) {
        sent[(at[1] & 0x1Fu) << 8 | at[2]].emplace(at, at + kPacketSize);
    }
    sent.erase(0);  // a PAT of its own
    ASSERT_EQ(sent.size(), 3u);
    for (const unsigned pid : {0x30u, 0x31u, 0x34u}) {
        const auto& packets = channel.at(pid);
        EXPECT_EQ(sent[pid], std::set(packets.begin(), packets.end())) << pid;
    }
}

}  // namespace
}  // namespace board
