// The settings bridge, the remount and the beacon, against the board's other processes.
#include <gtest/gtest.h>

#include <sys/msg.h>
#include <unistd.h>

#include <cstring>
#include <thread>

#include "core/log.h"
#include "core/snmplocal.h"
#include "core/systemmanager.h"
#include "core/udpcom.h"
#include "fast_machine.h"
#include "settings_agent.h"
#include "system_daemon.h"
#include "udp_client.h"
#include "zul.h"
#include "zul_version.h"

TEST(SnmpLocal, ReadsValuesInEveryForm) {
    board::SettingsAgent agent("/mnt/burnt");
    SnmpLocal snmp;
    const std::pair<const char*, const char*> readable[] = {
        // clang-format off
        {"A = B: 16", "16"}, {"A = B: \"abc\" \r\n", "abc"}, {"A = B: \"\"", ""}, {"A = B: x y\rz\n", "x y"},
        {"A = B:", ""}, {"A = B: ", ""}, {"A = B: 10.0.0.1 ", "10.0.0.1"}, {"A = B: \"", ""},
        // clang-format on
    };
    for (const auto& [answer, value] : readable) {
        agent.AnswerWith("TUNER_MODE", answer);
        EXPECT_STREQ(snmp.SnmpGet(Oid(TUNER_MODE)), value) << answer;
    }
    for (const char* answer : {"A B: 5", "A = B", ""}) {
        agent.AnswerWith("TUNER_MODE", answer);
        EXPECT_EQ(snmp.SnmpGet(Oid(TUNER_MODE)), nullptr) << answer;
    }
    agent.AnswerWith("TUNER_MODE", "A = B: " + std::string(3000, 'v'));
    EXPECT_EQ(std::strlen(snmp.SnmpGet(Oid(TUNER_MODE))), 1024u - 7u) << "cut without error";
    EXPECT_STREQ(snmp.SnmpSet("%s a %s", Oid(IP_ADDRESS), "1%d%s"), "1%d%s") << "a value is never a format";
    EXPECT_STREQ(snmp.SnmpGet(Oid(IP_ADDRESS)), "1%d%s");
}

TEST(SnmpLocal, SendsTheTextAndFourBytesMore) {
    SnmpLocal snmp;
    std::thread module([&] { EXPECT_STREQ(snmp.SnmpSet("%s i %d", Oid(REBOOT), 0), "0"); });
    struct {
        long type;
        char text[2048];
    } message;
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
    daemon.Set(board::Fault::kFull);
    fast_machine::TakeSleeps();
    EXPECT_EQ(SystemManager::RemountHd(1, 1), -2);
    EXPECT_TRUE(fast_machine::TakeSleeps().empty()) << "the request isn't waited for";
}

TEST(SystemManager, AnAnswerThatCameTooLateIsNotTakenForTheNext) {
    board::SystemDaemon daemon;
    daemon.Set(board::Fault::kSilent);
    EXPECT_EQ(SystemManager::RemountHd(1, 1), -3);
    const board::RemountRequest request = daemon.Requests().All().back();
    const std::int32_t late[15] = {74, 0, 0, 0, 0, 1};  // done: writable
    board::Queue::Find(request.replyKey)
        ->Send({request.replyType, std::string(reinterpret_cast<const char*>(late), sizeof late)});
    daemon.Set(board::Fault::kNone);
    fast_machine::SetSpeed(10);
    EXPECT_EQ(SystemManager::RemountHd(1, 0), 0);
}

TEST(SystemManager, CallersTakeTurns) {
    board::SystemDaemon daemon;
    std::vector<std::thread> callers;
    for (const int part : {1, 4}) {  // with another answer each: one that is taken by the other caller is a failure
        callers.emplace_back([part] {
            for (int turn = 0; turn < 50; ++turn) EXPECT_EQ(SystemManager::RemountHd(part, part == 1 ? 1 : 0), 0);
        });
    }
    for (std::thread& caller : callers) caller.join();
}

namespace {

/// Beacons that reach the group.
class BeaconListener {
 public:
    BeaconListener() { EXPECT_TRUE(mServer.Connect(52428, "239.255.250.250")); }

    /// Waits for a beacon, longer than any board lets wait for one. \return its text
    std::string Hear() {
        char text[256] = "(silence)";
        if (mServer.WaitForData(4000, 0)) mServer.Receive(text, sizeof text - 1, 0);
        return text;
    }

    /// \return whether no beacon comes for some seconds of the module
    bool Silence(int seconds) { return !mServer.WaitForData(seconds, 0); }

 private:
    UdpServer mServer;
};

/// \return the count of beacons once it is `wanted`, or what it is after two seconds
unsigned Count(unsigned wanted) {
    for (int i = 0; i < 1000 && BeaconGetCount() != wanted; ++i) usleep(2000);
    return BeaconGetCount();
}

std::string BeaconText(const std::string& model) {
    return "ZULB<Device-UUID=" + model + "-02005e100001><Device-SDKClass=SettopBox><Device-Make=ZUL-Marvane>" +
           "<Device-Model=" + model + "><Device-Revision=" ZUL_VERSION ">\r\n";
}

}  // namespace

TEST(Beacon, SendsUntilAMasterIsThereAndAgainAfterSilence) {
    global_debug_flag = 0;
    fast_machine::SetSpeed(200);
    BeaconListener listener;
    EXPECT_EQ(BeaconGetCount(), 0u);
    EXPECT_EQ(BeaconGetMasterIp(), nullptr);
    ASSERT_EQ(BeaconStart('T'), 0);
    EXPECT_EQ(Count(1), 1u) << "the network is ready";
    const std::string text = BeaconText("ZUL_IPTV_TX_QAM");
    EXPECT_EQ(BeaconGetString(), text);
    EXPECT_TRUE(listener.Silence(20)) << "commands aren't served yet";

    fast_machine::TakeSleeps();
    BeaconSetCommandReady();
    EXPECT_EQ(listener.Hear(), text);
    EXPECT_EQ(BeaconGetCount(), 1u) << "the one of the start isn't counted";
    const std::int64_t slept = fast_machine::TakeSleeps().back();
    EXPECT_TRUE(slept == 1'000'000 || slept == 2'000'000) << slept;
    EXPECT_TRUE(listener.Silence(5)) << "30 seconds at least between two";
    EXPECT_EQ(listener.Hear(), text);
    EXPECT_EQ(Count(2), 2u);

    BeaconTellThatUdpTrafficReceived();
    EXPECT_TRUE(listener.Silence(500)) << "a master is there";
    EXPECT_EQ(listener.Hear(), text) << "it is gone";

    for (const char* address : {"239.255.250.250", "10.0.0.1"}) {
        BeaconTellThatUdpTrafficReceived();
        EXPECT_TRUE(listener.Silence(120)) << address;
        UdpSender master;
        ASSERT_TRUE(master.Connect(52429, address));
        master.Send("wake up please, this is long", 28);
        EXPECT_EQ(listener.Hear(), text) << "woken by " << address;
        EXPECT_STREQ(BeaconGetMasterIp(), "10.0.0.1");
    }
    BeaconTellThatUdpTrafficReceived();
    EXPECT_TRUE(listener.Silence(120));
    BeaconRestart();
    EXPECT_EQ(listener.Hear(), text);

    BeaconStop();
    EXPECT_EQ(Count(0), 0u) << "the thread has left";
    while (!listener.Silence(0)) listener.Hear();  // the last of the transmitter's
    EXPECT_EQ(BeaconStart('R'), 0);
    EXPECT_EQ(listener.Hear(), BeaconText("ZUL_IPTV_RX_HD"));
}
