// The player's language, every option of it, and the browser controller's commands, through their real queues.
#include <gtest/gtest.h>

#include <sys/msg.h>

#include <cstring>
#include <map>
#include <set>
#include <thread>

#include "fast_machine.h"
#include "playback/browsercontrol.h"
#include "playback/m710cmmd.h"
#include "playback/playeroptions.h"
#include "queue_limits.h"
#include "support/output.h"

namespace {

using namespace std::string_literals;

/// The 32-bit words of a record that aren't 0, by their offset in it.
using Record = std::map<int, std::uint32_t>;

Record operator+(Record left, const Record& right) {
    for (const auto& [offset, word] : right) left[offset] = word;
    return left;
}

/// A layer at an offset: its centre, size and alpha.
Record Layer(int at, std::uint32_t x, std::uint32_t y, std::uint32_t w, std::uint32_t h, std::uint32_t alpha) {
    return {{at + 4, x}, {at + 8, y}, {at + 12, w}, {at + 16, h}, {at + 20, alpha}};
}
Record Full(int at) { return Layer(at, 50, 50, 100, 100, 255); }

Record Text(int at, const std::string& text) {
    Record record;
    for (std::size_t i = 0; i < text.size(); ++i) {
        record[at + static_cast<int>(i) / 4 * 4] |= static_cast<std::uint32_t>(static_cast<unsigned char>(text[i]))
                                                    << i % 4 * 8;
    }
    return record;
}

/// One message as the player gets it.
struct Order {
    int number;
    int length;  ///< of the message's text
    Record record;

    bool operator==(const Order&) const = default;
};
using Orders = std::vector<Order>;

std::ostream& operator<<(std::ostream& out, const Order& order) {
    out << order.number << " length " << order.length << std::hex;
    for (const auto& [offset, word] : order.record) out << " @" << std::dec << offset << "=0x" << std::hex << word;
    return out << std::dec;
}

Orders TakeOrders(int key, long type) {
    Orders orders;
    struct {
        long type;
        std::uint32_t word[200];
    } message{};
    const int queue = msgget(key, 0);
    for (ssize_t size; (size = msgrcv(queue, &message, sizeof message.word, type, IPC_NOWAIT)) >= 0; message = {}) {
        Order order{static_cast<int>(message.word[0]), static_cast<int>(size), {}};
        for (int offset = 4; offset < size; offset += 4) {
            if (message.word[offset / 4] != 0) order.record[offset] = message.word[offset / 4];
        }
        orders.push_back(std::move(order));
    }
    return orders;
}

Orders OrdersOf(std::string line) {
    m710cmmd(line.data());
    return TakeOrders(1234, 2);
}

std::string OutputOf(std::string line) {
    return Printed([&] { m710cmmd(line.data()); });
}

}  // namespace

