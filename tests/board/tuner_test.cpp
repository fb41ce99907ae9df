// The tuner's files and delivery, and the tools that steer it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>

#include "tool_box.h"
#include "tuner.h"

namespace board {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// A packet of PID 0x100 whose adaptation field is all of it, with a clock reference of `base` ticks of 90 kHz.
Bytes ClockPacket(std::uint64_t base) {
    Bytes packet(kPacketSize, 0xFF);
    const std::uint8_t head[] = {0x47, 0x01, 0x00, 0x20, 183, 0x10};
    std::memcpy(packet.data(), head, sizeof head);
    for (int i = 0; i < 4; ++i)
        packet[6 + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(base >> (25 - 8 * i));
    packet[10] = static_cast<std::uint8_t>((base & 1) << 7 | 0x7E);
    packet[11] = 0;
    return packet;
}

/// `count` packets of PID 0x200, each with its index in bytes 4 and 5.
Bytes NumberedPackets(std::size_t count) {
    Bytes stream(count * kPacketSize, 0);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t head[] = {
            0x47, 0x02, 0x00, 0x10, static_cast<std::uint8_t>(i >> 8), static_cast<std::uint8_t>(i)};
        std::memcpy(&stream[i * kPacketSize], head, sizeof head);
    }
    return stream;
}

std::string WriteFile(const char* path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<long>(bytes.size()));
    return path;
}

TEST(TransportFile, PaceIsThatOfTheClockReferencesEvenWhenTheyStartAgain) {
    constexpr std::uint64_t kLast = (std::uint64_t{1} << 33) - 1;
    for (const std::uint64_t start : {std::uint64_t{0}, kLast - 40'000}) {
        // 1000 packets in a second: two references in its middle, packets of another PID around and between them.
        Bytes stream = NumberedPackets(100);
        for (const std::uint64_t step : {0, 45'000, 90'000}) {
            const Bytes clock = ClockPacket((start + step) & kLast);
            stream.insert(stream.end(), clock.begin(), clock.end());
            const Bytes others = NumberedPackets(499);
            stream.insert(stream.end(), others.begin(), others.end());
        }
        EXPECT_NEAR(RateByClock(stream), 1000 * 188 * 8, 1) << "from " << start;
    }
    EXPECT_EQ(RateByClock(NumberedPackets(3)), kChannelRate);
}

TEST(TransportFile, RefusesWhatIsNoTransportStream) {
    EXPECT_THROW(TransportFile("/mnt/none.ts"), std::runtime_error);
    EXPECT_THROW(TransportFile(WriteFile("/mnt/short.ts", Bytes(187, 0x47))), std::runtime_error);
    EXPECT_THROW(TransportFile(WriteFile("/mnt/text.ts", Bytes(188, 'x'))), std::runtime_error);
    EXPECT_EQ(TransportFile(WriteFile("/mnt/cut.ts", Bytes(200, 0x47))).Bytes().size(), 188u);
}

TEST(Tuner, DeliversTheTunedStreamAroundItsEndWithoutALostPacket) {
    StatusBlock block;
    const std::size_t packets = 400;
    Journal<Bytes> fed;
    Tuner tuner({{7, {WriteFile("/mnt/seven.ts", NumberedPackets(packets)), 4}}, {9, {"", 5}}}, &block,
                [&fed](std::span<std::uint8_t> data) { fed.Add(Bytes(data.begin(), data.end())); });
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
    Bytes second = ClockPacket(0);  // 200 packets a second
    const Bytes others = NumberedPackets(199);
    second.insert(second.end(), others.begin(), others.end());
    const Bytes clock = ClockPacket(90'000);
    second.insert(second.end(), clock.begin(), clock.end());
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
