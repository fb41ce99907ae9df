// Sends that the kernel refuses, and memory that runs out, under streams.
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "filter/filter_fixture.h"
#include "udp_client.h"

using namespace transport;

namespace {

std::vector<int> gSends;       ///< what the next calls of sendmmsg do: datagrams that they take, or an error below 0
std::size_t gDeniedBlock = 0;  ///< bytes of the blocks that can't be had

}  // namespace

// Both stand in front of the C and C++ libraries' for this program.
extern "C" int sendmmsg(int fd, mmsghdr* messages, unsigned count, int flags) {
    if (!gSends.empty()) {
        const int order = gSends.front();
        gSends.erase(gSends.begin());
        if (order < 0) {
            errno = -order;
            return -1;
        }
        count = std::min(count, static_cast<unsigned>(order));
    }
    return static_cast<int>(syscall(SYS_sendmmsg, fd, messages, count, flags));
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return size == gDeniedBlock ? nullptr : operator new[](size);
}

TEST(StreamFaults, ASendThatFailsCostsItsDatagramAndAReconnect) {
    const std::vector<std::size_t> unlike{1316, 1504, 1692}, alike{1316, 1316, 1316}, two{1316, 1316};
    const struct {
        const char* name;
        std::vector<std::size_t> lengths;
        std::vector<int> sends;
        std::vector<std::size_t> arrived;
        std::size_t reconnects;
    } rows[] = {
        {"all at once", unlike, {}, unlike, 0},
        {"one, then the others", unlike, {1}, unlike, 0},
        {"no network", unlike, {-ENETUNREACH}, {1504, 1692}, 1},
        {"no buffers", unlike, {-ENOBUFS}, {1504, 1692}, 1},
        {"no buffers behind the first", unlike, {1, -ENOBUFS}, {1316, 1692}, 1},
        {"no such call: one by one", unlike, {-ENOSYS, -ENOSYS, -ENOSYS}, unlike, 0},
        {"as one message", alike, {1}, alike, 0},
        {"a device that can't cut it: three messages", alike, {-EIO, 3}, alike, 0},
        {"no network for one message", alike, {-ENETUNREACH}, two, 1},
    };
    const Blob data(2000, 1);
    for (const auto& row : rows) {
        const Client peer;
        Streamer streamer(65536, 1316);
        streamer.StreamSet(peer.port, "127.0.0.1");
        streamer.Activated(true);
        streamer.Stream(data.data(), 1316);  // connects
        peer.TakeCount(1);
        fast_machine::TakeSleeps();
        gSends = row.sends;
        for (const std::size_t length : row.lengths) streamer.Collect(data.data(), static_cast<int>(length));
        streamer.Flush();
        std::vector<std::size_t> arrived;
        for (const std::string& datagram : peer.TakeCount(row.arrived.size())) arrived.push_back(datagram.size());
        EXPECT_EQ(arrived, row.arrived) << row.name;
        EXPECT_EQ(fast_machine::TakeSleeps(), std::vector<std::int64_t>(row.reconnects, 100'000)) << row.name;
        EXPECT_TRUE(gSends.empty()) << row.name;
        EXPECT_EQ(streamer.Stream(data.data(), 1316), 1316) << row.name << ": the next one goes out";
        EXPECT_EQ(fast_machine::TakeSleeps().size(), 0u) << row.name;
    }
}

class StarvedStream : public TsFilterTest {};

TEST_F(StarvedStream, CostsItselfAndNoOther) {
    const struct {
        std::size_t block;   ///< bytes that can't be had
        std::size_t copies;  ///< of a packet that both streams take along
    } rows[] = {{65536, 1}, {Streamer::kPrivatePatSize, 2}};
    unsigned continuity = 0;
    unsigned version = 0;
    const auto feedPat = [&] { FeedProved(SectionPacket(0, continuity++, Pat(7, version, {{1, 0x30}}))); };
    for (const auto& row : rows) {
        ++version;
        feedPat();
        gDeniedBlock = row.block;
        testing::internal::CaptureStderr();
        AddEagerStream(1);
        EXPECT_NE(testing::internal::GetCapturedStderr().find("Cant alloc memory"), std::string::npos) << row.block;
        gDeniedBlock = 0;
        AddEagerStream(2);
        ++version;
        feedPat();  // analysed in full, and not sent
        TakeOutput();
        feedPat();
        FeedProved(Filled(0x1FFB, 0, 9));
        std::size_t pats = 0, others = 0;
        const Blob sent = TakeOutput();
        for (std::size_t at = 0; at + kPacket <= sent.size(); at += kPacket)
            (sent[at + 2] == 0xFB ? others : pats) += 1;
        EXPECT_EQ(pats, 1u) << row.block;
        EXPECT_EQ(others, row.copies) << row.block;
        for (const int id : {1, 2}) EXPECT_TRUE(mFilter.RemoveStream(id)) << row.block;
    }
}
