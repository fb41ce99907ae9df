// The examples of a host and of a settings agent, separate processes, with the shipped module.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "board.h"
#include "stream_tap.h"
#include "udp_client.h"
#include "zul.h"
#include "zul_version.h"

namespace board {
namespace {

static_assert(ZUL_HEADER_VERSION == ZUL_VERSION_MAJOR * 10000 + ZUL_VERSION_MINOR * 100 + ZUL_VERSION_PATCH);

class ExampleHost : public testing::TestWithParam<char> {};
INSTANTIATE_TEST_SUITE_P(Roles, ExampleHost, testing::Values('T', 'R'),
                         [](const auto& role) { return role.param == 'T' ? "Transmitter" : "Receiver"; });

TEST_P(ExampleHost, MakesABoardThatServesAndTakesData) {
    const std::string packet = std::string("\x47\x00\x31\x10", 4) + std::string(184, '\x5A');
    const std::string section =
        std::string("\x42\xF0\x09", 3) + std::string(9, '\x5A');  // of a table that isn't analysed
    const char role = GetParam();
    const auto absent = role == 'T' ? std::set{Process::kSettingsAgent} : std::set<Process>{};
    // The transmitter has the example's agent, which ends when its queue is removed.
    Board board({.role = role, .module = ZUL_MODULE, .band = {}, .absent = absent});
    FILE* const agent = absent.empty() ? nullptr : popen(ZUL_EXAMPLE_AGENT " 2>/dev/null", "r");
    const std::string command = ZUL_EXAMPLE_HOST " " + std::string(1, role) + " " ZUL_MODULE;
    FILE* const host = popen(command.c_str(), "w");
    ASSERT_NE(host, nullptr);
    StreamTap tap(
        "239.1.1.1", 5001, 1, 0, [](auto) {}, [](auto) {});
    const Client master;
    const auto asks = [&](const char* request) {
        master.Send(role == 'T' ? 5000 : 2008, request);
        return master.Hear(500);
    };
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    const auto comesTo = [&](const char* request, const std::string& answer) {
        while (std::chrono::steady_clock::now() < until) {
            if (asks(request) == answer) return true;
        }
        return false;
    };
    EXPECT_TRUE(comesTo("VERS", "VERS" ZUL_VERSION "OK\r\n"));
    if (role == 'T') {
        EXPECT_TRUE(comesTo("UNIT1,239.1.1.1,5001,7", "OK\r\n"));
        while (tap.BytesReceived() == 0 && std::chrono::steady_clock::now() < until) {
            for (int i = 0; i < 174; ++i) std::fwrite(packet.data(), 1, packet.size(), host);
            std::fflush(host);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        EXPECT_GT(tap.BytesReceived(), 0u);
    } else {
        EXPECT_EQ(std::fwrite(section.data(), 1, section.size(), host), section.size());
    }
    EXPECT_EQ(pclose(host), 0);
    ClearBoardMemory();
    if (agent != nullptr) pclose(agent);
}

}  // namespace
}  // namespace board
