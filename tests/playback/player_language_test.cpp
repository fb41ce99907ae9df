// The player's language, every option of it, through the real queue.
#include <gtest/gtest.h>

#include <sys/msg.h>

#include <map>

#include "kbl_interprocess.h"
#include "playback/browsercontrol.h"
#include "playback/m710cmmd.h"
#include "fast_machine.h"

namespace {

/// One message as the player gets it: its number, its length, and the words of its record that aren't 0, by offset.
struct Order {
    int number;
    int length;
    std::map<int, std::uint32_t> words;
    std::string text;  ///< where the record holds one

    bool operator==(const Order&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Order& order) {
    out << order.number << " length " << order.length;
    for (const auto& [offset, word] : order.words) out << " @" << offset << '=' << word;
    return out << " '" << order.text << "'";
}

std::vector<Order> TakeOrders(int key, long type) {
    std::vector<Order> orders;
    struct { long type; std::uint32_t word[200]; } message{};
    const int queue = msgget(key, 0);
    for (ssize_t size; (size = msgrcv(queue, &message, sizeof message.word, type, IPC_NOWAIT)) >= 0; message = {}) {
        Order order{static_cast<int>(message.word[0]), static_cast<int>(size), {}, ""};
        const int textAt = size >= 132 && size <= 388 && order.number != DEBUG_CMMD && order.number != HWC_DISPLAY && order.number != DEVICE_REMOUNT_REQ ? 76 : order.number == START_STREAM_DISPLAY ? 8 : 0;
        const int textEnd = textAt == 76 ? 332 : 24;
        if (textAt != 0) order.text = reinterpret_cast<const char*>(message.word) + textAt;
        for (int offset = 4; offset < size; offset += 4) {
            if (textAt != 0 && offset >= textAt && offset < textEnd) continue;
            if (message.word[offset / 4] != 0) order.words[offset] = message.word[offset / 4];
        }
        orders.push_back(std::move(order));
    }
    return orders;
}

std::vector<Order> OrdersOf(std::string line) {
    m710cmmd(line.data());
    return TakeOrders(1234, 2);
}

using Orders = std::vector<Order>;

std::map<int, std::uint32_t> Layer(int at, std::uint32_t x, std::uint32_t y, std::uint32_t w, std::uint32_t h, std::uint32_t alpha) {
    return {{at + 4, x}, {at + 8, y}, {at + 12, w}, {at + 16, h}, {at + 20, alpha}};
}

std::map<int, std::uint32_t> With(std::map<int, std::uint32_t> words, std::initializer_list<std::pair<const int, std::uint32_t>> more) {
    for (const auto& [offset, word] : more) words[offset] = word;
    return words;
}

}  // namespace

TEST(PlayerLanguage, EveryOptionBecomesItsOrder) {
    msgget(1234, IPC_CREAT | 0666);
    const auto full = [](int at) { return Layer(at, 50, 50, 100, 100, 255); };
    struct Case { const char* line; Orders orders; };
    const Order stopAll{33, 8, {}, ""}, stopVideo{27, 8, {}, ""};
    const Case cases[] = {
        {"", {}}, {"word", {}}, {"-anext 1 2", {}}, {"-stopall", {stopAll}}, {"-stopall\r\n", {}}, {"  -stopall   -stopvid ", {stopAll, stopVideo}},
        {"-vstat", {{72, 8, {}, ""}}}, {"-colorbar", {{37, 8, {}, ""}}}, {"-osdstart", {{45, 8, {}, ""}}}, {"-osdstop", {{46, 8, {}, ""}}},
        {"-stoppic", {{2, 8, {}, ""}}}, {"-stopb", {{11, 8, {}, ""}}}, {"-help -stopvid", {stopVideo}},
        {"-image 7 -stopall", {{0, 28, {{4, 1}, {8, 1}, {16, 10}}, ""}, stopAll}}, {"-image", {}},
        {"-udp 239.1.1.1 5004 1f 0 50 50 100 100 0 255 0", {{1, 96, With(full(28), {{4, 5004}, {28, 65}, {60, 0x1F0000}}), "239.1.1.1"}}},
        {"-udp 239.1.1.1 5004", {{1, 96, With(full(28), {{4, 5004}}), "239.1.1.1"}}},
        {"-rtp 239.1.1.1 5004 0x1f 2A", {{1, 96, With(full(28), {{4, 0x100138C}, {60, 0x1F0000}, {68, 0x2A0000}}), "239.1.1.1"}}},
        {"-udp 239.100.100.100.100 5004 1 2 10 20 30 40 5 60 7 0x80 -stopall -stopvid", {{1, 96, With(Layer(28, 10, 20, 30, 40, 60), {{4, 5004}, {24, 0x80}, {28, 65}, {52, 5}, {56, 7}, {60, 0x10000}, {68, 0x20000}}), "239.100.100.100"}, stopVideo}},
        {"-udp 239.1.1.1 -stopall", {}}, {"-udp", {}},
        {"-vdbg", {{67, 388, {{4, 0xFFFFFFFF}}, ""}}}, {"-vdbg 14 1f 20 -stopall -stopvid", {{67, 388, {{4, 14}, {8, 0x1f}, {12, 0x20}}, ""}, stopVideo}},
        {"-vdbg 0x16 1 2 3 4 5 -stopall", {{67, 388, {{4, 0x16}, {8, 1}, {12, 2}, {16, 3}, {20, 4}, {24, 5}}, ""}, stopAll}},
        {"-vdbg 7 abcd -stopall", {{67, 388, {{4, 7}, {8, 0x64636261}}, ""}, stopAll}}, {"-vdbg 9 -stopall -stopvid", {stopVideo}},
        {"-trick 2 5 -stopall", {{34, 64, {{4, 2}, {8, 5}}, ""}, stopAll}}, {"-trick 2 -stopall -stopvid", {{34, 64, {{4, 2}}, ""}, stopVideo}}, {"-trick", {}},
        {"-res 010 -stopall", {{8, 64, {{4, 8}}, ""}, stopAll}}, {"-res", {}},
        {"-vs 50 50 100 100 0 255", {{65, 40, Layer(0, 50, 50, 100, 100, 255), ""}}}, {"-vs 50 50 100 100 0", {}},
        {"-ps 1 -2 3 4 5 6 7 -stopall", {{66, 40, With(Layer(0, 1, 0xFFFFFFFE, 3, 4, 6), {{24, 5}, {28, 7}}), ""}, stopAll}},
        {"-os 1 2 3 4 5 6 -stopall -stopvid", {{64, 40, With(Layer(0, 1, 2, 3, 4, 6), {{24, 5}}), ""}, stopVideo}},
        {"-video a.mp4", {{29, 5 + 124 + 8, With(full(16), {{4, 1}}), "a.mp4"}}},
        {"-vnext a.mp4 3 20 1 2 3 4 5 6 7 -stopall", {{47, 137, With(Layer(16, 1, 2, 3, 4, 6), {{4, 3}, {8, 20}, {40, 5}, {44, 7}}), "a.mp4"}, stopAll}},
        {"-pic a.jpg", {{30, 137, With(full(16), {{4, 1}, {8, 15}}), "a.jpg"}}}, {"-pic -stopall -stopvid", {stopVideo}}, {"-pnext a.jpg 9", {{49, 137, With(full(16), {{4, 1}, {8, 9}}), "a.jpg"}}},
        {"-browser p 0 -5", {{9, 133, With(full(16), {{4, 1}, {12, 2}, {20, 0xFFFFFFFB}}), "p"}}}, {"-bnext p", {{10, 133, With(full(16), {{4, 1}, {12, 2}}), "p"}}}, {"-browser", {}},
        {"-hwc ABCDEFGHIJKLMNOP 3 6 -stopall", {{114, 136, {{4, 0x44434241}, {8, 0x48474645}, {12, 0x4C4B4A49}, {16, 3}, {20, 6}}, ""}, stopAll}}, {"-hwc -stopall -stopvid", {stopVideo}},
        {"-atsc", {{106, 88, With(full(20), {{12, 14}, {16, 1}}), ""}}}, {"-atsc 7 2 30 -stopall", {{106, 88, With(full(20), {{8, 30}, {12, 7}, {16, 2}}), ""}, stopAll}},
        {"-scan", {{118, 88, {}, ""}}}, {"-scan 1 -stopall -stopvid", {{118, 88, {{4, 1}}, ""}, stopVideo}}, {"-hostip", {}}, {"-hostname", {}}, {"-hostip localhost -stopall", {stopAll}},
    };
    for (const Case& step : cases) EXPECT_EQ(OrdersOf(step.line), step.orders) << step.line;
    msgget(1240, IPC_CREAT | 0666);
    EXPECT_EQ(OrdersOf("-mount 4 rw -stopall"), Orders{stopAll});
    EXPECT_EQ(TakeOrders(1240, 20), (Orders{{73, 392, {{4, 1234}, {8, 2}, {16, 4}, {20, 1}, {24, 15}}, ""}}));
    EXPECT_EQ(OrdersOf("-mount 4"), Orders{});
}

TEST(PlayerLanguage, LongLinesAndNamesAreHeldToTheirFields) {
    msgget(1234, IPC_CREAT | 0666);
    const Orders file = OrdersOf("-video " + std::string(3000, 'n'));
    ASSERT_EQ(file.size(), 1u);
    EXPECT_EQ(file[0].length, 255 + 124 + 8);
    EXPECT_EQ(file[0].text, std::string(255, 'n'));
    EXPECT_EQ(OrdersOf("-vdbg 8 " + std::string(3000, 't'))[0].words.size(), 1u + 94u);
    std::string many;
    for (int i = 0; i < 400; ++i) many += "-stopvid ";
    EXPECT_EQ(OrdersOf(many).size(), 255u) << "a table of 256 words, the first its name";
}

TEST(PlayerLanguage, AnAbsentOrFullQueueLosesTheOrder) {
    EXPECT_EQ(send_msg(1234, 2, 33, nullptr, 0), 0) << "no player";
    const int queue = msgget(1234, IPC_CREAT | 0666);
    int sent = 0;
    while (sent < 100000 && send_msg(1234, 2, 33, nullptr, 0) == 1) ++sent;
    EXPECT_LT(sent, 100000) << "never waits";
    msgctl(queue, IPC_RMID, nullptr);
}

TEST(Browser, TextCommandsAndTheStatusQuery) {
    struct Message { long type; char text[1024]; } message{};
    EXPECT_EQ(sendMessgageToKonqueror(1, "-k123"), 0);
    const int out = msgget(945602, 0);
    ASSERT_EQ(msgrcv(out, &message, sizeof message.text, 1, IPC_NOWAIT), 1024);
    EXPECT_EQ(std::string(message.text, 8), std::string("-k123\0\0\0", 8));
    EXPECT_EQ(sendMessgageToKonqueror(1, std::string(3000, 'x').c_str()), 0);
    ASSERT_EQ(msgrcv(out, &message, sizeof message.text, 1, IPC_NOWAIT), 1024);
    EXPECT_EQ(strnlen(message.text, 1024), 1020u);
    fast_machine::TakeSleeps();
    const int in = msgget(31561, IPC_CREAT | 0666);
    struct { long type; std::int32_t word[3]; } stale{5, {72, 0, 99}};
    msgsnd(in, &stale, 12, 0);
    EXPECT_EQ(isAlive(), -1) << "a stale answer doesn't count";
    EXPECT_EQ(fast_machine::TakeSleeps(), std::vector<std::int64_t>(5, 500000));
    ASSERT_EQ(msgrcv(out, &message, sizeof message.text, 2, IPC_NOWAIT), 1024);
    const auto request = reinterpret_cast<const std::int32_t*>(message.text);
    EXPECT_EQ((std::vector{request[0], request[1], request[2]}), (std::vector{71, 31561, 2}));
    EXPECT_EQ(sendMessgageToKonqueror(1, "-a"), 0) << "whatever the status";
}
