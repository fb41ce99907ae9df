// A receiver that plays a stream of a network.
#include <gtest/gtest.h>

#include <thread>

#include "evidence.h"
#include "live_board.h"
#include "mux/multiplexer.h"
#include "story.h"

namespace {

int callsOfTheHost = 0;

}  // namespace

/// A host's own functions, of the same names as functions that the module exports.
extern "C" [[gnu::visibility("default")]] int Main(int argc, char** argv);
int Main(int /*argc*/, char** /*argv*/) { return ++callsOfTheHost; }
extern "C" [[gnu::visibility("default")]] int BeaconStart(char type);
int BeaconStart(char /*type*/) { return ++callsOfTheHost; }

namespace board {
namespace {

/// Repeats a request until its answer begins with one of `starts`: some answers come with the next tables.
testing::AssertionResult ComesTo(LiveBoard& board, const std::string& request, const std::vector<std::string>& starts) {
    std::string answer;
    for (int turn = 0; turn < 500; ++turn) {
        answer = board.Ask(request);
        for (const auto& start : starts) {
            if (answer.starts_with(start)) return testing::AssertionSuccess();
        }
        std::this_thread::sleep_for(Milliseconds(20));
    }
    return StartsWith(answer, starts.front());
}

using Lines = std::vector<std::string>;

/// Waits for an order to the player. \return its lines, as the board reports them, up to that one
Lines OrdersUntil(LiveBoard& board, std::int32_t command) {
    board->ThePlayer().Orders().WaitFor([command](const auto& order) { return order.cmmd.cmmdId == command; });
    Lines lines;
    for (const auto& order : board->ThePlayer().Orders().All()) lines.push_back(Describe(order));
    board->ThePlayer().Orders().Clear();
    return lines;
}

TEST(ReceivedStream, IsPlayedAndItsLanguagesAreKnown) {
    LiveBoard board('R');
    ASSERT_TRUE(board.Start());
    const auto multiplex = SmallMultiplex();
    const auto& programme = multiplex.programmes.at(0);
    const Sender sender("239.1.1.1", 5001, mux::MakeMultiplex(multiplex, {.milliseconds = 2000}));
    EXPECT_EQ(board.Ask("UNIT1,239.1.1.1,5001,0,1"), "OK\r\n");
    const Lines played = {"OSD_LAYER 50 50 100 100, alpha 0",
                          "START_STREAM_DISPLAY 239.1.1.1:5001, programme 1, audio PID 0"};
    EXPECT_EQ(OrdersUntil(board, START_STREAM_DISPLAY), played);
    EXPECT_EQ(callsOfTheHost, 0);
    EXPECT_TRUE(ComesTo(board, "STATUS", {"STATUS 1 239.1.1.1:5001 5:0001 0 1 0 0 "})) << "MPEG-2 video, AC-3 sound";
    EXPECT_TRUE(board->ThePlayer().Shown().video.IsVisible());

    EXPECT_EQ(board.Ask("CALLBACK0"), "OK\r\n");
    // The PMT may come before the PAT that gives the transport stream of its programme.
    EXPECT_TRUE(ComesTo(board, "LAN?",
                        {"LANG 0000 0001 eng00,spa01\r\nLANG 004d 0002 \r\nLANG 004d 0003 \r\nOK\r\n",
                         "LANG 004d 0001 eng00,spa01\r\nLANG 004d 0002 \r\nLANG 004d 0003 \r\nOK\r\n"}));
    EXPECT_EQ(board.Ask("LANGspa,1,eng,0"), "OK\r\n");
    const Lines switched = {"OSD_LAYER 50 50 100 100, alpha 0", "VIDEO_LAYER 50 50 100 100, alpha 255",
                            "DEBUG_CMMD 14 1 " + std::to_string(programme.audio.at(1).pid)};
    EXPECT_EQ(OrdersUntil(board, DEBUG_CMMD), switched);

    EXPECT_EQ(board.Ask("UNIT0"), "OK\r\n");
    const Lines stopped = {"VIDEO_LAYER 50 50 100 100, alpha 0", "OSD_LAYER 50 50 100 100, alpha 0", "STOP_ALL"};
    EXPECT_EQ(OrdersUntil(board, STOP_ALL), stopped);
    EXPECT_FALSE(board->ThePlayer().Shown().video.IsVisible());
    EXPECT_TRUE(ComesTo(board, "STATUS", {"STATUS 0 0.0.0.0:0 0:0000 2 3 0 0 "}));
    EXPECT_EQ(FileText("/mnt/hd1/zul_def_startup"), "UNIT0");

    EXPECT_EQ(board.Ask("UNIT1,239.1.1.1,5001,0,2"), "OK\r\n");
    EXPECT_TRUE(ComesTo(board, "STATUS", {"STATUS 1 239.1.1.1:5001 5:0002 0 1 0 0 "}));
    EXPECT_EQ(board.Ask("UNIT0"), "OK\r\n");
    EXPECT_EQ(board.Ask("URLpage,0,0,640,384,255,0"), "OK\r\n");
    EXPECT_NE(OrdersUntil(board, BROWSER_START).size(), 0u);
    EXPECT_TRUE(board->ThePlayer().Shown().browser.IsVisible());
    EXPECT_EQ(board->ThePlayer().Shown().browser.place.width, 50);
}

}  // namespace
}  // namespace board
