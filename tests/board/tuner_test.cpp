// The tuner's files and delivery, and the tools that control it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "tool_box.h"
#include "transport.h"
#include "tuner.h"

namespace board {
namespace {

using transport::Append;
using transport::Blob;

/// A packet of PID 0x100 that is all adaptation field, with a clock reference of `base` ticks of 90 kHz.
Blob ClockPacket(std::uint64_t base) {
    Blob field{183, 0x10};
    for (int shift = 25; shift > 0; shift -= 8) field.push_back(static_cast<std::uint8_t>(base >> shift));
    Append(field, {static_cast<std::uint8_t>((base & 1) << 7 | 0x7E), 0});
    Blob packet = transport::Packet(0x100, 0, field);
    packet[3] = 0x20;
    return packet;
}

/// `count` packets of PID 0x200, each with its index in bytes 4 and 5.
Blob NumberedPackets(std::size_t count) {
    Blob stream;
    for (std::size_t i = 0; i < count; ++i)
        Append(stream, transport::Packet(0x200, 0, {static_cast<std::uint8_t>(i >> 8), static_cast<std::uint8_t>(i)}));
    return stream;
}

std::string WriteFile(const char* path, const Blob& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<long>(bytes.size()));
    return path;
}

TEST(TransportFile, PaceIsThatOfTheClockReferencesEvenWhenTheyStartAgain) {
    constexpr std::uint64_t kLast = (std::uint64_t{1} << 33) - 1;
    for (const std::uint64_t start : {std::uint64_t{0}, kLast - 40'000}) {
        // 1000 packets in a second: two references in its middle, packets of another PID around and between them.
        Blob stream = NumberedPackets(100);
        for (const std::uint64_t step : {0, 45'000, 90'000}) {
            Append(stream, ClockPacket((start + step) & kLast));
            Append(stream, NumberedPackets(499));
        }
        EXPECT_NEAR(RateByClock(stream), 1000 * 188 * 8, 1) << "from " << start;
    }
    EXPECT_EQ(RateByClock(NumberedPackets(3)), kChannelRate);
}

TEST(TransportFile, RefusesWhatIsNoTransportStream) {
    EXPECT_THROW(TransportFile("/mnt/none.ts"), std::runtime_error);
    EXPECT_THROW(TransportFile(WriteFile("/mnt/short.ts", Blob(187, 0x47))), std::runtime_error);
    EXPECT_THROW(TransportFile(WriteFile("/mnt/text.ts", Blob(188, 'x'))), std::runtime_error);
    EXPECT_EQ(TransportFile(WriteFile("/mnt/cut.ts", Blob(200, 0x47))).Bytes().size(), 188u);
}

TEST(Tuner, DeliversTheTunedStreamAroundItsEndWithoutALostPacket) {
    StatusBlock block;
    const std::size_t packets = 400;
    Journal<Blob> fed;
    Tuner tuner({{7, {WriteFile("/mnt/seven.ts", NumberedPackets(packets)), 4}}, {9, {"", 5}}}, &block,
                [&fed](std::span<std::uint8_t> data) { fed.Add(Blob(data.begin(), data.end())); });
    tuner.SetSpeed(0);
    tuner.TuneTo(7);
    EXPECT_EQ(block.TunerStrength(), 4);
    const auto buffers = fed.WaitForCount(5);
    std::size_t expected = 0;
    for (std::size_t i = 0; i < 5; ++i) {
        for (std::size_t at = 0; at < buffers[i].size(); at += kPacketSize) {
            const std::size_t number = static_cast<std::size_t>(buffers[i][at + 4] << 8 | buffers[i][at + 5]);
            ASSERT_EQ(number, expected++ % packets) << "buffer " << i << " at " << at;
        }
    }
    tuner.TuneTo(9);
    fed.Clear();
    fed.WaitForCount(3);
    const auto null = fed.All().back();
    EXPECT_EQ((null[1] & 0x1F) << 8 | null[2], 0x1FFF);
    tuner.TuneTo(8);
    EXPECT_EQ(block.TunerStrength(), 0);
}

TEST(Tuner, KeepsTheStreamsPace) {
    Blob second = ClockPacket(0);  // 200 packets a second
    Append(second, NumberedPackets(199));
    Append(second, ClockPacket(90'000));
    Tuner tuner({{2, {WriteFile("/mnt/two.ts", second), 5}}}, nullptr, [](std::span<std::uint8_t>) {});
    tuner.SetSpeed(10);  // 2000 packets a second
    const auto start = std::chrono::steady_clock::now();
    tuner.TuneTo(2);
    std::this_thread::sleep_for(Milliseconds(450));
    const auto packets = tuner.BytesFed() / kPacketSize;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(packets, 2000 * 0.2);
    EXPECT_LE(packets, 2000 * elapsed.count() + 174);
}

TEST(ToolBox, AToolEndsWhenTheBoardHasActed) {
    Journal<std::string> acted;
    {
        ToolBox tools("/mnt/tools", [&acted](const std::string& line) { acted.Add(line); });
        ASSERT_EQ(std::system("m710cmmd -atsc 7 >/dev/null"), 0);
        EXPECT_EQ(acted.All(), std::vector<std::string>{"m710cmmd -atsc 7"});
        ASSERT_EQ(std::system("m710cmd -vdbg 22 1"), 0);
        EXPECT_EQ(tools.Lines().All().back(), "m710cmd -vdbg 22 1");
    }
    EXPECT_NE(std::system("m710cmmd -atsc 8 2>/dev/null"), 0) << "no board, no tool";
}

}  // namespace
}  // namespace board
