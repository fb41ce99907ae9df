// A receiver's other commands: captions, the remote, the serial port, and what only a transmitter does.
#include <sys/msg.h>

#include "commands/command_fixture.h"
#include "commands/player_queue.h"
#include "core/log.h"
#include "serial_port.h"
#include "zul.h"

TEST_F(ReceiverTest, EveryRequestHasItsReply) {
    for (const char* request : {"SUBS6", "SUBSoff", "REMOTE6e\r\n", "UART", "VIDEO"}) EXPECT_EQ(Ask(request), kOk);
    for (const char* request : {"SUBS", "REMOTE00", "REMOTEff", "REMOTE", "SUART9600,8,N"})
        EXPECT_EQ(Ask(request), kKo);
    EXPECT_EQ(mStatus.IrSystemCode(), 0x916Eu);
    EXPECT_TRUE(PlayerQueue().Take().empty());
}

TEST_F(ReceiverTest, KeysAndSerialBytesReachTheMasterThatAsked) {
    board::SerialPort serial;
    EXPECT_EQ(Ask("REMOTE6e"), kOk);
    EXPECT_EQ(Ask("CALLBACK1"), kOk);
    serial.Send("a");
    EXPECT_EQ(mMaster.TakeCount(1), Texts{"UARTa"});
    const struct {
        long type;
        char text[16];
    } key{1, {0, 0, 0, 0, 11}};
    ASSERT_EQ(msgsnd(msgget(1250, 0), &key, 16, 0), 0);
    EXPECT_EQ(mMaster.TakeCount(1), Texts{std::string("REMOTE\x01\x04\x6e\x07\x00\xcc", 12)});
    EXPECT_EQ(Ask("CALLBACK10"), kOk) << "the log channel reads one character, the forwarding a number";
    EXPECT_NE(error_udp_sender.load(), nullptr);
    ASSERT_EQ(msgsnd(msgget(1250, 0), &key, 16, 0), 0);
    EXPECT_TRUE(mMaster.Take(100).empty());
    EXPECT_EQ(Ask("CALLBACK0"), kOk);
    EXPECT_EQ(error_udp_sender.load(), nullptr);
    ASSERT_EQ(msgsnd(msgget(1250, 0), &key, 16, 0), 0);
    EXPECT_TRUE(mMaster.Take(100).empty());
    PlayerQueue player;
    Boot();
    EXPECT_TRUE(player.Take().empty()) << "no start-up item";
}

TEST_F(ReceiverTest, AnAcceptedUnitIsPlayedAgainAtBoot) {
    PlayerQueue player;
    Ask("UNIT1,239.1.1.1,5000,0,1F");
    Ask("UNIT2");
    player.Take();
    BeaconStart('R');
    Boot();
    const auto orders = player.Take();
    ASSERT_EQ(orders.size(), 2u);
    EXPECT_STREQ(orders[1].streamStart.addr, "239.1.1.1");
    EXPECT_EQ(FileText("/mnt/hd1/zul_def_startup"), "UNIT1,239.1.1.1,5000,0,1F");
    Ask("UNIT0");
    player.Take();
    Boot();
    EXPECT_TRUE(player.Take().empty()) << "a stop is remembered too";
}
