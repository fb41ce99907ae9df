// A scan as its master sees it, and the master's requests after it: channel list, guide, languages.
#include <gtest/gtest.h>

#include <algorithm>

#include "evidence.h"
#include "live_board.h"

namespace board {
namespace {

using Lines = std::vector<std::string>;

/// A band of strong and weak channels: two multiplexes, one of nothing but null packets, one too weak.
class Scan : public testing::Test {
 protected:
    static LiveOptions Band() {
        auto multiplex = SmallMultiplex();
        WriteStream("/mnt/seven.ts", multiplex);
        multiplex.transportStreamId = 78;
        multiplex.programmes.erase(multiplex.programmes.begin());
        WriteStream("/mnt/thirteen.ts", multiplex);
        return {.band = {{7, {"/mnt/seven.ts", 5}},
                         {9, {"/mnt/seven.ts", 2}},
                         {11, {"", 3}},
                         {13, {"/mnt/thirteen.ts", 3}}},
                .clock = 50};
    }

    /// Lines of the channel list that the small multiplex makes, in the order of its PAT.
    static Lines Listed() {
        return {"SCAL 111 004d 0001 [07:0:ff:02:81] C A ONE", "SCAL 112 004d 0002 [07:0:ff:02:81] C A TWO",
                "SCAL 113 004d 0003 [07:0:ff:02:81] E A THREE", "SCAL 112 004e 0002 [0d:0:99:02:81] C A TWO",
                "SCAL 113 004e 0003 [0d:0:99:02:81] E A THREE"};
    }

    static std::string Reply(const Lines& lines) {
        std::string reply;
        for (const auto& line : lines) reply += line + "\r\n";
        return reply + std::string("ffff\r\nOK\r\n\0", 11);
    }

    static std::string State(int channel, int found, int state) {
        return {'\0', static_cast<char>(channel), static_cast<char>(found), static_cast<char>(state)};
    }
};

TEST_F(Scan, TellsItsMasterEachStepAndRemembersWhatItFound) {
    const LiveOptions band = Band();
    ASSERT_TRUE(LiveOnce([&band] {
        LiveBoard board('T', band);
        ASSERT_TRUE(board.Start());
        EXPECT_EQ(board.Ask("SCA?"), State(0, 0, 0));
        EXPECT_EQ(board.Ask("BLIND0"), "BLINDSTART:0 OK\r\n");
        const Lines messages = board.HearUntil("BLINDCMP", Milliseconds(60'000));
        const Lines expected = {"BLINDLOCK:7 OK\r\n",  "BLINDFND:3 OK\r\n", "BLINDLOCK:11 OK\r\n", "BLINDFND:0 OK\r\n",
                                "BLINDLOCK:13 OK\r\n", "BLINDFND:2 OK\r\n", "BLINDCMP:0 OK\r\n"};
        EXPECT_EQ(messages, expected);
        EXPECT_EQ(board.Ask("SCA?"), State(70, 3, 5));
        EXPECT_EQ(board.Ask("SCAL"), Reply(Listed()));
        EXPECT_EQ(board.Ask("LAN?"), "OK\r\n") << "the tuner stands behind the band";
        EXPECT_EQ(board->TheTuner().Tunings().All().size(), 68u);
        EXPECT_FALSE(board->Daemon().IsWritable(1));
    }));
    LiveBoard board('T', {.clock = 200});
    ASSERT_TRUE(board.Start());
    EXPECT_EQ(board.Ask("SCAL"), Reply(Listed())) << "the saved list";
}

TEST_F(Scan, StopsAfterTheChannelInProgress) {
    LiveBoard board('T', Band());
    ASSERT_TRUE(board.Start());
    EXPECT_EQ(board.Ask("BLIND0"), "BLINDSTART:0 OK\r\n");
    EXPECT_EQ(board.HearUntil("BLINDLOCK:7").back(), "BLINDLOCK:7 OK\r\n");
    board.Send("BLIND99");
    const Lines messages = board.HearUntil("BLINDCMP");
    EXPECT_EQ(messages.back(), "BLINDCMP:0 OK\r\n");
    EXPECT_EQ(std::count(messages.begin(), messages.end(), "OK\r\n"), 1);
    EXPECT_TRUE(StartsWith(board.Ask("SCA?").substr(3), "\x05"));
    EXPECT_LT(board->TheTuner().Tunings().All().back().channel, 13);
    EXPECT_EQ(board.Ask("SCAL"), Reply({Listed()[0], Listed()[1], Listed()[2]}));
    EXPECT_TRUE(StartsWith(FileText("/mnt/hd1/zul_scan_results"), "111 004d 0001 ")) << "what was found is saved";
}

TEST_F(Scan, OfOneChannelLeavesItsGuideAndLanguagesAtHand) {
    LiveBoard board('T', Band());
    ASSERT_TRUE(board.Start());
    board.Send("Tuner://7");
    EXPECT_EQ(board.HearUntil("BLINDCMP").back(), "BLINDCMP:0 OK\r\n");
    EXPECT_EQ(board.Ask("SCAL"), Reply({Listed()[0], Listed()[1], Listed()[2]}));
    // The stream that follows tunes the channel again: its guide and languages come with it.
    EXPECT_EQ(board.Ask("UNIT1,239.1.1.1,5001,7,4d,1"), "OK\r\n");
    EXPECT_EQ(board.Ask("LAN?"),
              "LANG 004d 0001 eng00,spa01\r\nLANG 004d 0002 fra00\r\nLANG 004d 0003 eng00\r\nOK\r\n");
    EXPECT_EQ(board.Ask("SUB?"), "SUB 004d 0001 eng\r\nSUB 004d 0002 \r\nSUB 004d 0003 \r\nOK\r\n");
    const std::string guide = board.Ask("EITN4d,1");
    EXPECT_NE(guide.find("S4,00[News]L29,00[What happened today, and why.]"), std::string::npos) << guide;
    EXPECT_NE(guide.find("[The Feature Film]"), std::string::npos) << guide;
    for (const auto& [span, follows] : {std::pair{"0039", false}, {"0040", true}}) {  // the news takes 40 minutes
        EXPECT_EQ(board.Ask(std::string("EITL4d,1,") + span).find("Film") != std::string::npos, follows) << span;
    }
    EXPECT_TRUE(StartsWith(board.Ask("TIME"), "TIME "));
    // Languages are chosen by what the filter lets through.
    GroupListener group("239.1.1.1", 5001);
    const auto programme = SmallMultiplex().programmes.at(0);
    EXPECT_EQ(board.Ask("LANGspa,1"), "OK\r\n");
    group.Collect(100'000);
    const Evidence evidence = group.Collect(200'000);
    EXPECT_TRUE(evidence.Has(programme.audio.at(1).pid));
    EXPECT_FALSE(evidence.Has(programme.audio.at(0).pid));
}

}  // namespace
}  // namespace board
