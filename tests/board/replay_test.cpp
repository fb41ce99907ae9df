// Records of a master: what is read, what is compared, what is refused.
#include "replay.h"

#include <gtest/gtest.h>

#include <sstream>

namespace board {
namespace {

/// A line of a record, `second` being that of its minute.
std::string Line(int second, const char* direction, const char* peer, const char* hex) {
    return std::string(R"({"time":"2026-03-01T19:30:)") + std::to_string(10 + second) + R"(.250Z","direction":")" +
           direction + R"(","peer":")" + peer + R"(","text":"","hex":")" + hex + "\"}\n";
}

const char* const kBoard = "10.0.0.1:5000";

std::vector<RecordedRequest> Read(const std::string& record, const std::string& address = "") {
    std::istringstream lines(record);
    return ReadRecord(lines, 5000, address);
}

TEST(Record, HoldsOneBoardsRequestsWithWhatCameBack) {
    const auto requests = Read(Line(0, "sent", "10.0.0.255:5000", "5a554c") + Line(1, "sent", kBoard, "424c494e4430") +
                               Line(2, "received", "10.0.0.1:41000", "424c494e4453") + "\n" +
                               Line(3, "received", "10.0.0.2:2008", "4f4b") + Line(4, "received", kBoard, "4f4b0d0a") +
                               Line(5, "received", "10.0.0.1:41001", "5a554c423c") +  // a beacon
                               Line(9, "sent", kBoard, "53544154555300"));
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].request, "BLIND0");
    EXPECT_EQ(requests[0].messages, std::vector<std::string>{"BLINDS"});
    EXPECT_EQ(requests[0].answers, std::vector<std::string>{"OK\r\n"});
    EXPECT_EQ(requests[1].request, std::string("STATUS\0", 7));
    EXPECT_EQ(requests[1].pause, Milliseconds(5000));
    EXPECT_EQ(requests[1].line, 8);
    EXPECT_TRUE(requests[1].answers.empty());
}

TEST(Record, JoinsAWaitAndNoOrdersThatAreAlike) {
    const auto ask = [](const char* hex, const char* answer) {
        return Line(0, "sent", kBoard, hex) + (answer[0] != '\0' ? Line(0, "received", kBoard, answer) : "");
    };
    const auto wait = Read(ask("41", "") + ask("41", "31") + ask("41", "32") + ask("41", ""));
    ASSERT_EQ(wait.size(), 1u);
    EXPECT_TRUE(wait[0].isWait);
    EXPECT_EQ(wait[0].answers, std::vector<std::string>{"2"});
    EXPECT_EQ(Read(ask("42", "4f4b") + ask("42", "4f4b") + ask("41", "4f4b")).size(), 3u);
}

TEST(Record, RefusesWhatItCannotPlay) {
    const std::string good = Line(0, "sent", kBoard, "41") + Line(0, "received", kBoard, "42");
    const std::string other = Line(0, "sent", "10.0.0.2:5000", "41") + Line(0, "received", "10.0.0.2:5000", "42");
    EXPECT_EQ(Read(good + other, "10.0.0.2").size(), 1u);
    for (const std::string& record :
         {std::string(), good + other, good + "{", good + "{}\n", good + "[1]\n", Line(0, "seen", kBoard, "41") + good,
          Line(0, "sent", "10.0.0.1", "41") + good, Line(0, "sent", kBoard, "4") + good,
          Line(0, "sent", kBoard, "4x") + good, Line(0, "sent", "10.0.0.1:x", "41") + good}) {
        EXPECT_THROW(Read(record), std::runtime_error) << record;
    }
}

TEST(Record, ComparesAllButWhatVaries) {
    const struct {
        std::string a, b;
        bool alike;
    } rows[] = {
        {"STATUS 0 0 0.0.0.0:0 0:1:ff:[] F:ATSC E:0 C:\"NO CAM\" 7% OK\r\n",
         "STATUS 0 0 0.0.0.0:0 0:1:ff:[] F:ATSC E:0 C:\"NO CAM\" 100% OK\r\n", true},
        {"STATUS 0 :0 0:0000 2 3 0 0 7%OK\r\n", "STATUS 0 :0 0:0000 2 3 0 0 12%OK\r\n", true},
        {"STATUS 0 :0 0:0000 2 3 0 0 7%OK\r\n", "STATUS 0 :0 5:0000 2 3 0 0 7%OK\r\n", false},
        {"TIME d3a4 1930 OK\r\n", "TIME ffff 0000 OK\r\n", true},
        {"TIME d3a4 1930 OK\r\n", "TIME d3a4 1930OK\r\n", false},
        {"DHCP:0 MAC:02005e100001 IP:10.0.0.1 GW:a NM:b OK\r\n", "DHCP:0 MAC:1 IP:1 GW:1 NM:1 OK\r\n", true},
        {"DHCP:0 MAC:02005e100001 IP:10.0.0.1 GW:a NM:b OK\r\n", "DHCP:1 MAC:1 IP:1 GW:1 NM:1 OK\r\n", false},
        {"ZULB<Device-UUID=ZUL_IPTV_TX_QAM-02005e100001><", "ZULB<Device-UUID=ZUL_IPTV_TX_QAM-02005e100002><", true},
        {{"\0\7\2\2", 4}, {"\0\x09\3\2", 4}, true},
        {{"\0\7\2\5", 4}, {"\0\x09\3\5", 4}, false},
        {"VERS0.82.14OK\r\n", "VERS0.82.13OK\r\n", false},
    };
    for (const auto& row : rows) EXPECT_EQ(Comparable(row.a) == Comparable(row.b), row.alike) << row.a << row.b;
}

}  // namespace
}  // namespace board
