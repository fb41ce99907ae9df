// Parts of the simulated board that its own tests don't show: a network's faults, a stream's pace, the picture of the
// screen.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "net_faults.h"
#include "screen.h"
#include "support/shell.h"
#include "transport.h"
#include "tuner.h"

namespace board {
namespace {

TEST(NetPlan, IsReadWithItsDefaults) {
    const NetPlan plan = ParseNetPlan("loss=5%,dup,reorder=0.5%,delay");
    EXPECT_EQ(plan.loss, 0.05);
    EXPECT_EQ(plan.twice, 0.01);
    EXPECT_EQ(plan.overtaken, 0.005);
    EXPECT_EQ(plan.delay, Milliseconds(20));
    EXPECT_EQ(ParseNetPlan("delay=250ms").delay, Milliseconds(250));
    for (const char* text : {"", "loss=5", "loss=101%", "loss=-1%", "loss=%", "loss=x%", "lose=5%", "loss,", ",loss",
                             "delay=5", "delay=10001ms", "delay=5%", "loss=nan%"}) {
        EXPECT_THROW(ParseNetPlan(text), std::invalid_argument) << text;
    }
}

std::vector<bool> Losses(const NetPlan& plan, std::uint64_t seed, std::uint64_t flow, std::uint64_t other = 0) {
    NetFaults faults(plan, seed);
    std::vector<bool> lost;
    for (int n = 0; n < 1000; ++n) {
        if (other != 0) faults.Decide(other);
        lost.push_back(faults.Decide(flow).copies == 0);
    }
    return lost;
}

TEST(NetFaults, DependOnSeedAndFlowAlone) {
    const NetPlan plan{.loss = 0.1};
    const auto losses = Losses(plan, 1, 7);
    EXPECT_NEAR(static_cast<double>(std::count(losses.begin(), losses.end(), true)), 100, 30) << "of 1000";
    EXPECT_EQ(Losses(plan, 1, 7, 8), losses) << "beside another flow";
    EXPECT_EQ(Losses({.loss = 0.1, .twice = 0.5, .overtaken = 0.5}, 1, 7), losses) << "beside other faults";
    EXPECT_NE(Losses(plan, 2, 7), losses);
    EXPECT_NE(Losses(plan, 1, 8), losses);
    EXPECT_NE(Losses(plan, 1, 7 | 1ull << 40), losses);
}

/// A packet of PID 0x100 that is all adaptation field, with a clock reference of `base` ticks of 90 kHz.
transport::Blob ClockPacket(std::uint64_t base) {
    transport::Blob field{183, 0x10};
    for (int shift = 25; shift > 0; shift -= 8) field.push_back(static_cast<std::uint8_t>(base >> shift));
    transport::Append(field, {static_cast<std::uint8_t>((base & 1) << 7 | 0x7E), 0});
    transport::Blob packet = transport::Packet(0x100, 0, field);
    packet[3] = 0x20;
    return packet;
}

TEST(Tuner, PaceIsThatOfTheClockReferencesEvenWhenTheyStartAgain) {
    constexpr std::uint64_t kLast = (std::uint64_t{1} << 33) - 1;
    transport::Blob others;  // of another PID
    for (int i = 0; i < 499; ++i) transport::Append(others, transport::Packet(0x200, 0, {}));
    for (const std::uint64_t start : {std::uint64_t{0}, kLast - 40'000}) {
        transport::Blob stream = others;  // 1000 packets in a second: two references in its middle
        for (const std::uint64_t step : {0u, 45'000u, 90'000u}) {
            transport::Append(stream, ClockPacket((start + step) & kLast));
            transport::Append(stream, others);
        }
        EXPECT_NEAR(RateByClock(stream), 1000 * 188 * 8, 1) << "from " << start;
    }
    EXPECT_EQ(RateByClock(others), kChannelRate);
}

TEST(Tuner, KeepsThePaceOfAChannelAtItsSpeed) {
    StatusBlock block;
    Tuner tuner({{2, {"", 5}}}, block, [](auto) {});
    tuner.SetSpeed(4);
    const auto start = std::chrono::steady_clock::now();
    tuner.TuneTo(2);
    std::this_thread::sleep_for(Milliseconds(400));
    const auto bits = static_cast<double>(tuner.BytesFed() * 8);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(bits, 4 * kChannelRate * 0.1) << "or later on a busy machine";
    EXPECT_LE(bits, 4 * kChannelRate * elapsed.count() + 8 * Tuner::kBufferSize);
}

TEST(Tuner, RefusesWhatIsNoTransportStream) {
    StatusBlock block;
    Tuner tuner({}, block, [](auto) {});
    EXPECT_THROW(tuner.Put(2, {"/mnt/none.ts"}), std::runtime_error);
    for (const std::string& bytes : {std::string(187, '\x47'), std::string(188, 'x')}) {
        std::ofstream("/mnt/some.ts", std::ios::binary) << bytes;
        EXPECT_THROW(tuner.Put(2, {"/mnt/some.ts"}), std::runtime_error) << bytes;
    }
}

/// Expects the mean colour of a part of a picture, as ffmpeg reads it, up to rounding.
void ExpectColour(const std::string& file, const std::string& crop, int red, int green, int blue) {
    const std::string command = "ffmpeg -v error -i " + file + " -vf crop=" + crop +
                                ",scale=1:1:flags=area -f rawvideo -pix_fmt rgb24 - | od -An -tu1";
    std::istringstream printed(Shell(command).text);
    int mean[3] = {-1, -1, -1};
    EXPECT_TRUE(printed >> mean[0] >> mean[1] >> mean[2]) << command;
    EXPECT_NEAR(mean[0], red, 3) << crop;
    EXPECT_NEAR(mean[1], green, 3) << crop;
    EXPECT_NEAR(mean[2], blue, 3) << crop;
}

TEST(Screen, IsDrawnWithItsLayersWhereTheyLie) {
    if (Shell("ffmpeg -version").code != 0) GTEST_SKIP() << "no ffmpeg";
    ASSERT_EQ(Shell("ffmpeg -v error -f lavfi -i color=red:s=64x48 -t 2 -c:v mpeg2video -g 10 -f mpegts "
                    "-mpegts_service_id 5 /mnt/red.ts")
                  .code,
              0);
    const std::string stream = FileText("/mnt/red.ts");
    Screen screen;
    screen.videoBytes.assign(stream.begin(), stream.end());
    screen.video = {{0, 25, 25, 50, 50, 255, 0, 0}, "Stream"};
    screen.browser = {{0, 50, 25, 50, 50, 128, 0, 0}, "%{a:page}"};
    screen.picture = {{0, 25, 75, 50, 50, 255, 0, 0}, "picture"};
    for (const int programme : {5, 0}) {  // 0: no tables received yet
        screen.programme = programme;
        ASSERT_TRUE(DrawScreen(screen, "/mnt/screen.png", "/mnt/pieces")) << programme;
        const int red = programme == 0 ? 0 : 254;
        ExpectColour("/mnt/screen.png", "100:100:100:100", red, 0, 0);
        ExpectColour("/mnt/screen.png", "100:100:500:250", 16 + red / 2, 32, 48);  // the panel, half opaque
        ExpectColour("/mnt/screen.png", "100:100:1100:250", 0, 0, 0);
        ExpectColour("/mnt/screen.png", "100:100:400:600", 64, 96, 32);
    }
}

}  // namespace
}  // namespace board
