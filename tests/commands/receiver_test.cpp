// A receiver's other commands: captions, the remote, the serial port, and what only a transmitter does.
#include <sys/msg.h>

#include "commands/command_fixture.h"
#include "commands/player_queue.h"
#include "zul.h"

namespace {

const Texts kOk{"OK\r\n"};
const Texts kKo{"KO\r\n"};

}  // namespace

TEST_F(ReceiverTest, EveryRequestHasItsReply) {
    const std::pair<const char*, Texts> steps[] = {
        {"SUBS6", kOk},           {"SUBSoff", kOk},    {"SUBS", kKo},         {"REMOTE00", kKo},
        {"REMOTEff", kKo},        {"REMOTE", kKo},     {"REMOTE6e\r\n", kOk}, {"TIME", kKo},
        {"EITN1,2", kKo},         {"TUNERMODE1", kKo}, {"Tuner://5", kKo},    {"SCA?", kKo},
        {"BLIND0", kKo},          {"UARTabc", kOk},    {"UART", kOk},         {"SUART9600,8,N", kKo},
        {"SUART9600,8,N,1", kOk}, {"VIDEO", kOk},
    };
    for (const auto& [request, reply] : steps) EXPECT_EQ(Ask(request), reply) << request;
    EXPECT_EQ(mStatus.IrSystemCode(), 0x916Eu);
    EXPECT_EQ(mAgent.Get("SERIAL_PARAMETERS"), "9600,N,8,1");
    EXPECT_TRUE(PlayerQueue().Take().empty());
}

TEST_F(ReceiverTest, KeysAndSerialBytesReachTheMasterThatAsked) {
    EXPECT_EQ(Ask("REMOTE6e"), kOk);
    EXPECT_EQ(Ask("CALLBACK1").back(), kOk[0]) << "whatever the log channel says of the missing serial port";
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
