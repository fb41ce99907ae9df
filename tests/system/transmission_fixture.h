/// A transmitter that has started and sends the first programme of a channel, and a member of its group.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "evidence.h"
#include "live_board.h"

namespace board {

constexpr const char* kUnit = "UNIT1,239.1.1.1,5001,7,4d,1";

class Transmission : public testing::Test {
 protected:
    explicit Transmission(int clock = 20) : board('T', {.band = {{7, {"/mnt/seven.ts", 5}}}, .clock = clock}) {}

    void SetUp() override {
        ASSERT_TRUE(board.Start());
        ASSERT_EQ(board.Ask(kUnit), "OK\r\n");
    }

    const mux::Description multiplex = SmallMultiplex();
    const std::vector<std::uint8_t> played = WriteStream("/mnt/seven.ts", multiplex);
    GroupListener group{"239.1.1.1", 5001};
    LiveBoard board;
};

}  // namespace board