TEST(PlayerLanguage, EveryOptionBecomesItsOrder) {
    msgget(1234, IPC_CREAT | 0666);
    const Order stopAll{33, 8, {}}, stopVideo{27, 8, {}};
    const std::string group = "239.1.1.1";
    struct Case {
        std::string line;
        Orders orders;
    };
    // clang-format off
    const Case cases[] = {
        // Words that are no option, and options without words.
        {"", {}}, {"word", {}}, {"-anext 1 2", {}}, {"-stopall\r\n", {}}, {"-STOPALL", {}}, {"-stopal", {}}, {"m7 -", {}},
        {"-stopall", {stopAll}}, {"  -stopall   -stopvid ", {stopAll, stopVideo}}, {"-help -stopvid", {stopVideo}},
        {"-stoppic", {{2, 8, {}}}}, {"-stopb", {{11, 8, {}}}}, {"-vstat", {{72, 8, {}}}}, {"-colorbar", {{37, 8, {}}}},
        {"-osdstart", {{45, 8, {}}}}, {"-osdstop", {{46, 8, {}}}},
        {"-image 7 -stopall", {{0, 28, {{4, 1}, {8, 1}, {16, 10}}}, stopAll}}, {"-image -stopall -stopvid", {}},

        // Streams: IDs always hexadecimal, the rest as written; all twelve words step over a thirteenth.
        {"-udp 239.1.1.1 5004 1f 0 50 50 100 100 0 255 0",
         {{1, 96, Full(28) + Text(8, group) + Record{{4, 5004}, {28, 65}, {60, 0x1F0000}}}}},
        {"-udp 239.1.1.1 5004", {{1, 96, Full(28) + Text(8, group) + Record{{4, 5004}}}}},
        {"-udp 239.1.1.1 5004 1 -stopall -stopvid",
         {{1, 96, Full(28) + Text(8, group) + Record{{4, 5004}, {60, 0x10000}}}, stopVideo}},
        {"-rtp 239.1.1.1 5004 0x1f 2A",
         {{1, 96, Full(28) + Text(8, group) + Record{{4, 0x100138C}, {60, 0x1F0000}, {68, 0x2A0000}}}}},
        {"-udp 239.100.100.100.100 5004 1 2 10 -20 30 010 5 60 7 0x80 -stopall -stopvid",
         {{1, 96, Layer(28, 10, 0xFFFFFFEC, 30, 8, 60) + Text(8, "239.100.100.100") +
                      Record{{4, 5004}, {24, 0x80}, {28, 65}, {52, 5}, {56, 7}, {60, 0x10000}, {68, 0x20000}}},
          stopVideo}},
        {"-udp 239.1.1.1 -stopall", {}}, {"-rtp -stopall", {}}, {"-udp", {}},

        // Debug orders: numbers in hexadecimal after the first, or one text.
        {"-vdbg", {{67, 388, {{4, 0xFFFFFFFF}}}}}, {"-vdbg -stopall -stopvid", {{67, 388, {{4, 0xFFFFFFFF}}}, stopVideo}},
        {"-vdbg 14 1f 20 -stopall -stopvid", {{67, 388, {{4, 14}, {8, 0x1f}, {12, 0x20}}}, stopVideo}},
        {"-vdbg 0x16 1 2 3 4 0x5 -stopall", {{67, 388, {{4, 0x16}, {8, 1}, {12, 2}, {16, 3}, {20, 4}, {24, 5}}}, stopAll}},
        {"-vdbg 6 10", {{67, 388, {{4, 6}, {8, 0x10}}}}}, {"-vdbg 10 10", {{67, 388, {{4, 10}, {8, 0x10}}}}},
        {"-vdbg 7 host.name -stopall", {{67, 388, Text(8, "host.name") + Record{{4, 7}}}, stopAll}},
        {"-vdbg 8 10", {{67, 388, Text(8, "10") + Record{{4, 8}}}}}, {"-vdbg 9 -stopall -stopvid", {stopVideo}},

        // The player's state, the resolution, the layers: asp before alpha here, after it in the record.
        {"-trick 2 5 -stopall", {{34, 64, {{4, 2}, {8, 5}}}, stopAll}}, {"-trick", {}}, {"-trick -stopall", {}},
        {"-trick 2 -stopall -stopvid", {{34, 64, {{4, 2}}}, stopVideo}},
        {"-res 010 -stopall", {{8, 64, {{4, 8}}}, stopAll}}, {"-res", {}},
        {"-vs 50 50 100 100 0 255", {{65, 40, Full(0)}}}, {"-vs 50 50 100 100 0", {}}, {"-os 1 2 3 4 5 -stopall", {}},
        {"-ps 1 -2 3 4 5 6 7 -stopall", {{66, 40, Layer(0, 1, 0xFFFFFFFE, 3, 4, 6) + Record{{24, 5}, {28, 7}}}, stopAll}},
        {"-os 1 2 3 4 5 6 -stopall -stopvid", {{64, 40, Layer(0, 1, 2, 3, 4, 6) + Record{{24, 5}}}, stopVideo}},

        // Files, pictures and pages: the length counts the name.
        {"-video a.mp4", {{29, 5 + 124 + 8, Full(16) + Text(76, "a.mp4") + Record{{4, 1}}}}},
        {"-video a.mp4 0 20 -stopall -stopvid",
         {{29, 137, Full(16) + Text(76, "a.mp4") + Record{{4, 1}, {8, 20}}}, stopVideo}},
        {"-vnext a.mp4 3 20 1 2 3 4 5 6 7 -stopall",
         {{47, 137, Layer(16, 1, 2, 3, 4, 6) + Text(76, "a.mp4") + Record{{4, 3}, {8, 20}, {40, 5}, {44, 7}}}, stopAll}},
        {"-pic a.jpg", {{30, 137, Full(16) + Text(76, "a.jpg") + Record{{4, 1}, {8, 15}}}}},
        {"-pic a.jpg 0 1", {{30, 137, Full(16) + Text(76, "a.jpg") + Record{{4, 1}, {8, 15}, {20, 1}}}}},
        {"-pnext a.jpg 9", {{49, 137, Full(16) + Text(76, "a.jpg") + Record{{4, 1}, {8, 9}}}}},
        {"-browser p 0 -5", {{9, 133, Full(16) + Text(76, "p") + Record{{4, 1}, {12, 2}, {20, 0xFFFFFFFB}}}}},
        {"-bnext p 30", {{10, 133, Full(16) + Text(76, "p") + Record{{4, 1}, {8, 30}, {12, 2}}}}},
        {"-video", {}}, {"-vnext -stopall", {}}, {"-browser -stopall", {}}, {"-bnext", {}},
        {"-pic -stopall -stopvid", {stopVideo}}, {"-pnext -stopall -stopvid", {stopVideo}},

        // Messages, the tuner, look-ups.
        {"-hwc ABCDEFGHIJKLMNOP 3 6 -stopall", {{114, 136, Text(4, "ABCDEFGHIJKL") + Record{{16, 3}, {20, 6}}}, stopAll}},
        {"-hwc AB", {{114, 136, Text(4, "AB")}}}, {"-hwc -stopall -stopvid", {stopVideo}},
        {"-atsc", {{106, 88, Full(20) + Record{{12, 14}, {16, 1}}}}},
        {"-atsc 0 0 30 -stopall", {{106, 88, Full(20) + Record{{8, 30}, {12, 14}, {16, 1}}}, stopAll}},
        {"-atsc 7 2", {{106, 88, Full(20) + Record{{12, 7}, {16, 2}}}}},
        {"-scan", {{118, 88, {}}}}, {"-scan 1 -stopall -stopvid", {{118, 88, {{4, 1}}}, stopVideo}},
        {"-hostip", {}}, {"-hostname -stopall", {}}, {"-hostip localhost -stopall", {stopAll}},

        // Numbers stop at their first bad character and are held within 32 bits.
        {"-res 12x", {{8, 64, {{4, 12}}}}}, {"-res x", {{8, 64, {}}}}, {"-res 99999999999", {{8, 64, {{4, 0xFFFFFFFF}}}}},
        {"-vs 99999999999 -99999999999 0 0 0 0", {{65, 40, {{4, 0x7FFFFFFF}, {8, 0x80000000}}}}},
    };
    // clang-format on
    std::set<int> met;
    for (const Case& step : cases) {
        EXPECT_EQ(OrdersOf(step.line), step.orders) << step.line;
        for (const Order& order : step.orders) met.insert(order.number);
    }
    for (const PlayerOption& option : PlayerOptions()) {
        if (option.cmmdId == kNoOrder || option.to.key != kPlayer.key) continue;
        EXPECT_TRUE(met.count(option.cmmdId) == 1) << option.word << " isn't met";
    }
    char word[] = "-stopall";
    char* words[] = {word};
    EXPECT_EQ(Main(1, words), 0);
    EXPECT_EQ(TakeOrders(1234, 2), Orders{stopAll}) << "the first word counts like the others";
}

