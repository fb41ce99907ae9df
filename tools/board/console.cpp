// The console of zul-board.
#include "console.h"

#include <signal.h>
#include <unistd.h>

#include <exception>
#include <iostream>
#include <sstream>
#include <thread>
#include <utility>

#include "common/byte_text.h"
#include "story.h"

namespace board {

namespace {

std::string PressKey(Board& board, std::istringstream& words, bool held) {
    std::string name;
    int time = 0;
    words >> name;
    if (held && !(words >> time)) return "hold for how long?";
    const auto code = KeyCode(name);
    if (!code) return "the remote has no key " + name;
    if (held) {
        board.Infrared().Hold(*code, Milliseconds(time));
    } else {
        board.Infrared().Press(*code);
    }
    return held ? name + " let go" : name + " pressed";
}

}  // namespace

std::string ObeyOrder(Board& board, const std::string& line) try {
    std::istringstream words(line);
    std::string order;
    words >> order;
    if (order == "key" || order == "hold") return PressKey(board, words, order == "hold");
    std::string rest;
    std::getline(words >> std::ws, rest);
    if (order == "serial") {
        board.Serial().Send(common::Unescaped(rest));
        return "bytes sent into the serial port";
    }
    if (order == "screen") {
        const Screen screen = board.Shown();
        if (!DrawScreen(screen, rest, kDisk + "/screen")) return "the screen can't be drawn";
        return rest + " shows " + Describe(screen);
    }
    if (order == "signal") {
        std::istringstream fields(rest);
        int channel = 0;
        Channel content;
        if (!(fields >> channel >> content.stream >> content.strength)) return "signal CHANNEL FILE STRENGTH";
        board.TheTuner().Put(channel, content);
        return "signal changed";
    }
    if (order == "quit") {
        kill(getpid(), SIGTERM);
        return "going";
    }
    return "unknown order";
} catch (const std::exception& error) {
    return std::string("not on this board: ") + error.what();
}

void ReadOrders(Board& board, std::function<void(const std::string&)> answer) {
    signal(SIGTTIN, SIG_IGN);  // in the background of a shell there are no orders, and the board goes on
    std::thread([&board, answer = std::move(answer)] {
        for (std::string line; std::getline(std::cin, line);) {
            if (!line.empty()) answer(ObeyOrder(board, line));
        }
    }).detach();
}

}  // namespace board
