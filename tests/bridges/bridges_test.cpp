// Status block, remote control and serial port.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/msg.h>
#include <termios.h>

#include "bridges/ircontrol.h"
#include "bridges/keytable.h"
#include "bridges/uart.h"
#include "udp_client.h"
#include "fast_machine.h"
#include "sharedmem.h"
#include "status_block.h"
#include "udpcom.h"

namespace {

using Texts = std::vector<std::string>;

/// A server whose last client is a given one.
struct Command {
    Command() { EXPECT_TRUE(server.Connect(2008)); }
    void From(const Client& client) {
        client.Send(2008, "CALLBACK1");
        char text[32];
        server.Receive(text, sizeof text - 1, 0);
    }
    UdpServer server;
};

void PressKey(int code) {
    struct { long type; char text[16]; } message{1, {}};
    message.text[4] = static_cast<char>(code);
    ASSERT_EQ(msgsnd(msgget(1250, 0), &message, sizeof message.text, 0), 0);
}

}  // namespace

TEST(SharedMem, TypesAndTheRemotesCode) {
    board::StatusBlock block;
    struct Case { std::uint32_t type; int video, audio; };
    for (const Case& step : {Case{0, 2, 3}, {1, 0, 0}, {5, 0, 0}, {6, 0, 2}, {7, 0, 1}, {8, 0, 3}, {14, 0, 3}, {15, 2, 3}, {21, 2, 3}, {22, 1, 3}, {25, 1, 3}, {26, 2, 3}, {0xFFFFFFFF, 2, 3}}) {
        block.VideoType(step.type);
        block.AudioType(step.type);
        EXPECT_EQ(SharedMem::Self()->GetVideoTypeReceiver(), step.video) << step.type;
        EXPECT_EQ(SharedMem::Self()->GetAudioTypeReceiver(), step.audio) << step.type;
    }
    for (const auto& [code, word, back] : {std::tuple{0x6Eu, 0x916Eu, 0x6Eu}, {0xFFu, 0xFFu, 0xFFu}, {0x1234u, 0x1234u, 0x34u}}) {
        SharedMem::Self()->IrModeCode(static_cast<std::uint16_t>(code));
        EXPECT_EQ(block.IrSystemCode(), word);
        EXPECT_EQ(SharedMem::Self()->IrModeCode(), back);
    }
    block.TunerStrength(4);
    block.Programme(0x3c4d);
    EXPECT_EQ(SharedMem::Self()->GetSignalStrengthTransmitter(), 4);
    EXPECT_EQ(SharedMem::Self()->GetProgramReceivedReceiver(), 0x3c4d);
    const int load = SharedMem::Self()->GetCpuUtilization();
    EXPECT_TRUE(load >= 0 && load <= 100) << load;
}

TEST(SharedMem, WithoutABlockEverythingIsZero) {
    board::StatusBlock tooSmall(board::StatusBlock::Segment::kTooSmall);
    SharedMem::Self()->IrModeCode(5);
    EXPECT_EQ(SharedMem::Self()->IrModeCode(), 0);
    EXPECT_EQ(SharedMem::Self()->GetSignalStrengthTransmitter(), 0);
    EXPECT_EQ(SharedMem::Self()->GetVideoTypeReceiver(), 0);
}

class IrControlTest : public ::testing::Test {
 protected:
    bool Slow(int key, std::uint8_t* repeat) { return mControl->SlowKey(key, repeat); }
    board::StatusBlock mBlock;
    IrControl* mControl = new IrControl;  // its thread doesn't end
};

