// Sends that the kernel refuses, and memory that runs out, under streams.
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <utility>

#include "filter/filter_fixture.h"
#include "psip_sections.h"
#include "scarce_memory.h"
#include "support/output.h"
#include "udp_client.h"

using namespace transport;

namespace {

std::vector<int> gSends;  ///< results of the next calls of sendmmsg: messages, or an error below 0
int gMessages = 0;        ///< that sendmmsg sent; one may hold several datagrams

}  // namespace

// Overrides the C library's for this program.
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
    const auto sent = static_cast<int>(syscall(SYS_sendmmsg, fd, messages, count, flags));
    gMessages += sent;
    return sent;
}

TEST(StreamFaults, ASendThatFailsCostsItsDatagramAndAReconnect) {
    const std::vector<std::size_t> unlike{1316, 1504, 1692}, alike{1316, 1316, 1316}, two{1316, 1316};
    const struct {
        const char* name;
        std::vector<std::size_t> lengths;
        std::vector<int> sends;
        std::vector<std::size_t> arrived;
        std::size_t reconnects;
        int messages;
    } rows[] = {
        {"all at once", unlike, {}, unlike, 0, 3},
        {"one, then the others", unlike, {1}, unlike, 0, 3},
        {"no network", unlike, {-ENETUNREACH}, {1504, 1692}, 1, 1},
        {"no buffers", unlike, {-ENOBUFS}, {1504, 1692}, 1, 1},
        {"no buffers after the first", unlike, {1, -ENOBUFS}, {1316, 1692}, 1, 1},
        {"no such call: one by one", unlike, {-ENOSYS, -ENOSYS, -ENOSYS}, unlike, 0, 0},
        {"as one message", alike, {}, alike, 0, 1},
        {"a device that can't cut it: three messages", alike, {-EIO}, alike, 0, 3},
        {"no network for one message", alike, {-ENETUNREACH}, two, 1, 1},
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
        gMessages = 0;
        for (const std::size_t length : row.lengths) streamer.Collect(data.data(), static_cast<int>(length));
        streamer.Flush();
        std::vector<std::size_t> arrived;
        for (const std::string& datagram : peer.TakeCount(row.arrived.size())) arrived.push_back(datagram.size());
        EXPECT_EQ(arrived, row.arrived) << row.name;
        EXPECT_EQ(gMessages, row.messages) << row.name;
        EXPECT_EQ(fast_machine::TakeSleeps(), std::vector<std::int64_t>(row.reconnects, 100'000)) << row.name;
        EXPECT_TRUE(gSends.empty()) << row.name;
        EXPECT_EQ(streamer.Stream(data.data(), 1316), 1316) << row.name << ": the next one goes out";
        EXPECT_EQ(fast_machine::TakeSleeps().size(), 0u) << row.name;
    }
}

namespace {

/// A channel's tables, each twice: one may depend on another that comes after it.
Blob Tables() {
    const std::uint32_t start = 1388534400;
    Blob events;
    const std::pair<unsigned, Blob> tables[] = {
        {0, Pat(7, 1, {{1, 0x30}, {2, 0x40}})},
        {0x30, Pmt(1, {{0x02, 0x31, {}}, {0x81, 0x34, {0x0A, 4, 'e', 'n', 'g', 0}}})},
        {kPsipBasePid, Mgt({MgtTable(0x100, 0x50), MgtTable(0x200, 0x51)})},
        {kPsipBasePid, Vct(0xC8, 7, {VctChannel(1, 11, 1, 9)})},
        {0x50, Eit(9, {EitEvent(1, start, 1800, Plain("News")), EitEvent(900, start + 1800, 3600, Plain("Film"))})},
        {0x51, Ett(9, 1 << 2 | 2, Plain("What happened today."))},
    };
    Blob packets;
    std::map<unsigned, unsigned> continuity;
    for (int turn = 0; turn < 2; ++turn) {
        for (const auto& [pid, section] : tables) Append(packets, SectionPackets(pid, continuity[pid], section));
    }
    Append(packets, Filled(0x1FFE, 0, 0xFF));
    return packets;
}

/// The contents of a store.
std::string Dump(TunerManager& tuner) {
    return Printed([&] {
        global_debug_flag = 1;
        tuner.DumpEitInfo();
        tuner.DumpLanguageInfo();
        global_debug_flag = 0;
    });
}

}  // namespace

TEST(StarvedTables, AreDroppedAndFiledByTheirNextRepetition) {
    global_debug_flag = 0;
    Blob tables = Tables();
    std::string whole;
    bool denied = true;
    for (int turn = 0; denied; ++turn) {  // one allocation after the other fails; at first none
        TunerManager tuner('T');
        TsFilter filter('T', &tuner);
        filter.FilterActive(true);
        const auto feed = [&] { filter.Filter(tables.data(), static_cast<int>(tables.size())); };
        const std::string reports = Reported([&] {
            gBlocksLeft = turn == 0 ? 1'000'000 : turn - 1;
            feed();
            denied = std::exchange(gBlocksLeft, -1) < 0 || turn == 0;
        });
        EXPECT_EQ(!reports.empty(), denied && turn != 0) << reports;
        for (int repetition = 0; repetition < 3; ++repetition) feed();
        const std::string dump = Dump(tuner);
        if (turn == 0) whole = dump;
        EXPECT_NE(dump.find("News"), std::string::npos) << dump;
        EXPECT_EQ(dump, whole) << "without block " << turn;
        ASSERT_LT(turn, 1000);
    }
}

class StarvedStream : public TsFilterTest {};

TEST_F(StarvedStream, CostsItselfAndNoOther) {
    unsigned continuity = 0;
    unsigned version = 1;
    const auto feedPat = [&] { FeedProved(SectionPacket(0, continuity++, Pat(7, version, {{1, 0x30}}))); };
    feedPat();
    gDeniedBlock = 65536;
    EXPECT_NE(Reported([&] { AddEagerStream(1); }).find("Cant alloc memory"), std::string::npos);
    gDeniedBlock = 0;
    AddEagerStream(2);
    ++version;
    feedPat();  // analysed in full, and not sent
    TakeOutput();
    feedPat();
    FeedProved(Filled(0x1FFB, 0, 9));
    std::size_t pats = 0, others = 0;
    const Blob sent = TakeOutput();
    for (std::size_t at = 0; at + kPacket <= sent.size(); at += kPacket) (sent[at + 2] == 0xFB ? others : pats) += 1;
    EXPECT_EQ(pats, 1u);
    EXPECT_EQ(others, 1u) << "a packet that both streams carry";
    for (const int id : {1, 2}) EXPECT_TRUE(mFilter.RemoveStream(id));
}