TEST(PlayerLanguage, MountGoesToTheSystemDaemon) {
    msgget(1234, IPC_CREAT | 0666);
    EXPECT_EQ(OrdersOf("-mount 4 rw -stopall").size(), 1u) << "no daemon: the line goes on";
    msgget(1240, IPC_CREAT | 0666);
    for (const auto& [how, state] : {std::pair{"rw", 1u}, {"ro", 0u}, {"RW", 0u}, {"rwx", 0u}}) {
        EXPECT_EQ(OrdersOf(std::string("-mount 4 ") + how + " -stopall").size(), 1u) << how;
        Record wanted{{4, 1234}, {8, 2}, {16, 4}, {24, 15}};
        if (state != 0) wanted[20] = state;
        EXPECT_EQ(TakeOrders(1240, 20), (Orders{{73, 392, wanted}})) << how;
    }
    EXPECT_EQ(OrdersOf("-mount 4 -stopall"), Orders{});
    EXPECT_EQ(TakeOrders(1240, 20), Orders{});
}

TEST(PlayerLanguage, AFailedLookUpEndsTheLine) {
    msgget(1234, IPC_CREAT | 0666);
    for (const std::string& line : {"-hostip " + std::string(300, 'n'), "-hostname no.address"s}) {
        EXPECT_EQ(OrdersOf(line + " -stopall"), Orders{}) << line;
    }
    EXPECT_NE(OutputOf("-hostip 127.0.0.9").find("ip = 127.0.0.9\n"), std::string::npos);
    EXPECT_NE(OutputOf("-hostname 127.0.0.1").find("h_name = localhost\n"), std::string::npos);
}

TEST(PlayerLanguage, LongLinesAndNamesAreHeldToTheirFields) {
    msgget(1234, IPC_CREAT | 0666);
    EXPECT_EQ(OrdersOf("-video " + std::string(3000, 'n')),
              (Orders{{29, 255 + 124 + 8, Full(16) + Text(76, std::string(255, 'n')) + Record{{4, 1}}}}));
    EXPECT_EQ(OrdersOf("-vdbg 8 " + std::string(3000, 't')),
              (Orders{{67, 388, Text(8, std::string(375, 't')) + Record{{4, 8}}}}));
    std::string many;
    for (int i = 0; i < 400; ++i) many += "-stopvid ";
    EXPECT_EQ(OrdersOf(many).size(), 255u) << "a table of 256 words, the first its name";
}

