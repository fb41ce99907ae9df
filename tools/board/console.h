/// Orders to a running board on its standard input.
#pragma once

#include <functional>
#include <string>

#include "board.h"

namespace board {

inline constexpr const char* kConsoleHelp =
    "While it runs it takes orders on its standard input, one a line:\n"
    "  key NAME               a press of the remote control: UP, MENU, NUM_1, VOL_DOWN, ...\n"
    "  hold NAME MS           the same, held down for so many milliseconds\n"
    "  serial TEXT            bytes into the serial port; \\n, \\r and \\xNN stand for what they do elsewhere\n"
    "  screen FILE            saves the screen as PNG\n"
    "  signal CHANNEL FILE N  puts a stream on a channel of the tuner with strength N\n"
    "  quit                   as Ctrl-C";

/// Executes one order. \return its result as text
std::string ObeyOrder(Board& board, const std::string& line);

/// Starts a thread that reads orders until the input ends.
/// \param answer  called with the result of each
void ReadOrders(Board& board, std::function<void(const std::string&)> answer);

}  // namespace board
