// A receiver's commands: what reaches the player, the browser, the agent and the disk.
#include <sys/msg.h>

#include "commands/command_fixture.h"
#include "kbl_interprocess.h"

namespace {

const Texts kOk{"OK\r\n"};
const Texts kKo{"KO\r\n"};

/// The player's command queue, as the player opens it.
class PlayerQueue {
 public:
    PlayerQueue() : mId(msgget(1234, IPC_CREAT | 0666)) {}

    /// \return the orders that wait, their numbers alone
    std::vector<int> TakeNumbers() {
        std::vector<int> numbers;
        struct { long type; sMSG_COMMON_FORMAT record; char padding[16]; } message{};
        while (msgrcv(mId, &message, sizeof message - sizeof message.type, 2, IPC_NOWAIT | MSG_NOERROR) >= 0) {
            numbers.push_back(message.record.cmmd.cmmdId);
            if (numbers.back() == START_STREAM_DISPLAY) stream = message.record.streamStart;
            if (numbers.back() == BROWSER_START) page = message.record.browser;
            if (numbers.back() == VIDEO_LAYER) layer = message.record.layer;
        }
        return numbers;
    }
    sSTART_STREAM_DISPLAY stream{};
    sSTART_FILE_PLAY page{};
    sKBL_LAYER_INFO layer{};

 private:
    int mId;
};

using Orders = std::vector<int>;

}  // namespace

class PlayTest : public ReceiverTest {
 protected:
    PlayerQueue mPlayer;
};

TEST_F(PlayTest, UnitPlaysStopsAndRefuses) {
    struct Step { const char* request; Texts reply; Orders orders; int kind; bool sections; std::string status; };
    const Step steps[] = {
        {"UNIT1,239.1.1.1,5000,0,1F", kOk, {OSD_LAYER, START_STREAM_DISPLAY}, 1, true, "1 239.1.1.1:5000"},
        {"UNIT1,239.1.1.1,5000,0,1F", kOk, {OSD_LAYER, START_STREAM_DISPLAY}, 1, true, "1 239.1.1.1:5000"},
        {"UNIT3,239.1.1.2,5001,5,6", kOk, {OSD_LAYER, START_STREAM_DISPLAY}, 3, true, "3 239.1.1.2:5001"},
        {"UNIT2,239.1.1.2,5001", kKo, {}, 3, false, "3 :0"},
        {"UNIT1,239.1.1.1", kKo, {}, 3, false, "3 :0"},
        {"UNIT1", kKo, {}, 3, false, "3 :0"},
        {"UNIT,1,239.1.1.1,5000\r\n", kOk, {OSD_LAYER, START_STREAM_DISPLAY}, 1, true, "1 239.1.1.1:5000"},
        {"UNIT", kOk, {VIDEO_LAYER, OSD_LAYER, STOP_ALL}, 0, true, "0 0.0.0.0:0"},
        {"UNIT9,1", kKo, {}, 0, true, "0 0.0.0.0:0"},
    };
    for (const Step& step : steps) {
        EXPECT_EQ(Ask(step.request), step.reply) << step.request;
        EXPECT_EQ(mPlayer.TakeNumbers(), step.orders) << step.request;
        EXPECT_EQ(LastUnit(), step.kind) << step.request;
        EXPECT_EQ(process_pat, step.sections) << step.request;
        EXPECT_EQ(Ask("STATUS")[0].substr(7, step.status.size()), step.status) << step.request;
    }
    EXPECT_EQ(FileText("/mnt/hd1/zul_def_startup"), "UNIT");
    Ask("UNIT1,239.1.1.1,5000,0,1F");
    mPlayer.TakeNumbers();
    EXPECT_STREQ(mPlayer.stream.addr, "239.1.1.1");
    EXPECT_EQ(mPlayer.stream.portNo, 5000);
    EXPECT_EQ(mPlayer.stream.videoInfo.vType, 0x1F0000);
    EXPECT_EQ(mPlayer.stream.dispParam.cmmdId, VIDEO_LAYER);
    EXPECT_EQ(mPlayer.stream.dispParam.alpha, 255);
    UpgradeState() = CommandManager::eUpgradeBurning;
    EXPECT_EQ(Ask("UNIT0"), kKo);
    EXPECT_EQ(mPlayer.TakeNumbers(), Orders{}) << "the player isn't stopped";
}

TEST_F(PlayTest, UrlShowsPagesInTheStoredWindow) {
    struct Step { const char* request; std::string page; std::int32_t x, y, w, h, alpha, video; const char* captions; };
    const char* const blank = "/mnt/hd1/bplayer_app/data/blankPage.html";
    Ask("SUBS3");
    const Step steps[] = {
        {"URLhttp://a/b.html\r\n", "http://a/b.html", 50, 50, 100, 100, 0, 1, "3"},
        {"URL,640,384,640,384,255,128", "http://a/b.html", 75, 75, 50, 50, 255, 128, "0"},
        {"URL,2000,-768", "http://a/b.html", 75, -75, 50, 50, 255, 128, "0"},
        {"URLblank,0,0,1280,768,256,255", blank, 50, 50, 100, 100, 255, 255, "3"},
        {"URL0x", blank, 50, 50, 100, 100, 255, 255, "3"},
    };
    for (const Step& step : steps) {
        EXPECT_EQ(Ask(step.request), kOk) << step.request;
        EXPECT_EQ(mPlayer.TakeNumbers(), (Orders{BROWSER_LAYER, VIDEO_LAYER, BROWSER_START})) << step.request;
        const sKBL_LAYER_INFO& window = mPlayer.page.dispParam;
        EXPECT_STREQ(mPlayer.page.fileName, step.page.c_str()) << step.request;
        EXPECT_EQ((std::vector{window.centerX, window.centerY, window.width, window.height, window.alpha}),
                  (std::vector{step.x, step.y, step.w, step.h, step.alpha})) << step.request;
        EXPECT_EQ(mPlayer.layer.alpha, step.video) << step.request;
        EXPECT_EQ(mAgent.Get("CLOSE_CAPTION"), step.captions) << step.request;
    }
    EXPECT_EQ(Ask("URLKEY65534"), kOk);
    EXPECT_EQ(Ask("URLkey65535"), kKo);
    EXPECT_EQ(Ask("URL" + std::string(1000, 'u')), kOk) << "a page longer than its field";
    mPlayer.TakeNumbers();
    EXPECT_EQ(std::strlen(mPlayer.page.fileName), 255u);
}

