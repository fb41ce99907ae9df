// The bridges: keys of the remote control, with their codes, repeats and destinations; the serial port and its
// settings.
#include <gtest/gtest.h>
#include <sys/msg.h>
#include <sys/stat.h>

#include <numeric>

#include "bridges/forwarding.h"
#include "bridges/ircontrol.h"
#include "bridges/keytable.h"
#include "bridges/uart.h"
#include "browser_controller.h"
#include "core/log.h"
#include "core/sharedmem.h"
#include "core/snmplocal.h"
#include "fast_machine.h"
#include "infrared_service.h"
#include "queue_limits.h"
#include "serial_port.h"
#include "settings_agent.h"
#include "status_block.h"
#include "support/output.h"

using Texts = std::vector<std::string>;

class IrControlTest : public ::testing::Test {
 protected:
    /// \return the datagram of a key: the bytes after its head
    static std::string Datagram(int systemCode, int key, int repeat) {
        return std::string("REMOTE\x01\x04") + static_cast<char>(systemCode) + static_cast<char>(key) +
               static_cast<char>(repeat) + '\xCC';
    }

    bool Slow(int key, std::uint8_t* repeat) { return mControl->SlowKey(key, repeat); }
    void Route(int key) { mControl->RouteKey(key); }
    bool BrowserRunning() { return mControl->BrowserRunning(); }

    board::StatusBlock mBlock;
    board::InfraredService mRemote;
    Client mMaster;
    CommandServer mServer;
    IrControl* mControl = new IrControl;  // its thread doesn't end
};

