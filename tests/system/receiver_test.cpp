// A receiver between its master, its serial port and its remote control, and without what a receiver has beside it.
#include <gtest/gtest.h>

#include "live_board.h"

namespace board {
namespace {

TEST(Receiver, CarriesSerialBytesBothWaysWhileForwarding) {
    LiveBoard board('R');
    ASSERT_TRUE(board.Start());
    EXPECT_EQ(board.Ask("UARTlost"), "OK\r\n");
    EXPECT_EQ(board.Ask("CALLBACK1"), "OK\r\n");
    EXPECT_EQ(board.Ask(std::string("UART\x00\xff\r\nUART", 12)), "OK\r\n");
    EXPECT_EQ(board->Serial().WaitForBytes(8), std::string("\x00\xff\r\nUART", 8));
    board->Serial().Send(std::string("\x00z\n", 3));
    for (const char byte : {'\0', 'z', '\n'}) EXPECT_EQ(board.Hear(), std::string("UART") + byte);
    EXPECT_EQ(board.Ask("SUART2400,7,E,2"), "OK\r\n");
    EXPECT_EQ(board->Settings().Get("SERIAL_PARAMETERS"), "2400,E,7,2");
    EXPECT_EQ(board.Ask("CALLBACK0"), "OK\r\n");
    board->Serial().Send("x");
    EXPECT_EQ(board.Hear(Milliseconds(200)), "(silence)");
    board->Serial().HangUp();
    EXPECT_EQ(board.Ask("CALLBACK1"), "OK\r\n");
    EXPECT_EQ(board.Ask("UARTx"), "KO\r\n");
}

TEST(SlowReceiver, SendsAHeldVolumeKeyAsRepeatsAndAnyOtherHeldKeyOnce) {
    LiveBoard board('R', {.clock = 4});  // so slow that a machine under load doesn't let go of a key
    ASSERT_TRUE(board.Start());
    EXPECT_EQ(board.Ask("CALLBACK1"), "OK\r\n");
    const std::string head("REMOTE\x01\x04\x6e", 9);
    board->Infrared().Press(*KeyCode("GUIDE"));
    EXPECT_EQ(board.Hear(), head + std::string("\x0c\x00\xcc", 3));
    board->Infrared().Hold(*KeyCode("VOL_DOWN"), Milliseconds(400), Milliseconds(20));  // 1.6 s of the board
    EXPECT_EQ(board.Hear(), head + std::string("\x06\x00\xcc", 3));
    for (int repeat = 0; repeat < 3; ++repeat) EXPECT_EQ(board.Hear(), head + "\x06\x01\xcc") << repeat;
    while (board.Hear(Milliseconds(100)) != "(silence)") {
    }
    board->Infrared().Hold(*KeyCode("LEFT"), Milliseconds(300), Milliseconds(20));
    EXPECT_EQ(board.Hear(), head + std::string("\x09\x00\xcc", 3));
    EXPECT_EQ(board.Hear(Milliseconds(100)), "(silence)");
    EXPECT_EQ(board.Ask("CALLBACK0"), "OK\r\n");
    board->Infrared().Press(*KeyCode("MENU"));
    EXPECT_EQ(board->Browser().Orders().WaitForCount(1).at(0).text, "-k016");
}

TEST(BareReceiver, ServesWithoutPlayerBrowserAndSerialPort) {
    LiveBoard board('R', {.absent = {Process::kPlayer, Process::kBrowser, Process::kSerialPort}});
    ASSERT_TRUE(board.Start());
    for (const char* request :
         {"UNIT1,239.1.1.1,5001,0,1", "URLpage", "URLkey5", "CALLBACK1", "UARTx", "VSCALE,0,0,100,100"}) {
        EXPECT_EQ(board.Ask(request), "OK\r\n") << request;
    }
    board->Infrared().Press(*KeyCode("OFF"));
    EXPECT_EQ(board.Hear().substr(0, 6), "REMOTE");
}

}  // namespace
}  // namespace board
