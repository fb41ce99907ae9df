// UDP, the log's wire format, and the text helpers.
#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "core/log.h"
#include "core/texthelpers.h"
#include "core/udpcom.h"
#include "support/output.h"
#include "udp_client.h"

namespace {

using Texts = std::vector<std::string>;

const int kLevelAtStart = global_debug_flag;

/// A field of one letter over and over, and what follows it.
std::string Long(std::size_t size, const char* after = "") { return std::string(size, 'x').append(after); }

}  // namespace

TEST(UdpServer, ReceivesWithAZeroByteAtTheEndAndAnswersItsLastPeer) {
    const Client clients[2];
    UdpServer server;
    ASSERT_TRUE(server.Connect(5000));
    char buffer[9];
    for (const Client& client : clients) {
        std::memset(buffer, 'x', sizeof buffer);
        client.Send(5000, "12345678");
        EXPECT_TRUE(server.WaitForData(1, 0));
        EXPECT_EQ(server.Receive(buffer, 8, 0), 8);
        EXPECT_STREQ(buffer, "12345678");
        EXPECT_EQ(server.GetLastClientPort(), client.port);
        EXPECT_STREQ(server.GetLastClientIpAddress(), "127.0.0.1");
        EXPECT_EQ(server.Reply("back", 4), 4);
        EXPECT_EQ(client.Take(1000), Texts{"back"});
    }
    EXPECT_FALSE(server.WaitForData(0, 0));
    EXPECT_LT(server.Receive(buffer, 8, MSG_DONTWAIT), 0);
    EXPECT_STREQ(buffer, "12345678") << "a failed receive touches nothing";
    EXPECT_TRUE(server.Connect(5001)) << "opening again lets the old socket go";
    UdpServer other;
    EXPECT_TRUE(other.Connect(5000));
}

TEST(UdpServer, JoinsOnlyMulticastGroups) {
    for (const char* group : {"223.1.1.1", "240.0.0.1", "FILTER", "", "239.x", "239.255.250.250", "224.0.1.1"}) {
        UdpServer server;
        EXPECT_TRUE(server.Connect(6000, group)) << group;
    }
}

TEST(UdpSender, FailsWithoutASocketAndReconnects) {
    Client client;
    close(0);  // a host without standard input: its descriptor means "no socket" here
    UdpSender sender;
    EXPECT_LT(sender.Send("x", 1), 0);
    EXPECT_FALSE(sender.Connect(client.port, "nonsense"));
    EXPECT_LT(sender.Send("x", 1), 0) << "nothing goes to descriptor 0";
    EXPECT_TRUE(sender.Connect(client.port, "127.0.0.1"));
    EXPECT_TRUE(sender.Connect(client.port, "127.0.0.1"));
    EXPECT_EQ(sender.Send("x", 1), 1);
    EXPECT_EQ(client.Take(1000), Texts{"x"});
    sender.Disconnect();
    sender.Disconnect();
    EXPECT_LT(sender.Send("x", 1), 0);
}

TEST(UdpSender, LetsGroupsCrossFourNetworks) {
    const int next = dup(STDOUT_FILENO);
    close(next);  // the sender's socket takes its place
    UdpSender sender;
    ASSERT_TRUE(sender.Connect(7000, "239.1.1.1"));
    int ttl = 0;
    socklen_t size = sizeof ttl;
    EXPECT_EQ(getsockopt(next, IPPROTO_IP, IP_MULTICAST_TTL, &ttl, &size), 0);
    EXPECT_EQ(ttl, 4);
}

