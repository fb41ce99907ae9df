// UNIT, LANG and RESOLUTION on a receiver: what reaches the player, and what the board remembers of it.
#include <algorithm>
#include <array>

#include "commands/command_fixture.h"
#include "core/statistics.h"
#include "guide/tunermanager.h"
#include "transport.h"
#include "zul.h"

namespace {

using Orders = std::vector<int>;

const Orders kPlay{OSD_LAYER, START_STREAM_DISPLAY};
const Orders kStop{VIDEO_LAYER, OSD_LAYER, STOP_ALL};
const Orders kNone{};
constexpr const char* kAsBefore = "as before";
constexpr const char* kAnalysed = "analysed";
constexpr const char* kSkipped = "not analysed";

}  // namespace

class PlayTest : public ReceiverTest {
 protected:
    /// The state after a play: kind, address and port of the status, whether the host's sections are analysed, the
    /// start-up item, and the text that a change of resolution plays again.
    using State = std::array<std::string, 4>;

    State Now() {
        const std::string status = Ask("STATUS")[0].substr(7);
        const std::uint32_t before = Statistics::Self()->mPatCounter;
        Zul_Filter(transport::Pat(7, ++mPatVersion % 32, {}).data(), 16);
        return {status.substr(0, status.find(' ', 2)), Statistics::Self()->mPatCounter != before ? kAnalysed : kSkipped,
                FileText("/mnt/hd1/zul_def_startup"), LastUnitText()};
    }

    /// Has the agent answer a setting with a text without a value.
    void Confuse(const char* setting) { mAgent.AnswerWith(setting, "no value"); }

    int Set(const char* setting) {
        const auto requests = mAgent.Requests().All();
        return static_cast<int>(std::count_if(
            requests.begin(), requests.end(),
            [setting](const board::SettingsRequest& request) { return request.set && request.name == setting; }));
    }

    PlayerQueue mPlayer;
    unsigned mPatVersion = 0;
};

TEST_F(PlayTest, EveryUnitFromEveryState) {
    // Never played, stopped, playing, and a change that failed.
    const char* const ways[] = {"", "UNIT0", "UNIT1,239.9.9.9,9000,0,9", "UNIT2"};
    struct Step {
        const char* request;
        bool upgrade;
        Texts reply;
        Orders orders;
        State then;
    };
    const char* const unit1 = "UNIT1,239.1.1.1,5000,0,1F";
    const char* const unit3 = "UNIT3,239.1.1.2,5001,5,6";
    const char* const commas = "unit,1,239.1.1.1,5000\r\n";
    // clang-format off
    const Step steps[] = {
        {unit1, false, kOk, kPlay, {"1 239.1.1.1:5000", kAnalysed, unit1, unit1}},
        {unit3, false, kOk, kPlay, {"3 239.1.1.2:5001", kAnalysed, unit3, unit3}},
        {commas, false, kOk, kPlay, {"1 239.1.1.1:5000", kAnalysed, commas, commas}},
        {"UNIT0", false, kOk, kStop, {"0 0.0.0.0:0", kAnalysed, "UNIT0", ""}},
        {"UNIT", false, kOk, kStop, {"0 0.0.0.0:0", kAnalysed, "UNIT", ""}},
        {"UNIT2,239.1.1.1,5000", false, kKo, kNone, {"? :0", kSkipped, kAsBefore, kAsBefore}},
        {"UNIT1,239.1.1.1", false, kKo, kNone, {"? :0", kSkipped, kAsBefore, kAsBefore}},
        {"UNIT3", false, kKo, kNone, {"? :0", kSkipped, kAsBefore, kAsBefore}},
        {"UNIT0", true, kKo, kNone, {kAsBefore, kAsBefore, kAsBefore, kAsBefore}},
        {"UNIT1,239.1.1.1,5000", true, kKo, kNone, {kAsBefore, kAsBefore, kAsBefore, kAsBefore}},
        {"UNIT9,1", false, kKo, kNone, {kAsBefore, kAsBefore, kAsBefore, kAsBefore}},
    };
    // clang-format on
    for (const char* way : ways) {
        for (const Step& step : steps) {
            const std::string where = std::string(way) + " then " + step.request;
            if (way[0] != '\0') Ask(way);
            mPlayer.Take();
            const State before = Now();
            UpgradeState() = step.upgrade ? CommandManager::eUpgradeBurning : CommandManager::eUpgradeIdle;
            EXPECT_EQ(Ask(step.request), step.reply) << where;
            UpgradeState() = CommandManager::eUpgradeIdle;
            EXPECT_EQ(mPlayer.TakeNumbers(), step.orders) << where;
            State wanted = step.then;
            for (std::size_t i = 0; i < wanted.size(); ++i) {
                if (wanted[i] == kAsBefore) wanted[i] = before[i];
            }
            if (wanted[0][0] == '?') wanted[0][0] = before[0][0];
            EXPECT_EQ(Now(), wanted) << where;
        }
    }
}