namespace {

std::string AllBytes() {
    std::string bytes(256, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
    return bytes;
}

enum Code { kUp = 11, kDown = 12, kVolumeUp = 44, kVolumeDown = 45 };

}  // namespace

TEST_F(IrControlTest, RepeatRulesOverAllTransitions) {
    // Kind of key by kind of the key before, and each side of each gap; a suppressed key moves the start of the gap,
    // unless it is a volume key.
    struct Step {
        int key;
        std::uint32_t at;
        bool passes;
        int repeat;
    };
    // clang-format off
    const Step steps[] = {
        {kUp, 1000, true, 0},  // the first key ever
        {kUp, 1100, false, 0}, {kUp, 1200, false, 0}, {kUp, 1499, false, 0}, {kUp, 1799, true, 0},
        {kDown, 1800, true, 0}, {kUp, 1801, true, 0}, {kUp, 2100, false, 0},
        {kVolumeUp, 2101, true, 0}, {kVolumeUp, 2201, false, 0}, {kVolumeUp, 2350, false, 0}, {kVolumeUp, 2351, true, 1},
        {kVolumeUp, 2451, false, 0}, {kVolumeUp, 2600, false, 0}, {kVolumeUp, 2651, true, 1},
        {kVolumeDown, 2652, true, 0}, {kVolumeUp, 2653, true, 0}, {kVolumeUp, 2902, false, 0}, {kVolumeUp, 2903, true, 1},
        {kUp, 2904, true, 0}, {kUp, 3204, true, 0}, {kVolumeDown, 3205, true, 0},
        {kVolumeDown, 5, true, 1},  // the counter wrapped
    };
    // clang-format on
    for (const Step& step : steps) {
        fast_machine::SetTick(step.at);
        std::uint8_t repeat = 9;
        EXPECT_EQ(Slow(step.key, &repeat), step.passes) << step.key << " at " << step.at;
        EXPECT_EQ(repeat, step.repeat) << step.key << " at " << step.at;
    }
    EXPECT_TRUE(Slow(kDown, nullptr));
}

TEST_F(IrControlTest, AKeyReachesTheMasterAsItsCode) {
    global_debug_flag = 0;  // standard output shows the names alone
    mControl->SetIrForwarding(mServer.After(mMaster));
    SharedMem::Self()->IrModeCode(0x6E);
    const struct {
        int code;
        const char* name;
        int sent, repeat;
    } keys[] = {{0, "", 15, 0},
                {1, "KEY_NUM_0 ", 25, 0},
                {kVolumeUp, "KEY_VOL_UP ", 8, 0},
                {kVolumeUp, "KEY_VOL_UP ", 8, 1},
                {127, "", 15, 0}};
    std::uint32_t tick = 0;
    for (const auto& key : keys) {
        fast_machine::SetTick(tick += 1000);
        const std::string name = Printed([&] {
            mRemote.Press(key.code);
            EXPECT_EQ(mMaster.TakeCount(1), Texts{Datagram(0x6E, key.sent, key.repeat)}) << key.code;
        });
        EXPECT_EQ(name, key.name) << key.code;
    }
}

TEST_F(IrControlTest, EachKeyGoesWhereItsStateSends) {
    board::BrowserController browser;
    struct Case {
        bool forward, running;
        int key;
        bool toMaster;
        const char* toBrowser;
        bool runningThen;
    };
    // clang-format off
    const Case cases[] = {
        {true, false, kUp, true, "", false}, {true, true, kUp, true, "", true}, {true, false, kKeyMenu, true, "", false},
        {false, false, kUp, false, "", false}, {false, true, kUp, false, "-k011", true},
        {false, false, kKeyMenu, false, "-k016", true}, {false, true, kKeyMenu, false, "-k016", true},
        {false, true, 127, false, "-k127", true},
    };
    // clang-format on
    std::uint32_t tick = 0;
    for (const Case& step : cases) {
        const auto where = [&] { return std::to_string(&step - cases); };
        fast_machine::SetTick(tick += 1000);
        mControl->SetIrForwarding(step.forward ? mServer.After(mMaster) : nullptr);
        mControl->BrowserRunning(step.running);
        browser.Orders().Clear();
        Route(step.key);
        EXPECT_EQ(mMaster.Take(step.toMaster ? 2000 : 20).size(), step.toMaster ? 1u : 0u) << where();
        if (step.toBrowser[0] != '\0') {
            const auto orders = browser.Orders().WaitForCount(1);
            ASSERT_EQ(orders.size(), 1u) << where();
            EXPECT_EQ(orders[0].text, step.toBrowser) << where();
            EXPECT_EQ(orders[0].size, 12u) << where();
        }
        EXPECT_EQ(BrowserRunning(), step.runningThen) << where();
    }
}

TEST_F(IrControlTest, AKeyThatCantBeReceivedIsReportedAndTheNextOneCounts) {
    const int queue = msgget(1250, 0);
    const struct {
        long type;
        char text[16];
    } empty{1, {}};
    mControl->SetIrForwarding(mServer.After(mMaster));
    fast_machine::TakeSleeps();
    const std::string errors = Reported([&] {
        ASSERT_EQ(msgsnd(queue, &empty, 0, 0), 0);  // no text
        mRemote.Press(-1);
        mRemote.Press(kUp);
        EXPECT_EQ(mMaster.TakeCount(1), Texts{Datagram(0, 7, 0)});
        msgctl(queue, IPC_RMID, nullptr);
        for (int turn = 0; turn < 200 && fast_machine::TakeSleeps().empty(); ++turn) usleep(1000);
        usleep(5000);
    });
    EXPECT_NE(errors.find("Error receiving key: -1"), errors.rfind("Error receiving key: -1")) << errors;
    EXPECT_NE(errors.find("Message Queue receive error"), std::string::npos) << errors;
}

TEST(IrControlStart, EndsTheProcessWithoutItsQueues) {
    QueueHog hog;
    EXPECT_EXIT(IrControl(), testing::ExitedWithCode(255), "msgget in snmplc failed");
    hog.GiveOne();
    EXPECT_EXIT(IrControl(), testing::ExitedWithCode(254), "msgget in snmplc failed");
}

class UartTest : public ::testing::Test {
 protected:
    std::atomic<bool>& ChangingSettings() { return mUart->mChangingSettings; }

