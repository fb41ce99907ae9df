// What a board remembers over a loss of power, and what it does when its disk refuses.
#include <gtest/gtest.h>

#include <fstream>

#include "evidence.h"
#include "live_board.h"

namespace board {
namespace {

constexpr std::size_t kEnough = 100'000;
constexpr const char* kStartupItem = "/mnt/hd1/zul_def_startup";

LiveOptions WithChannel() { return {.band = {{7, {"/mnt/seven.ts", 5}}}}; }

TEST(Disk, TheLastStreamAndTheTunerModeComeBackAfterALossOfPower) {
    const auto played = WriteStream("/mnt/seven.ts", SmallMultiplex());
    ASSERT_TRUE(LiveOnce([] {
        LiveBoard board('T', WithChannel());
        ASSERT_TRUE(board.Start());
        EXPECT_EQ(board.Ask("TUNERMODE2"), "OK\r\n");
        EXPECT_EQ(board.Ask("UNIT1,239.1.1.1,5001,7,4d,2\r\n"), "OK\r\n");
        EXPECT_EQ(board.Ask("UNIT7"), "KO\r\n") << "which saves nothing";
        EXPECT_FALSE(board->Daemon().IsWritable(1));
    }));
    EXPECT_EQ(FileText(kStartupItem), "UNIT1,239.1.1.1,5001,7,4d,2\r\n");
    EXPECT_EQ(FileText("/mnt/hd1/zul_tunermode"), "2\n");
    ASSERT_TRUE(LiveOnce([&played] {
        GroupListener group("239.1.1.1", 5001);
        LiveBoard board('T', WithChannel());
        ASSERT_TRUE(board.Start());
        EXPECT_EQ(board->Settings().Get("TUNER_MODE"), "2");
        const Evidence evidence = group.Collect(kEnough);
        EXPECT_EQ(Difference(evidence.pids, played), "");
        EXPECT_TRUE(StartsWith(board.Ask("STATUS"), "STATUS 1 0 239.1.1.1:5001 0:1:ff:[0002] F:QAM256 "));
        EXPECT_EQ(board.Ask("UNIT0"), "OK\r\n");
    }));
    EXPECT_EQ(FileText(kStartupItem), "UNIT0");
    LiveBoard board('T', WithChannel());
    ASSERT_TRUE(board.Start());
    EXPECT_EQ(board->Tools().Lines().All().size(), 0u);
    EXPECT_TRUE(StartsWith(board.Ask("STATUS"), "STATUS 0 0 0.0.0.0:0 0:0:00:[] F:QAM256 E:0 C:\"NO CAM\" "));
}

/// Fills a partition but for `left` bytes, under a daemon that knows nothing of it.
void Fill(const std::string& partition, int left) {
    ASSERT_EQ(std::system(("mount -o remount,rw,bind " + partition + " && ! dd if=/dev/zero of=" + partition +
                           "/filler bs=4k 2>/dev/null; truncate -s -" + std::to_string(left) + " " + partition +
                           "/filler && mount -o remount,ro,bind " + partition)
                              .c_str()),
              0);
}

TEST(Disk, ThatFillsInTheMiddleOfAScansResultsLosesTheFileAndNotTheList) {
    WriteStream("/mnt/seven.ts", SmallMultiplex());
    LiveOptions options = WithChannel();
    options.clock = 100;
    ASSERT_TRUE(LiveOnce([&options] {
        LiveBoard board('T', options);
        ASSERT_TRUE(board.Start());
        Fill("/mnt/hd1", 0);
        EXPECT_EQ(board.Ask("BLIND0"), "BLINDSTART:0 OK\r\n");
        EXPECT_EQ(board.HearUntil("BLINDCMP", Milliseconds(60'000)).back(), "BLINDCMP:0 OK\r\n");
        EXPECT_NE(board.Ask("SCAL").find("004d 0003"), std::string::npos);
        EXPECT_EQ(FileText("/mnt/hd1/zul_scan_results"), "");
        EXPECT_FALSE(board->Daemon().IsWritable(1));
    }));
    LiveBoard board('T', options);
    ASSERT_TRUE(board.Start());
    EXPECT_EQ(board.Ask("SCAL"), std::string("ffff\r\nOK\r\n\0", 11)) << "the next life knows no channels";
}

TEST(Disk, ThatFillsInTheMiddleOfAnImageEndsTheTransferAndTheNextOneSucceeds) {
    LiveBoard board('T', {.clock = 100});
    ASSERT_TRUE(board.Start());
    std::string image(20'003, '\0');
    for (std::size_t i = 0; i < image.size(); ++i) image[i] = static_cast<char>(i * 7 + i / 251);
    const auto send = [&] {
        constexpr std::size_t kPiece = 2035;  // with its keyword as long as a request may be
        std::string reply = board.Ask("UPGR" + std::to_string(image.size()));
        for (std::size_t at = 0; at < image.size() && reply == "OK\r\n"; at += kPiece) {
            reply = board.Ask("UPGR:" + image.substr(at, kPiece));
        }
        return reply;
    };
    Fill("/mnt/hd4", 8192);
    EXPECT_EQ(send(), "KO\r\n Error saving upgrade file at 8192 of 20003 bytes\r\n");
    EXPECT_EQ(board.Ask("UPGR?"), "UPGRSTATUS3 OK\r\n\r\n");
    EXPECT_EQ(board.Ask("UNIT0"), "OK\r\n") << "the transfer is over";
    ASSERT_EQ(std::system("mount -o remount,rw,bind /mnt/hd4 && rm /mnt/hd4/filler"), 0);
    EXPECT_EQ(send(), "OK\r\n");
    EXPECT_EQ(board.Ask("UPGR?"), "UPGRSTATUS2 OK\r\n\r\n");
    const auto burn = board->Settings().Burns().WaitFor([](const Burn&) { return true; });
    ASSERT_TRUE(burn);
    EXPECT_TRUE(burn->good);
    EXPECT_EQ(burn->image, "/mnt/hd4/multiple.tar");
    EXPECT_TRUE(FileText(burn->copy) == image) << "what was burnt isn't what was sent";
}

TEST(Disk, AnItemThatNoLongerParsesIsRefusedAndTheBoardServes) {
    for (const std::string& item : {std::string(2000, 'U'), std::string("UNIT1,239.1.1.1"), std::string("\0\xff", 2),
                                    std::string("UNIT1,") + std::string(1018, ','), std::string("unit0,1")}) {
        std::ofstream(kStartupItem) << item;
        EXPECT_TRUE(LiveOnce([] {
            LiveBoard board('T', {.clock = 100});
            ASSERT_TRUE(board.Start());
            EXPECT_EQ(board->Tools().Lines().All().size(), 0u);
        })) << item;
    }
}

}  // namespace
}  // namespace board
