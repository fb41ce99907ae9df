// A receiver between its master, its player, its browser and its viewer.
#include <gtest/gtest.h>

#include <algorithm>

#include "receiver_fixture.h"

namespace board {
namespace {

TEST_F(Receiver, ShowsAPageOverTheVideoAndPassesKeysToIt) {
    board->Infrared().Press(*KeyCode("UP"));  // goes nowhere: no browser, no forwarding
    EXPECT_EQ(board.Ask("URLhttp://10.0.0.9/menu,320,192,640,384,200,100"), "OK\r\n");
    const Lines shown = {"BROWSER_LAYER 50 50 100 100, alpha 100", "VIDEO_LAYER 50 50 100 100, alpha 100",
                         "BROWSER_START http://10.0.0.9/menu at 50 50 50 50, alpha 200"};
    EXPECT_EQ(OrdersUntil(BROWSER_START), shown);
    EXPECT_EQ(board->Settings().Requests().All().back().name, "CLOSE_CAPTION");
    board->Infrared().Press(*KeyCode("DOWN"));
    board->Infrared().Press(*KeyCode("RED"));
    EXPECT_EQ(board.Ask("URLkey123"), "OK\r\n");
    Lines keys;
    for (const auto& order : board->Browser().Orders().WaitForCount(3)) keys.push_back(order.text);
    std::sort(keys.begin(), keys.end());  // the key of the master comes on another thread
    EXPECT_EQ(keys, (Lines{"-k012", "-k035", "-k123"}));

    EXPECT_EQ(board.Ask("VSCALE,10,20,60,50,128"), "OK\r\n");
    const Lines scaled = {"BROWSER_LAYER 40 45 60 50, alpha 128", "VIDEO_LAYER 40 45 60 50, alpha 128"};
    EXPECT_EQ(OrdersUntil(VIDEO_LAYER), scaled);
    EXPECT_EQ(board.Ask("VSCALE,10,20,60,50,256"), "KO\r\n");
}

class SlowReceiver : public Receiver {  // so slow that a machine under load doesn't let go of a key
 protected:
    SlowReceiver() : Receiver({.clock = 4}) {}
};

TEST_F(SlowReceiver, SendsAHeldVolumeKeyAsRepeatsAndAnyOtherHeldKeyOnce) {
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

TEST_F(Receiver, CarriesSerialBytesBothWaysWhileForwarding) {
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

TEST_F(Receiver, TakesAnImageInPiecesAndHandsItToTheAgent) {
    std::string image(100'003, '\0');
    for (std::size_t i = 0; i < image.size(); ++i) image[i] = static_cast<char>(i * 7 + i / 251);
    EXPECT_TRUE(StartsWith(board.Ask("UPGR:too early"), "KO\r\n File too large or too small: 0"));
    EXPECT_EQ(board.Ask("UPGR" + std::to_string(image.size())), "OK\r\n");
    EXPECT_EQ(board.Ask("UNIT1,239.1.1.1,5001"), "KO\r\n");
    EXPECT_EQ(board.Ask("VERS"), "VERS0.82.14OK\r\n");
    constexpr std::size_t kPiece = 2035;
    for (std::size_t at = 0; at < image.size(); at += kPiece) {
        ASSERT_EQ(board.Ask("UPGR:" + image.substr(at, kPiece)), "OK\r\n") << "at " << at;
    }
    EXPECT_EQ(board.Ask("UPGR?"), "UPGRSTATUS2 OK\r\n\r\n");
    const auto burn = board->Settings().Burns().WaitFor([](const Burn&) { return true; });
    ASSERT_TRUE(burn);
    EXPECT_EQ(burn->image, "/mnt/hd4/multiple.tar");
    EXPECT_TRUE(FileText(burn->copy) == image) << "what was burnt isn't what was sent";
    EXPECT_EQ(board.Ask("DHCP1"), "KO\r\n");
}

TEST_F(Receiver, AnswersAChangeOfAddressBeforeItIsMade) {
    board->Settings().Set(Fault::kSlow);
    EXPECT_EQ(board.Ask("DHCP0,10.0.0.77,10.0.0.254,255.255.0.0"), "OK\r\n");
    EXPECT_NE(board->Settings().Requests().All().back().name, "NETWORK_COMMIT");
    EXPECT_TRUE(board->Settings().Requests().WaitFor([](const auto& r) { return r.name == "NETWORK_COMMIT"; }));
    board->Settings().Set(Fault::kNone);
    EXPECT_EQ(board.Ask("IP?"), "DHCP:0 MAC:02005e100001 IP:10.0.0.77 GW:10.0.0.254 NM:255.255.0.0 OK\r\n");
    board->Settings().AnswerWith("NETWORK_COMMIT", "refused");
    EXPECT_EQ(board.Ask("DHCP1"), "OK\r\n");
    EXPECT_EQ(board.Hear(), "KO\r\n");
    board->Settings().AnswerWith("IP_GATEWAY", "nothing");
    EXPECT_EQ(board.Ask("IP?"), "KO\r\n");
}

TEST_F(Receiver, ChangesItsResolutionAndPlaysOn) {
    EXPECT_EQ(board.Ask("UNIT3,239.1.1.1,5001"), "OK\r\n");
    OrdersUntil(START_STREAM_DISPLAY);
    EXPECT_EQ(board.Ask("RESOLUTION5"), "OK\r\n");
    EXPECT_EQ(board.Ask("RESOLUTION?"), "RESOLUTION5 OK\r\n");
    const Lines orders = OrdersUntil(START_STREAM_DISPLAY);
    EXPECT_EQ(orders.at(2), "STOP_ALL");
    EXPECT_EQ(orders.back(), "START_STREAM_DISPLAY 239.1.1.1:5001, programme 0, audio PID 0");
    EXPECT_EQ(FileText("/mnt/hd1/zul_def_startup"), "UNIT3,239.1.1.1,5001");
    board->Settings().Set(Fault::kLying);
    EXPECT_EQ(board.Ask("RESOLUTION2"), "KO\r\n");
}

TEST_F(Receiver, ServesWhilePlayerAndBrowserTakeNothing) {
    board->ThePlayer().Set(Fault::kFull);
    EXPECT_EQ(board.Ask("UNIT1,239.1.1.1,5001,0,1"), "OK\r\n") << "the order is lost, the item isn't";
    EXPECT_EQ(FileText("/mnt/hd1/zul_def_startup"), "UNIT1,239.1.1.1,5001,0,1");
    board->ThePlayer().Set(Fault::kNone);
    EXPECT_EQ(board->ThePlayer().Orders().All().size(), 0u);

    EXPECT_EQ(board.Ask("URLpage,0,0,640,384,255,0"), "OK\r\n");
    board->Browser().Set(Fault::kFull);
    board->Infrared().Press(*KeyCode("UP"));  // holds up the remote control's thread alone
    EXPECT_EQ(board.Ask("VERS"), "VERS0.82.14OK\r\n");
    board->Browser().Set(Fault::kNone);
    EXPECT_EQ(board->Browser().Orders().WaitForCount(1).at(0).text, "-k011");
}

class BareReceiver : public Receiver {
 protected:
    BareReceiver() : Receiver({.absent = {Process::kPlayer, Process::kBrowser, Process::kSerialPort}}) {}
};

TEST_F(BareReceiver, ServesWithoutPlayerBrowserAndSerialPort) {
    for (const char* request :
         {"UNIT1,239.1.1.1,5001,0,1", "URLpage", "URLkey5", "CALLBACK1", "UARTx", "VSCALE,0,0,100,100"}) {
        EXPECT_EQ(board.Ask(request), "OK\r\n") << request;
    }
    board->Infrared().Press(*KeyCode("OFF"));
    EXPECT_EQ(board.Hear().substr(0, 6), "REMOTE");
}

TEST(ReceiverAfterALossOfPower, PlaysWhatItPlayedLast) {
    ASSERT_TRUE(LiveOnce([] {
        LiveBoard board('R');
        ASSERT_TRUE(board.Start());
        EXPECT_EQ(board.Ask("UNIT1,239.1.1.1,5001,0,2"), "OK\r\n");
    }));
    LiveBoard board('R');
    ASSERT_TRUE(board.Start());
    const auto order =
        board->ThePlayer().Orders().WaitFor([](const PlayerOrder& o) { return o.command == START_STREAM_DISPLAY; });
    ASSERT_TRUE(order);
    EXPECT_EQ(order->size, 96u);
    EXPECT_EQ(order->record.streamStart.videoInfo.vType, 2 << 16);
}

}  // namespace
}  // namespace board