TEST(Log, LevelsAndWireFormat) {
    EXPECT_EQ(kLevelAtStart, 1) << "standard output";
    AllocateErrorBuffer();
    Client client;
    int evaluated = 0;
    const auto say = [&] { LOG("text %d\n", ++evaluated); };
    for (const int level : {0, 2, 3, -1}) {
        global_debug_flag = level;
        say();
    }
    EXPECT_EQ(evaluated, 0) << "no argument is evaluated where no line goes";
    OpenLogChannel(client.port, "127.0.0.1");
    OpenLogChannel(1, "127.0.0.1");  // the first peer stays
    global_debug_flag = 2;
    say();
    LOG("%s|", static_cast<const char*>(nullptr) == nullptr ? "(null)" : "");
    PANIC("broken %s", "thing");
    EXPECT_EQ(client.TakeCount(3), (Texts{std::string("LOG: text 1\n\r\n\0", 15), std::string("LOG: (null)|\r\n\0", 15),
                                          "LOG:ERROR broken thing\r\n"}));
    const std::string longText(3000, 'a');
    LOG("%s", longText.c_str());
    PANIC("%s", longText.c_str());
    const Texts cut = client.TakeCount(2);
    ASSERT_EQ(cut.size(), 2u);
    EXPECT_EQ(cut[0], "LOG: " + std::string(1023, 'a') + std::string("\r\n\0", 3));
    EXPECT_EQ(cut[1], "LOG:ERROR " + std::string(511, 'a') + "\r\n");
    CloseLogChannel();
    CloseLogChannel();
    LOG("silent");
    EXPECT_TRUE(client.Take(50).empty());
    global_debug_flag = 1;
    EXPECT_EQ(Printed([] { LOG("line\n"); }), "ZUL: line\n");
}

TEST(Log, PanicTellsItsPlaceAndTheErrorOfItsCall) {
    const int line = __LINE__ + 3;
    const std::string report = Reported([] {
        errno = ENOENT;
        PANIC("text %%d %d", 5);
    });
    EXPECT_EQ(report, "PANIC at udp_and_log_test.cpp:" + std::to_string(line) +
                          "  text %d 5\nperror: No such file or directory\n");
}

TEST(Log, LinesOfManyThreadsAreNotTornWhileTheChannelComesAndGoes) {
    AllocateErrorBuffer();
    global_debug_flag = 2;
    Client client;
    std::vector<std::thread> threads;
    for (char c = 'a'; c < 'e'; ++c) {
        threads.emplace_back([c] {
            const std::string text(200, c);
            for (int i = 0; i < 300; ++i) LOG("%s", text.c_str());
        });
    }
    for (int i = 0; i < 200; ++i) {
        OpenLogChannel(client.port, "127.0.0.1");
        std::this_thread::yield();
        CloseLogChannel();
    }
    OpenLogChannel(client.port, "127.0.0.1");
    LOG("%s", std::string(200, 'z').c_str());
    for (std::thread& thread : threads) thread.join();
    const Texts lines = client.Take();
    EXPECT_FALSE(lines.empty());
    for (const std::string& line : lines) {
        EXPECT_EQ(line.size(), 208u);
        EXPECT_EQ(line.find_first_not_of(line[5], 5), 205u) << line;
    }
}

TEST(TextHelpers, Numbers) {
    const struct {
        const char* text;
        unsigned hex;
        int decimal;
    } cases[] = {
        // clang-format off
        {"", 0, 0}, {"1f", 0x1f, 1}, {"6e\r\n", 0x6e, 6}, {" 1 f", 0x1f, 1}, {"xyz", 0, 0}, {"-12", 0x12, -12}, {",5", 5, 0},
        {"12ab34CD", 0x12ab34cd, 12}, {"9912ab34cd", 0x12ab34cd, 9912}, {"99999999999", 0x99999999, 2147483647},
        {"-99999999999", 0x99999999, -2147483647 - 1}, {"EITN 1a2b", 0xE1A2B, 0},
        // clang-format on
    };
    for (const auto& step : cases) {
        EXPECT_EQ(hatoi(step.text), step.hex) << step.text;
        EXPECT_EQ(Decimal(step.text), step.decimal) << step.text;
    }
}

TEST(TextHelpers, MystrtokTellsEmptyFieldsApart) {
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"a,b", {"a", "b", "-"}},       {",b", {"-", "b", "-"}},
        {"a,,c", {"a", "-", "c", "-"}}, {"", {"-", "-"}},
        {"a,", {"a", "-", "-"}},        {Long(1024, ",b"), {Long(1024), "b"}},
        {Long(1025, ",b"), {"-", "-"}}, {Long(1024), {Long(1024), "-"}},
        {Long(1025), {"-", "-"}},
    };
    for (const auto& [line, fields] : cases) {
        std::string text = line;
        char* from = text.data();
        for (const std::string& wanted : fields) {
            const char* const field = mystrtok(from, ",;");
            EXPECT_EQ(field != nullptr ? field : "-", wanted) << line;
            from = nullptr;
        }
    }
}