TEST_F(PlayTest, LayersResolutionCaptionsRemote) {
    struct Step { const char* request; Texts reply; Orders orders; };
    const Step steps[] = {
        {"VSCALE,0,0,100,100", kOk, {BROWSER_LAYER, VIDEO_LAYER}}, {"VSCALE", kOk, {BROWSER_LAYER, VIDEO_LAYER}}, {"VSCALE,101", kKo, {}}, {"VSCALE,0,0,0,0,256", kKo, {}},
        {"RESOLUTION?", {"RESOLUTION3 OK\r\n"}, {}}, {"RESOLUTION3", kOk, {}}, {"RESOLUTION4", kOk, {VIDEO_LAYER, OSD_LAYER, STOP_ALL}},
        {"SUBS6", kOk, {}}, {"SUBSoff", kOk, {}}, {"SUBS", kKo, {}}, {"REMOTE00", kKo, {}}, {"REMOTEff", kKo, {}}, {"REMOTE", kKo, {}}, {"REMOTE6e\r\n", kOk, {}},
        {"TIME", kKo, {}}, {"EITN1,2", kKo, {}}, {"TUNERMODE1", kKo, {}}, {"Tuner://5", kKo, {}}, {"SCA?", kKo, {}}, {"BLIND0", kKo, {}}, {"LANGeng,0", kOk, {}},
        {"UARTabc", kOk, {}}, {"UART", kOk, {}}, {"SUART9600,8", kKo, {}}, {"SUART9600,8,N", kKo, {}}, {"SUART9600,8,NONE,1", kKo, {}}, {"SUART9600,8,N,1", kOk, {}},
    };
    mAgent.Put("VIDEO_RESOLUTION", "3");
    for (const Step& step : steps) {
        EXPECT_EQ(Ask(step.request), step.reply) << step.request;
        EXPECT_EQ(mPlayer.TakeNumbers(), step.orders) << step.request;
    }
    EXPECT_EQ(mStatus.IrSystemCode(), 0x916Eu);
    EXPECT_EQ(mAgent.Get("SERIAL_PARAMETERS"), "9600,N,8,1");
    EXPECT_EQ(mAgent.Get("VIDEO_RESOLUTION"), "4");
    Ask("UNIT1,239.1.1.1,5000,0,7");
    mPlayer.TakeNumbers();
    EXPECT_EQ(Ask("RESOLUTION5"), kOk);
    EXPECT_EQ(mPlayer.TakeNumbers(), (Orders{VIDEO_LAYER, OSD_LAYER, STOP_ALL, OSD_LAYER, START_STREAM_DISPLAY})) << "the stream comes back";
    EXPECT_EQ(FileText("/mnt/hd1/zul_def_startup"), "UNIT1,239.1.1.1,5000,0,7") << "the replay saves nothing";
    mAgent.AnswerWith("VIDEO_RESOLUTION", "no");
    EXPECT_EQ(Ask("RESOLUTION?"), kKo);
}

TEST_F(PlayTest, KeysAndSerialBytesReachTheMasterThatAsked) {
    EXPECT_EQ(Ask("REMOTE6e"), kOk);
    EXPECT_EQ(Ask("CALLBACK1").back(), kOk[0]) << "whatever the log channel says of the missing serial port";
    const struct { long type; char text[16]; } key{1, {0, 0, 0, 0, 11}};
    ASSERT_EQ(msgsnd(msgget(1250, 0), &key, 16, 0), 0);
    EXPECT_EQ(mMaster.TakeCount(1), Texts{std::string("REMOTE\x01\x04\x6e\x07\x00\xcc", 12)});
    EXPECT_EQ(Ask("CALLBACK10"), kOk) << "the log channel reads one character, the forwarding a number";
    EXPECT_NE(error_udp_sender.load(), nullptr);
    ASSERT_EQ(msgsnd(msgget(1250, 0), &key, 16, 0), 0);
    EXPECT_TRUE(mMaster.Take(100).empty());
    EXPECT_EQ(Ask("CALLBACK0"), kOk);
    EXPECT_EQ(error_udp_sender.load(), nullptr);
    ASSERT_EQ(msgsnd(msgget(1250, 0), &key, 16, 0), 0);
    EXPECT_TRUE(mMaster.Take(100).empty());
    const std::string page = FileText("/mnt/hd1/zul_def_startup");
    Boot();
    EXPECT_EQ(mPlayer.TakeNumbers(), Orders{}) << "no start-up item";
}
