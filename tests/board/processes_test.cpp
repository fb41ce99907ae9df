// The simulated board's processes, spoken to as the module does: raw queue messages, shared memory, files.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <fstream>
#include <iterator>

#include "browser_controller.h"
#include "infrared_service.h"
#include "queue.h"
#include "serial_port.h"
#include "settings_agent.h"
#include "status_block.h"
#include "system_daemon.h"

namespace board {
namespace {

/// A request to the agent. \return its answer up to the zero byte
std::string Ask(long type, const std::string& text) {
    Queue(1235).Send({type, text + std::string(4, '\0')});
    const auto answer = Queue(1236).Receive();
    EXPECT_EQ(answer->type, 772);
    return answer->bytes.c_str();
}

TEST(SettingsAgent, AnswersAsTheSettingsTypeAsks) {
    SettingsAgent agent("/mnt/burnt");
    const std::string arc = ".1.3.6.1.4.1.48217.3.";
    const struct {
        long type;
        std::string request;
        std::string answer;
    } rows[] = {
        {770, "5.13.0", " = INTEGER: 68026368 \r\n"},
        {769, "1.1.0 a 10.0.0.7", " = IpAddress: 10.0.0.7 \r\n"},
        {770, "1.1.0", " = IpAddress: 10.0.0.7 \r\n"},
        {769, "2.14.0 s \"2400,E,7,2\"", " = STRING: \"2400,E,7,2\" \r\n"},
        {769, "2.9.0 i four", " = Wrong Value"},
        {769, "2.9.0 s 4", " = Wrong Value"},
        {770, "9.9.9", " = No Such Object available on this agent at this OID"},
    };
    for (const auto& row : rows) {
        const std::string oid = arc + row.request.substr(0, row.request.find(' '));
        EXPECT_EQ(Ask(row.type, arc + row.request), oid + row.answer) << row.request;
    }
    EXPECT_EQ(agent.Get("IP_ADDRESS"), "10.0.0.7");
    EXPECT_EQ(agent.Requests().All()[1].name, "IP_ADDRESS");
    EXPECT_EQ(agent.Get("VIDEO_RESOLUTION"), "3");
}

TEST(SettingsAgent, BurnsTheImageItIsToldOfAndReadsItBack) {
    const struct {
        const char* into;
        const char* image;
        bool good;
    } rows[] = {{"/mnt/burnt", "/mnt/hd4/multiple.tar", true},
                {"/mnt/burnt", "/mnt/hd4/nothing.tar", false},
                {"/dev/full", "/mnt/hd4/multiple.tar", false}};
    std::ofstream("/mnt/hd4/multiple.tar") << "image";
    for (const auto& row : rows) {
        SettingsAgent agent(row.into);
        Ask(769, ".1.3.6.1.4.1.48217.3.5.32.0 s ide://" + std::string(row.image));
        const auto burn = agent.Burns().WaitFor([](const Burn&) { return true; });
        ASSERT_TRUE(burn);
        EXPECT_EQ(burn->good, row.good) << row.into << " " << row.image;
        EXPECT_EQ(burn->image, row.image);
    }
    std::ifstream copy("/mnt/burnt");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(copy), {}), "image");
}

TEST(SettingsAgent, AFullQueueTakesNothingUntilTheAgentReadsAgain) {
    SettingsAgent agent("/mnt/burnt");
    agent.Set(Fault::kFull);
    EXPECT_FALSE(Queue(1235).TrySend({770, ".1"}));
    agent.Set(Fault::kNone);
    Ask(770, ".1");
    EXPECT_EQ(agent.Requests().All().size(), 1u);
}

/// A remount order. \return mount state in the answer, or nothing without one
std::optional<int> Remount(int part, int writable) {
    std::array<std::int32_t, 15> order{73, 1689, 1, 0, part, writable, 25};
    Queue(1240).Send({20, std::string(reinterpret_cast<const char*>(order.data()), sizeof order)});
    for (int turn = 0; turn < 50; ++turn) {
        if (const auto answer = Queue(1689).TryReceive()) {
            std::memcpy(order.data(), answer->bytes.data(), sizeof order);
            EXPECT_EQ(order[0], 74);
            return order[5];
        }
        std::this_thread::sleep_for(Milliseconds(10));
    }
    return std::nullopt;
}

