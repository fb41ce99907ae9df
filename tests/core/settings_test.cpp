// The settings bridge, the remount and the beacon, against the board's other processes.
#include <gtest/gtest.h>

#include <sys/msg.h>

#include <cstring>
#include <thread>

#include "udp_client.h"
#include "fast_machine.h"
#include "settings_agent.h"
#include "snmplocal.h"
#include "system_daemon.h"
#include "systemmanager.h"
#include "udpcom.h"
#include "zul.h"

TEST(SnmpLocal, ReadsValuesInEveryForm) {
    board::SettingsAgent agent("/mnt/burnt");
    SnmpLocal snmp;
    struct Case { const char* answer; const char* value; };  // a null value: the answer can't be read
    const Case cases[] = {
        {"A = B: 16", "16"}, {"A = B: \"abc\" \r\n", "abc"}, {"A = B: \"\"", ""}, {"A = B: x y\rz\n", "x y"}, {"A = B:", ""}, {"A = B: ", ""},
        {"A = B: 10.0.0.1 ", "10.0.0.1"}, {"A B: 5", nullptr}, {"A = B", nullptr}, {"", nullptr}, {"A = B: \"", ""},
    };
    for (const Case& step : cases) {
        agent.AnswerWith("TUNER_MODE", step.answer);
        const char* const value = snmp.SnmpGet(Oid(TUNER_MODE));
        ASSERT_EQ(value != nullptr, step.value != nullptr) << step.answer;
        if (value != nullptr) { EXPECT_STREQ(value, step.value) << step.answer; }
    }
    agent.AnswerWith("TUNER_MODE", "A = B: " + std::string(3000, 'v'));
    EXPECT_EQ(std::strlen(snmp.SnmpGet(Oid(TUNER_MODE))), 1024u - 7u) << "cut without error";
    EXPECT_STREQ(snmp.SnmpSet("%s a %s", Oid(IP_ADDRESS), "1%d%s"), "1%d%s") << "a value is never a format";
    EXPECT_STREQ(snmp.SnmpGet(Oid(IP_ADDRESS)), "1%d%s");
}

TEST(SnmpLocal, SendsTheTextAndFourBytesMore) {
    SnmpLocal snmp;
    std::thread module([&] { EXPECT_STREQ(snmp.SnmpSet("%s i %d", Oid(REBOOT), 0), "0"); });
    struct { long type; char text[2048]; } message;
    ASSERT_EQ(msgrcv(msgget(1235, 0), &message, sizeof message.text, 0, 0), 30 + 4);
    EXPECT_EQ(message.type, 0x301);
    EXPECT_STREQ(message.text, ".1.3.6.1.4.1.48217.3.5.7.0 i 0");
    message.type = 0x304;
    std::strcpy(message.text, "x = INTEGER: 0");
    ASSERT_EQ(msgsnd(msgget(1236, 0), &message, 15, 0), 0);
    module.join();
}

TEST(SystemManager, TellsEveryWayARemountFails) {
    fast_machine::TakeSleeps();
    EXPECT_EQ(SystemManager::RemountHd(1, 1), -1) << "no daemon";
    EXPECT_TRUE(fast_machine::TakeSleeps().empty());
    board::SystemDaemon daemon;
    EXPECT_EQ(SystemManager::RemountHd(1, 1), 0);
    EXPECT_TRUE(daemon.IsWritable(1));
    EXPECT_EQ(SystemManager::RemountHd(1, 0), 0);
    EXPECT_FALSE(daemon.IsWritable(1));
    const auto requests = daemon.Requests().All();
    EXPECT_EQ(requests[0].replyKey, 1689);
    EXPECT_EQ(requests[0].replyType, 1);
    EXPECT_EQ(requests[0].count, 25);
    daemon.Set(board::Fault::kLying);
    EXPECT_EQ(SystemManager::RemountHd(1, 1), -4);
    daemon.Set(board::Fault::kSilent);
    fast_machine::TakeSleeps();
    EXPECT_EQ(SystemManager::RemountHd(1, 1), -3);
    EXPECT_EQ(fast_machine::TakeSleeps().size(), 60u) << "a minute";
}

namespace {

/// Beacons that reach the group.
class BeaconListener {
 public:
    BeaconListener() { EXPECT_TRUE(mServer.Connect(52428, "239.255.250.250")); }
    /// \return beacons within some seconds of the module
    int Within(int seconds) {
        int count = 0;
        while (mServer.WaitForData(seconds, 0)) {
            char text[256];
            mServer.Receive(text, sizeof text - 1, 0);
            last = text;
            ++count;
            seconds = 1;
        }
        return count;
    }
    std::string last;

 private:
    UdpServer mServer;
};

}  // namespace

TEST(Beacon, SendsUntilAMasterIsThereAndAgainAfterSilence) {
    global_debug_flag = 0;
    fast_machine::SetSpeed(100);
    BeaconListener listener;
    EXPECT_EQ(BeaconGetCount(), 0u);
    ASSERT_EQ(BeaconStart('T'), 0);
    for (int i = 0; i < 500 && BeaconGetCount() == 0; ++i) usleep(2000);
    EXPECT_EQ(BeaconGetCount(), 1u) << "the network is ready";
    const std::string text = "ZULB<Device-UUID=ZUL_IPTV_TX_QAM-02005e100001><Device-SDKClass=SettopBox><Device-Make=ZUL-Marvane>"
                             "<Device-Model=ZUL_IPTV_TX_QAM><Device-Revision=0.82.14>\r\n";
    EXPECT_EQ(BeaconGetString(), text);
    EXPECT_EQ(listener.Within(20), 0) << "commands aren't served yet";
    BeaconSetCommandReady();
    EXPECT_EQ(listener.Within(10), 1) << "one or two seconds behind the start";
    EXPECT_EQ(listener.last, text);
    EXPECT_EQ(BeaconGetCount(), 1u) << "that one isn't counted";
    EXPECT_EQ(listener.Within(75), 1);
    EXPECT_EQ(BeaconGetCount(), 2u);
    BeaconTellThatUdpTrafficReceived();
    EXPECT_EQ(listener.Within(500), 0) << "a master is there";
    EXPECT_GE(listener.Within(300), 1) << "more than ten minutes of silence";
    BeaconTellThatUdpTrafficReceived();
    EXPECT_EQ(listener.Within(150), 0);
    UdpSender master;
    ASSERT_TRUE(master.Connect(52429, "239.255.250.250"));
    master.Send("wake up please, this is long", 28);
    EXPECT_EQ(listener.Within(10), 1) << "a restart request is answered at once";
    BeaconTellThatUdpTrafficReceived();
    EXPECT_EQ(listener.Within(150), 0);
    BeaconRestart();
    EXPECT_GE(listener.Within(75), 1);
}
