// A receiver's other commands: captions, the remote, the serial port, and what only a transmitter does.
#include <sys/msg.h>

#include "commands/command_fixture.h"
#include "core/log.h"
#include "serial_port.h"
#include "zul.h"

TEST_F(ReceiverTest, EveryRequestHasItsReply) {
    for (const char* request : {"SUBS6", "SUBSoff", "REMOTE6e\r\n", "UART", "VIDEO"}) EXPECT_EQ(Ask(request), kOk);
    for (const char* request : {"SUBS", "REMOTE00", "REMOTEff", "REMOTE", "SUART9600,8,N"})
        EXPECT_EQ(Ask(request), kKo);
    for (const auto& row : Keywords()) {
        if (row.roles != Roles::kTransmitter) continue;
        EXPECT_EQ(Ask(std::string(row.keyword)), kKo) << row.keyword;
    }
    EXPECT_EQ(mStatus.IrSystemCode(), 0x916Eu);
    EXPECT_TRUE(PlayerQueue().Take().empty());
}

TEST_F(ReceiverTest, KeysAndSerialBytesReachTheMasterThatAsked) {
    board::SerialPort serial;
    const struct {
        long type;
        char text[16];
    } key{1, {0, 0, 0, 0, 11}};
    // The log channel reads one character, the forwarding a number.
    for (const auto& [request, forwards, logs] :
         {std::tuple{"CALLBACK1", true, true}, {"CALLBACK10", false, true}, {"CALLBACK0", false, false}}) {
        EXPECT_EQ(Ask(request), kOk);
        EXPECT_EQ(error_udp_sender.load() != nullptr, logs) << request;
        serial.Send("a");
        EXPECT_EQ(mMaster.Take(forwards ? 2000 : 50), Texts(forwards, "UARTa")) << request;
        ASSERT_EQ(msgsnd(msgget(1250, 0), &key, 16, 0), 0);
        EXPECT_EQ(mMaster.Take(forwards ? 2000 : 50), Texts(forwards, {"REMOTE\x01\x04\0\x07\0\xcc", 12})) << request;
    }
}

TEST_F(ReceiverTest, AnAcceptedUnitIsPlayedAgainAtBoot) {
    const PlayerQueue player;
    BeaconStart('R');
    Boot();
    EXPECT_TRUE(player.Take().empty()) << "no start-up item";
    for (const auto& [request, orders] : {std::pair{"UNIT1,239.1.1.1,5000,0,1F", 2u}, {"UNIT0", 0u}}) {
        for (const char* asked : {request, "UNIT2"}) Ask(asked);
        player.Take();
        Boot();
        EXPECT_EQ(player.Take().size(), orders) << request;
        EXPECT_EQ(FileText("/mnt/hd1/zul_def_startup"), request);
    }
}