TEST(PlayerLanguage, AnAbsentOrFullQueueLosesTheOrder) {
    EXPECT_EQ(send_msg(1234, 2, 33, nullptr, 0), 0) << "no player";
    msgget(1234, IPC_CREAT | 0666);
    int sent = 0;
    const std::string output = Printed([&] {
        while (sent < 100000 && send_msg(1234, 2, 33, nullptr, 0) == 1) ++sent;
    });
    EXPECT_LT(sent, 100000) << "never waits";
    EXPECT_NE(output.find("Error Resource temporarily unavailable (11)\n"), std::string::npos) << output;
}

TEST(PlayerLanguage, RtspEndsTheProcess) {
    char line[] = "-rtsp -stopall";
    EXPECT_EXIT(m710cmmd(line), testing::ExitedWithCode(0), "");
}

namespace {

constexpr int kCommands = 945602;
constexpr int kAnswers = 31561;

struct Message {
    long type = 0;
    char text[1024] = {};
};

/// Takes the next message of a type, which has to be there, and its length, which is always the same.
Message TakeCommand(int type, int flags = IPC_NOWAIT) {
    Message message;
    EXPECT_EQ(msgrcv(msgget(kCommands, 0), &message, sizeof message.text, type, flags), 1024);
    return message;
}

void Answer(std::int32_t status, std::size_t size) {
    struct {
        long type;
        std::int32_t word[8];
    } answer{7, {72, 0, status}};
    ASSERT_EQ(msgsnd(msgget(kAnswers, IPC_CREAT | 0666), &answer, size, 0), 0);
}

}  // namespace

TEST(BrowserControl, SendsTextsInMessagesOfOneLength) {
    for (const std::string& text : {std::string("-k123"), std::string(1020, 'x'), std::string("y"), std::string()}) {
        ASSERT_EQ(sendMessgageToKonqueror(1, text.c_str()), 0) << text;
        const Message message = TakeCommand(1);
        EXPECT_EQ(std::string(message.text, 1024), text + std::string(1024 - text.size(), '\0'));
    }
    ASSERT_EQ(sendMessgageToKonqueror(1, std::string(3000, 'x').c_str()), 0);
    EXPECT_EQ(strnlen(TakeCommand(1).text, 1024), 1020u);
}

TEST(BrowserControl, AsksForTheStatusAndTakesNoStaleAnswer) {
    int stale = 0;  // as many as the queue takes, of one byte
    while (msgsnd(msgget(kAnswers, IPC_CREAT | 0666), "\1\0\0\0\0\0\0\0x", 1, IPC_NOWAIT) == 0) ++stale;
    ASSERT_GE(stale, 16384);
    fast_machine::TakeSleeps();
    ASSERT_EQ(sendMessgageToKonqueror(1, "-a"), 0) << "whatever the status";
    EXPECT_EQ(fast_machine::TakeSleeps(), std::vector<std::int64_t>(5, 500'000)) << "2.5 seconds without an answer";
    std::int32_t request[3];
    std::memcpy(request, TakeCommand(2).text, sizeof request);
    EXPECT_EQ((std::vector(request, request + 3)), (std::vector{71, kAnswers, 2}));
    Answer(99, 32);
    EXPECT_EQ(isAlive(), -1);

    fast_machine::SetSpeed(10);
    for (const auto& [size, status] : {std::pair{32u, 42}, {12u, 42}, {8u, -1}, {0u, -1}}) {
        TakeCommand(2);  // of the query before
        std::thread controller([size = size] {
            const Message next = TakeCommand(2, 0);
            Answer(42, size);
            ASSERT_EQ(msgsnd(msgget(kCommands, 0), &next, sizeof next.text, 0), 0);
        });
        EXPECT_EQ(isAlive(), status) << size << " bytes";
        controller.join();
    }
}

TEST(BrowserControl, TellsThatAQueueCantBeHad) {
    QueueHog hog;
    EXPECT_EQ(sendMessgageToKonqueror(1, "-k1"), -1);
    EXPECT_EQ(sendMessgageToKonqueror(1, "-k1"), -1) << "tried again";
    hog.GiveOne();
    EXPECT_EQ(sendMessgageToKonqueror(1, "-k1"), 0);
    EXPECT_EQ(isAlive(), -1) << "no queue for the answer";
    TakeCommand(1);
    msgctl(msgget(kCommands, 0), IPC_RMID, nullptr);
    EXPECT_EQ(sendMessgageToKonqueror(1, "-k1"), -1);
    EXPECT_EQ(isAlive(), -1);
}