    Uart* mUart = new Uart;  // its thread doesn't end
    CommandServer mServer;
    Client mMaster;
};

TEST_F(UartTest, CarriesEveryByteBothWays) {
    board::SerialPort port;
    mUart->SetUartForwarding(mServer.After(mMaster));
    port.Send(AllBytes());
    Texts wanted;
    for (const char byte : AllBytes()) wanted.push_back("UART" + std::string(1, byte));
    EXPECT_EQ(mMaster.TakeCount(256), wanted);
    EXPECT_TRUE(mUart->ProcessUartCommand(AllBytes().data(), 256));
    EXPECT_EQ(port.WaitForBytes(256), AllBytes());
    EXPECT_TRUE(mUart->ProcessUartCommand("", 0));
}

TEST_F(UartTest, DropsBytesWhileItIsOff) {
    board::SerialPort port;
    const Client second;
    EXPECT_TRUE(mUart->ProcessUartCommand("off", 3));
    mUart->SetUartForwarding(mServer.After(mMaster));
    mUart->SetUartForwarding(mServer.After(second));
    port.Send("a");
    EXPECT_EQ(second.TakeCount(1), Texts{"UARTa"});
    mUart->SetUartForwarding(nullptr);
    port.Send("b");  // its thread may be in a read that consumes it
    EXPECT_TRUE(second.Take(50).empty());
    EXPECT_TRUE(mUart->ProcessUartCommand("off", 3));
    mUart->SetUartForwarding(mServer.After(second));
    port.Send("c");
    const Texts then = second.TakeCount(1);
    ASSERT_FALSE(then.empty());
    EXPECT_EQ(then.back(), "UARTc");
    EXPECT_TRUE(mUart->ProcessUartCommand("on", 2));
    EXPECT_EQ(port.WaitForBytes(2), "on");
    EXPECT_TRUE(mMaster.Take().empty());
}

TEST_F(UartTest, TriesAPortThatCantBeOpenedAgain) {
    for (const bool isFolder : {false, true}) {
        if (isFolder) {
            ASSERT_EQ(mkdir("/dev/ttyS0", 0700), 0);
        }
        const std::string errors = Reported([&] { mUart->SetUartForwarding(mServer.After(mMaster)); });
        EXPECT_NE(errors.find("Cant open serial"), std::string::npos);
        EXPECT_TRUE(mUart->ProcessUartCommand("abc", 3)) << "dropped";
    }
    ASSERT_EQ(rmdir("/dev/ttyS0"), 0);
    board::SerialPort port;
    mUart->SetUartForwarding(mServer.After(mMaster));
    port.Send("a");
    EXPECT_EQ(mMaster.TakeCount(1), Texts{"UARTa"});
}

TEST_F(UartTest, ReportsAPortThatFails) {
    board::SerialPort port;
    mUart->SetUartForwarding(mServer.After(mMaster));
    port.Send("a");
    ASSERT_EQ(mMaster.TakeCount(1), Texts{"UARTa"});
    fast_machine::TakeSleeps();
    const std::string errors = Reported([&] {
        port.HangUp();
        for (int turn = 0; turn < 2000 && fast_machine::TakeSleeps().empty(); ++turn) usleep(1000);
        EXPECT_FALSE(mUart->ProcessUartCommand("abc", 3));
    });
    EXPECT_NE(errors.find("Can't write to serial"), std::string::npos) << errors;
    EXPECT_NE(errors.find("Can't read from serial"), std::string::npos) << errors;
}

TEST_F(UartTest, ReadsNothingWhileThePortChanges) {
    board::SerialPort port;
    ChangingSettings() = true;
    mUart->SetUartForwarding(mServer.After(mMaster));
    port.Send("a");
    EXPECT_TRUE(mMaster.Take(50).empty());
    ChangingSettings() = false;
    EXPECT_EQ(mMaster.TakeCount(1), Texts{"UARTa"});
}

TEST_F(UartTest, HandsThePortsParametersToTheAgent) {
    board::SettingsAgent agent("/mnt/burnt");
    SnmpLocal settings;
    const auto set = [&](std::string form) { return mUart->ProcessUartSetParameters(form.data(), &settings); };
    for (const char* form : {"", "9600", "9600,8", "9600,8,N", "9600,8,N,", "9600,8,NO,1", "9600,8,NONE,1,1", ",,,"}) {
        EXPECT_FALSE(set(form)) << form;
    }
    EXPECT_TRUE(agent.Requests().All().empty());
    struct Case {
        const char* form;
        const char* value;
    };
    const Case cases[] = {
        {"9600,8,N,1", "\"9600,N,8,1\""},  {"115200,7,E,2,x", "\"115200,E,7,2\""},        {"a,b,O,c", "\"0,O,0,0\""},
        {"9600,8,N,,1", "\"9600,N,8,0\""}, {"99999999999,8,N,1", "\"2147483647,N,8,1\""},
    };
    for (const Case& step : cases) {
        agent.Requests().Clear();
        EXPECT_TRUE(set(step.form)) << step.form;
        const auto requests = agent.Requests().All();
        ASSERT_EQ(requests.size(), 2u) << step.form;
        EXPECT_EQ(requests[0].oid, ".1.3.6.1.4.1.48217.3.2.14.0");
        EXPECT_EQ(requests[0].type + requests[0].value, std::string("s") + step.value) << step.form;
        EXPECT_EQ(requests[1].oid, ".1.3.6.1.4.1.48217.3.5.11.0");
        EXPECT_EQ(requests[1].type + requests[1].value, "i0") << step.form;
    }
    agent.AnswerWith("CONFIG_SAVE", "no answer that counts");
    EXPECT_FALSE(set("9600,8,N,1"));
    agent.Requests().Clear();
    agent.AnswerWith("SERIAL_PARAMETERS", "nor this");
    EXPECT_FALSE(set("9600,8,N,1"));
    EXPECT_EQ(agent.Requests().All().size(), 1u) << "nothing more is asked";
}