TEST_F(PlayTest, TheOrdersOfAPlay) {
    const struct {
        const char *request, *address;
        int port, programme;
    } rows[] = {
        {"UNIT1,239.1.1.1,5000,0,1F", "239.1.1.1", 5000, 0x1F},
        {"UNIT1,239.1.1.1,5000,x,12345,2,3", "239.1.1.1", 5000, 0x2345},
        {"UNIT1,239.1.1.1,5000,1F", "239.1.1.1", 5000, 0},
        {"UNIT1,239.1.1.1,70000", "239.1.1.1", 70000 - 65536, 0},
        {"UNIT3,239.1.1.1,5000,5,6", "239.1.1.1", 5000, 0},
        {"UNIT1,,,239.255.255.255.9,1", "239.255.255.255", 1, 0},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Ask(row.request), kOk) << row.request;
        const auto orders = mPlayer.Take();
        ASSERT_EQ(orders.size(), 2u) << row.request;
        EXPECT_EQ(Geometry(orders[0].layer), (std::vector{50, 50, 100, 100, 0, 0, 0})) << row.request;
        const sSTART_STREAM_DISPLAY& stream = orders[1].streamStart;
        EXPECT_STREQ(stream.addr, row.address) << row.request;
        EXPECT_EQ(stream.portNo, row.port) << row.request;
        EXPECT_EQ(stream.videoInfo.vType, row.programme << 16) << row.request;
        EXPECT_EQ(stream.videoInfo.aType, 0) << row.request;
        EXPECT_EQ(stream.dispParam.cmmdId, VIDEO_LAYER) << row.request;
        EXPECT_EQ(Geometry(stream.dispParam), (std::vector{50, 50, 100, 100, 255, 0, 0})) << row.request;
    }
    Ask("UNIT0");
    const auto orders = mPlayer.Take();
    ASSERT_EQ(orders.size(), 3u);
    for (const std::size_t layer : {0u, 1u}) {
        EXPECT_EQ(Geometry(orders[layer].layer), (std::vector{50, 50, 100, 100, 0, 0, 0}));
    }
}

TEST_F(PlayTest, ALineForThePlayerGoesThereUnchanged) {
    EXPECT_EQ(Ask("M710CMMD -stopvid -stopall"), kKo) << "as all commands for the bench";
    EXPECT_EQ(mPlayer.TakeNumbers(), (Orders{STOP_VIDEO, STOP_ALL}));
    EXPECT_EQ(Ask("M710CMMD -stopvid -stopall\r\n"), kKo);
    EXPECT_EQ(mPlayer.TakeNumbers(), Orders{STOP_VIDEO}) << "the last word keeps its line end and is no option";
}

