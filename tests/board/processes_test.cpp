// The simulated board's processes, spoken to as the module does: raw queue messages, shared memory, files.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <fstream>
#include <iterator>

#include "browser_controller.h"
#include "queue.h"
#include "settings_agent.h"
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

/// A remount order. \return mount state in the answer
int Remount(int part, int writable) {
    std::array<std::int32_t, 15> order{73, 1689, 1, 0, part, writable, 25};
    Queue(1240).Send({20, std::string(reinterpret_cast<const char*>(order.data()), sizeof order)});
    std::memcpy(order.data(), Queue(1689).Receive()->bytes.data(), sizeof order);
    EXPECT_EQ(order[0], 74);
    return order[5];
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
    }
    EXPECT_TRUE(CanWrite("/mnt/hd4/file"));
    EXPECT_FALSE(Queue::Find(1240)) << "an absent daemon has no queue";
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

}  // namespace
}  // namespace board