bool CanWrite(const char* path) { return std::ofstream(path).is_open(); }

TEST(SystemDaemon, APartitionTakesWritesOnlyBetweenItsRemounts) {
    Queue answers(1689);
    {
        SystemDaemon daemon;
        ASSERT_TRUE(daemon.ReallyMounts());
        EXPECT_FALSE(CanWrite("/mnt/hd1/file"));
        EXPECT_EQ(Remount(1, 1), 1);
        EXPECT_TRUE(CanWrite("/mnt/hd1/file"));
        EXPECT_FALSE(CanWrite("/mnt/hd4/file"));
        {
            const std::ofstream open("/mnt/hd1/file");
            EXPECT_EQ(Remount(1, 0), 1) << "busy while a file is open for writing";
        }
        EXPECT_EQ(Remount(1, 0), 0);
        EXPECT_FALSE(CanWrite("/mnt/hd1/file"));
        daemon.Set(Fault::kLying);
        EXPECT_EQ(Remount(1, 1), 0);
        daemon.Set(Fault::kSilent);
        EXPECT_EQ(Remount(1, 1), std::nullopt);
        EXPECT_TRUE(daemon.IsWritable(1));
        EXPECT_EQ(daemon.Requests().All().back().count, 25);
    }
    EXPECT_TRUE(CanWrite("/mnt/hd4/file"));
    EXPECT_FALSE(Queue::Find(1240)) << "an absent daemon has no queue";
}

TEST(InfraredService, AHeldKeyComesOverAndOver) {
    InfraredService service;
    service.Press(*KeyCode("MENU"));
    service.Hold(*KeyCode("VOL_DOWN"), Milliseconds(50), Milliseconds(20));
    for (const int code : {16, 45, 45, 45}) {
        const auto message = Queue(1250).TryReceive();
        ASSERT_TRUE(message);
        EXPECT_EQ(message->type, 1);
        EXPECT_EQ(message->bytes.at(4), code);
    }
    EXPECT_FALSE(Queue(1250).TryReceive());
    EXPECT_EQ(KeyCode("SCROLL"), std::nullopt);
}

TEST(BrowserController, AnswersStatusRequestsOnTheQueueTheyName) {
    BrowserController controller;
    Queue answers(31561);
    Queue(945602).Send({1, std::string("-k016\0 ", 7)});
    controller.SetStatus(7);
    const std::array<std::int32_t, 8> request{71, 31561, 2};
    Queue(945602).Send({2, std::string(reinterpret_cast<const char*>(request.data()), sizeof request)});
    std::array<std::int32_t, 8> answer{};
    std::memcpy(answer.data(), answers.Receive()->bytes.data(), sizeof answer);
    EXPECT_EQ(answer[2], 7);
    EXPECT_EQ(controller.Orders().All()[0].text, "-k016");
    EXPECT_TRUE(controller.Orders().All()[1].statusRequest);
}

TEST(SerialPort, CarriesEveryByteValueBothWays) {
    std::string all;
    for (int value = 0; value < 256; ++value) all += static_cast<char>(value);
    SerialPort port;
    const int fd = open("/dev/ttyS0", O_RDWR | O_NOCTTY);
    ASSERT_NE(fd, -1);
    ASSERT_EQ(write(fd, all.data(), all.size()), 256);
    EXPECT_EQ(port.WaitForBytes(256), all);
    port.Send(all);
    std::string got;
    for (char byte; got.size() < all.size() && read(fd, &byte, 1) == 1;) got += byte;
    EXPECT_EQ(got, all);
    port.HangUp();
    char byte;
    EXPECT_LE(read(fd, &byte, 1), 0);
    close(fd);
}

TEST(StatusBlock, ASegmentTooSmallKeepsOthersFromTheBlock) {
    {
        StatusBlock block;
        block.TunerStrength(4);
        EXPECT_EQ(block.TunerStrength(), 4);
    }
    const StatusBlock small(StatusBlock::Segment::kTooSmall);
    EXPECT_THROW(StatusBlock(), std::system_error);
}

}  // namespace
}  // namespace board
