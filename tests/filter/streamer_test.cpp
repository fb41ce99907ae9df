// Streams: thresholds, overflows, datagrams on the wire; sends that the kernel refuses; memory that runs out.
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <random>
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

using Sizes = std::vector<int>;

/// The sizes of the datagrams that arrived.
Sizes SizesAt(const Client& peer) {
    Sizes sizes;
    for (const std::string& datagram : peer.Take()) sizes.push_back(static_cast<int>(datagram.size()));
    return sizes;
}

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

    streamer.StreamSet(receiver.port, "127.0.0.1");
    for (int datagram = 0; datagram < 70; ++datagram) streamer.Collect(data.data(), 1316);
    EXPECT_EQ(streamer.Flush(), 6 * 1316) << "64 at most wait";
    EXPECT_EQ(SizesAt(receiver), Sizes(70, 1316));
    streamer.SetPacketSize(32712);
    for (unsigned packet = 0; packet < 600; ++packet) streamer.Collect(&data[packet % 2 * 376], 188);
    EXPECT_EQ(streamer.Flush(), 32712) << "512 pieces at most wait";
    EXPECT_EQ(SizesAt(receiver), Sizes(3, 32712));
}

TEST(StreamFaults, ASendThatFailsCostsItsDatagramAndAReconnect) {
    const Sizes unlike{1316, 1504, 1692}, alike{1316, 1316, 1316}, two{1316, 1316};
    const struct {
        const char* name;
        Sizes lengths;
        std::vector<int> sends;
        Sizes arrived;
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
    Blob host(3 * 7 * 600);
    for (std::size_t n = 0; n < host.size(); ++n) host[n] = static_cast<std::uint8_t>(n % 251);
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
        std::vector<std::string> collected;
        const std::uint8_t* piece = host.data();
        for (const int length : row.lengths) {  // each of scattered pieces, which are joined
            collected.emplace_back();
            for (const int size : {188, 188, 188, 188, 188, 188, length - 6 * 188}) {
                streamer.Collect(piece, size);
                collected.back().append(piece, piece + size);
                piece += 600;
            }
        }
        streamer.Flush();
        Sizes sizes;
        for (const std::string& datagram : peer.Take()) {
            sizes.push_back(static_cast<int>(datagram.size()));
            EXPECT_EQ(std::count(collected.begin(), collected.end(), datagram), 1) << row.name;
        }
        EXPECT_EQ(sizes, row.arrived) << row.name;
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
    for (int turn = 0; denied; ++turn) {  // first no allocation fails, then one after another
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
