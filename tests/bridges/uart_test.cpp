// The serial bridge over a pseudo terminal, and its settings.
#include "bridges/uart.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <numeric>

#include "bridges/forwarding.h"
#include "core/snmplocal.h"
#include "fast_machine.h"
#include "serial_port.h"
#include "settings_agent.h"
#include "support/output.h"

namespace {

using Texts = std::vector<std::string>;

std::string AllBytes() {
    std::string bytes(256, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
    return bytes;
}

}  // namespace

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
    port.Send("b");  // its thread may be in a read that takes it
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