TEST_F(PlayTest, AnotherLanguageChangesThePidsOfTheRunningStream) {
    EXPECT_EQ(Ask("LANGeng,0"), kOk);
    EXPECT_EQ(mPlayer.TakeNumbers(), kNone) << "nothing plays";
    Ask("UNIT1,239.1.1.1,5000,0,1F");
    mPlayer.Take();
    mStatus.Programme(0x1F);
    EXPECT_EQ(Ask("LANGeng,0"), kOk);
    const auto orders = mPlayer.Take();
    ASSERT_EQ(orders.size(), 3u);
    const auto& param = orders[2].dbg.param;
    EXPECT_EQ((std::vector(param, param + 3)), (std::vector{14, 0x1F, 0})) << "no such language: the player's choice";
    Tuner().AddProgramToScanResults(7, 0x1F);
    Tuner().SetLanguageForProgram(7, 0x1F, "eng", Language::eAudio, 0, 0x31, 0);
    for (const char* request : {"LANGeng", "LANGfra,0,eng"}) {
        EXPECT_EQ(Ask(request), kOk);
        EXPECT_EQ(mPlayer.Take().at(2).dbg.param[2], 0x31) << request << ": type 0 where none is given";
    }
}

TEST_F(PlayTest, APlayAppliesTheCaptions) {
    Ask("UNIT1,239.1.1.1,5000");
    EXPECT_EQ(Set("CLOSE_CAPTION"), 0);
    Ask("SUBS4");
    Ask("UNIT1,239.1.1.1,5000");
    EXPECT_EQ(Set("CLOSE_CAPTION"), 2);
    EXPECT_EQ(mAgent.Get("CLOSE_CAPTION"), "4");
    Confuse("CLOSE_CAPTION");
    testing::internal::CaptureStderr();
    EXPECT_EQ(Ask("UNIT1,239.1.1.1,5000"), kOk) << "it plays all the same";
    EXPECT_NE(testing::internal::GetCapturedStderr().find("close caption play"), std::string::npos);
}

TEST_F(PlayTest, AResolutionIsSetSavedAndPlayedAgain) {
    mAgent.Put("VIDEO_RESOLUTION", "3");
    EXPECT_EQ(Ask("RESOLUTION?"), Texts{"RESOLUTION3 OK\r\n"});
    EXPECT_EQ(Ask("RESOLUTION3"), kOk);
    EXPECT_EQ(mPlayer.TakeNumbers(), kNone) << "the same: the player isn't touched";
    EXPECT_EQ(Set("VIDEO_RESOLUTION") + Set("CONFIG_SAVE"), 0);
    EXPECT_EQ(Ask("RESOLUTION4\r\n"), kOk);
    EXPECT_EQ(mPlayer.TakeNumbers(), kStop) << "nothing to play again";
    EXPECT_EQ(mAgent.Get("VIDEO_RESOLUTION") + mAgent.Get("CONFIG_SAVE"), "41");

    Ask("UNIT1,239.1.1.1,5000,0,7");
    mPlayer.Take();
    const State before = Now();
    fast_machine::TakeSleeps();
    EXPECT_EQ(Ask("RESOLUTION5"), kOk);
    const auto sleeps = fast_machine::TakeSleeps();
    EXPECT_EQ(std::count(sleeps.begin(), sleeps.end(), 5'000'000), 1);
    EXPECT_EQ(mPlayer.TakeNumbers(), (Orders{VIDEO_LAYER, OSD_LAYER, STOP_ALL, OSD_LAYER, START_STREAM_DISPLAY}));
    EXPECT_EQ(Now(), before) << "the replay saves nothing, and can be replayed";
}

TEST_F(PlayTest, AResolutionThatTheAgentRefusesLeavesThePlayerAlone) {
    mAgent.Put("VIDEO_RESOLUTION", "3");
    mAgent.Set(board::Fault::kLying);
    EXPECT_EQ(Ask("RESOLUTION7"), kKo);
    EXPECT_EQ(Set("CONFIG_SAVE"), 0);
    mAgent.Set(board::Fault::kNone);
    Confuse("VIDEO_RESOLUTION");
    EXPECT_EQ(Ask("RESOLUTION?"), kKo);
    EXPECT_EQ(Ask("RESOLUTION4"), kKo);
    EXPECT_EQ(mPlayer.TakeNumbers(), kNone);
}