TEST_F(IrControlTest, RepeatRulesOverAllTransitions) {
    enum { kUp = 11, kDown = 12, kVol = 44, kVolDown = 45 };
    struct Step { int key; std::uint32_t at; bool passes; int repeat; };
    const Step steps[] = {
        {kUp, 1000, true, 0},  // the first key ever
        {kUp, 1100, false, 0}, {kUp, 1200, false, 0}, {kUp, 1499, false, 0},  // each restarts the gap
        {kUp, 1799, true, 0}, {kDown, 1800, true, 0}, {kUp, 1801, true, 0},
        {kVol, 2000, true, 0}, {kVol, 2100, false, 0}, {kVol, 2200, false, 0}, {kVol, 2300, true, 1}, {kVol, 2400, false, 0}, {kVol, 2549, false, 0}, {kVol, 2550, true, 1},
        {kVolDown, 2551, true, 0}, {kVol, 2552, true, 0}, {kVol, 2801, false, 0}, {kVol, 2802, true, 1}, {kUp, 2803, true, 0}, {kUp, 2803 + 300, true, 0},
        {kUp, 5, true, 0},  // the counter wrapped
    };
    for (const Step& step : steps) {
        fast_machine::SetTick(step.at);
        std::uint8_t repeat = 9;
        EXPECT_EQ(Slow(step.key, &repeat), step.passes) << step.key << " at " << step.at;
        EXPECT_EQ(repeat, step.repeat) << step.key << " at " << step.at;
    }
    EXPECT_TRUE(Slow(kDown, nullptr));
}

TEST_F(IrControlTest, EveryKeyReachesTheMasterAsItsCode) {
    Client master;
    Command command;
    command.From(master);
    mControl->SetIrForwarding(&command.server);
    SharedMem::Self()->IrModeCode(0x21);
    for (int code = 0; code <= 50; ++code) {
        const RemoteKey* const key = FindKey(code);
        const std::uint8_t sent = key != nullptr ? key->datagramCode : 0x0F;
        PressKey(code);
        EXPECT_EQ(master.TakeCount(1), Texts{std::string("REMOTE\x01\x04\x21", 9) + static_cast<char>(sent) + std::string("\x00\xcc", 2)}) << code;
    }
    mControl->BrowserRunning(true);
    PressKey(11);
    EXPECT_EQ(master.TakeCount(1).size(), 1u) << "forwarding beats the browser";
}

TEST_F(IrControlTest, TheMenuKeyOpensTheWayToTheBrowser) {
    const int browser = msgget(945602, 0);
    struct { long type; char text[16]; } message{};
    for (const int key : {11, 16, 12}) PressKey(key);
    for (const char* wanted : {"-k016", "-k012"}) {  // the first was dropped
        ASSERT_EQ(msgrcv(browser, &message, sizeof message.text, 1, 0), 12);
        EXPECT_STREQ(message.text, wanted);
    }
}

TEST(Uart, CarriesEveryByteBothWays) {
    const int pty = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_EQ(grantpt(pty), 0);
    ASSERT_EQ(unlockpt(pty), 0);
    const int slave = open(ptsname(pty), O_RDWR | O_NOCTTY);
    termios raw;
    tcgetattr(slave, &raw);
    cfmakeraw(&raw);
    tcsetattr(slave, TCSANOW, &raw);
    auto* const uart = new Uart;
    Client first, second;
    Command command;
    command.From(first);
    EXPECT_TRUE(uart->ProcessUartCommand("abc", 3)) << "off: dropped";
    uart->SetUartForwarding(&command.server);
    EXPECT_TRUE(uart->ProcessUartCommand("abc", 3)) << "no port: dropped";
    ASSERT_EQ(symlink(ptsname(pty), "/dev/ttyS0"), 0);
    command.From(second);
    uart->SetUartForwarding(&command.server);
    EXPECT_TRUE(uart->ProcessUartCommand("a\0b", 3));
    char back[8];
    EXPECT_EQ(read(pty, back, sizeof back), 3);
    EXPECT_EQ(std::string(back, 3), std::string("a\0b", 3));
    Texts wanted;
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        ASSERT_EQ(write(pty, &c, 1), 1);
        wanted.push_back("UART" + std::string(1, c));
    }
    EXPECT_EQ(second.TakeCount(256), wanted);
    EXPECT_TRUE(first.Take().empty());
    uart->SetUartForwarding(nullptr);
    ASSERT_EQ(write(pty, "x", 1), 1);
    EXPECT_TRUE(second.Take(100).empty());
}
