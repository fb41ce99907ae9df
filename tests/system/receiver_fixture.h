/// A receiver that has started, and its player's orders.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "live_board.h"
#include "story.h"

namespace board {

class Receiver : public testing::Test {
 protected:
    explicit Receiver(LiveOptions options = {}) : board('R', std::move(options)) {}
    void SetUp() override { ASSERT_TRUE(board.Start()); }

    /// Waits for an order to the player. \return its lines, as the board tells them, up to that one
    std::vector<std::string> OrdersUntil(std::int32_t command) {
        board->ThePlayer().Orders().WaitFor([command](const PlayerOrder& order) { return order.command == command; });
        std::vector<std::string> lines;
        for (const PlayerOrder& order : board->ThePlayer().Orders().All()) lines.push_back(Describe(order));
        board->ThePlayer().Orders().Clear();
        return lines;
    }

    LiveBoard board;
};

using Lines = std::vector<std::string>;

}  // namespace board
