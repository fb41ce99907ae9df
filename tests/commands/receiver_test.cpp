// A receiver's other commands: captions, the remote, the serial port; URL and VSCALE, with pages, the keys for them and
// the place of the layers.
#include <sys/msg.h>

#include "browser_controller.h"
#include "commands/command_fixture.h"
#include "core/log.h"
#include "infrared_service.h"
#include "serial_port.h"
#include "zul.h"

TEST_F(ReceiverTest, EveryRequestHasItsReply) {
    for (const char* request : {"SUBS6", "SUBSoff", "REMOTE6e\r\n", "UART", "VIDEO"}) EXPECT_EQ(Ask(request), kOk);
    for (const char* request : {"SUBS", "REMOTE00", "REMOTEff", "REMOTE", "SUART9600,8,N"})
        EXPECT_EQ(Ask(request), kKo);
    for (const auto& row : Keywords()) {
        if (row.roles != Roles::kTransmitter) continue;
        EXPECT_EQ(Ask(std::string(row.keyword)), kKo) << row.keyword;
    }
    EXPECT_EQ(mStatus.IrSystemCode(), 0x916Eu);
    EXPECT_TRUE(PlayerQueue().Take().empty());
}

TEST_F(ReceiverTest, KeysAndSerialBytesReachTheMasterThatAsked) {
    board::SerialPort serial;
    const struct {
        long type;
        char text[16];
    } key{1, {0, 0, 0, 0, 11}};
    // The log channel reads one character, the forwarding a number.
    for (const auto& [request, forwards, logs] :
         {std::tuple{"CALLBACK1", true, true}, {"CALLBACK10", false, true}, {"CALLBACK0", false, false}}) {
        EXPECT_EQ(Ask(request), kOk);
        EXPECT_EQ(error_udp_sender.load() != nullptr, logs) << request;
        serial.Send("a");
        EXPECT_EQ(mMaster.Take(forwards ? 2000 : 50), Texts(forwards, "UARTa")) << request;
        ASSERT_EQ(msgsnd(msgget(1250, 0), &key, 16, 0), 0);
        EXPECT_EQ(mMaster.Take(forwards ? 2000 : 50), Texts(forwards, {"REMOTE\x01\x04\0\x07\0\xcc", 12})) << request;
    }
}

TEST_F(ReceiverTest, AnAcceptedUnitIsPlayedAgainAtBoot) {
    const PlayerQueue player;
    BeaconStart('R');
    Boot();
    EXPECT_TRUE(player.Take().empty()) << "no start-up item";
    for (const auto& [request, orders] : {std::pair{"UNIT1,239.1.1.1,5000,0,1F", 2u}, {"UNIT0", 0u}}) {
        for (const char* asked : {request, "UNIT2"}) Ask(asked);
        player.Take();
        Boot();
        EXPECT_EQ(player.Take().size(), orders) << request;
        EXPECT_EQ(FileText("/mnt/hd1/zul_def_startup"), request);
    }
}

class UrlTest : public ReceiverTest {
 protected:
    PlayerQueue mPlayer;
    board::BrowserController mBrowser;
};

TEST_F(UrlTest, ShowsPagesInTheStoredWindow) {
    struct Step {
        const char* request;
        const char* page;
        int x, y, w, h, alpha, video;
        const char* captions;
    };
    const char* const blank = "/mnt/hd1/bplayer_app/data/blankPage.html";
    // clang-format off
    const Step steps[] = {
        {"URLhttp://a/b.html\r\n", "http://a/b.html", 50, 50, 100, 100, 0, 1, "3"},
        {"URL,640,384,640,384,255,128", "http://a/b.html", 75, 75, 50, 50, 255, 128, "0"},
        {"URL,2000,-768,-1,769,256,-1", "http://a/b.html", 75, -75, 50, 50, 255, 128, "0"},
        {"URL,,,,,0", "http://a/b.html", 75, -75, 50, 50, 0, 128, "3"},
        {"URLpage,13,8,13,8,1,254", "page", 1, 1, 1, 1, 1, 254, "0"},  // each term is truncated separately
        {"URL,-13,-8", "page", -1, -1, 1, 1, 1, 254, "0"},
        {"URLblank,0,0,1280,768,255,255", blank, 50, 50, 100, 100, 255, 255, "3"},
        {"url10", "10", 50, 50, 100, 100, 255, 255, "3"},
        {"URL0x", blank, 50, 50, 100, 100, 255, 255, "3"},
        {"URLblanker", "blanker", 50, 50, 100, 100, 255, 255, "3"},
    };
    // clang-format on
    Ask("SUBS3");
    EXPECT_EQ(Ask("URL"), kOk);
    EXPECT_STREQ(mPlayer.Take().at(2).browser.fileName, "0") << "the first of the numbers takes the page's place";
    for (const Step& step : steps) {
        EXPECT_EQ(Ask(step.request), kOk) << step.request;
        const auto orders = mPlayer.Take();
        ASSERT_EQ(orders.size(), 3u) << step.request;
        EXPECT_EQ(orders[0].cmmd.cmmdId, BROWSER_LAYER) << step.request;
        EXPECT_EQ(orders[1].cmmd.cmmdId, VIDEO_LAYER) << step.request;
        for (const std::size_t layer : {0u, 1u}) {
            EXPECT_EQ(Geometry(orders[layer].layer), (std::vector{50, 50, 100, 100, step.video, 0, 0})) << step.request;
        }
        const sSTART_FILE_PLAY& page = orders[2].browser;
        EXPECT_EQ(page.cmmdId, BROWSER_START) << step.request;
        EXPECT_STREQ(page.fileName, step.page) << step.request;
        EXPECT_EQ(Geometry(page.dispParam), (std::vector{step.x, step.y, step.w, step.h, step.alpha, 0, 0}))
            << step.request;
        EXPECT_EQ(page.durSec, 0u) << step.request;
        EXPECT_EQ(mAgent.Get("CLOSE_CAPTION"), step.captions) << step.request;
    }
}

TEST_F(UrlTest, LongPagesAreHeldToTheirFields) {
    // The record takes 255 characters, the board remembers 1023; a field of more than 1024 isn't taken at all.
    const std::string page = "p" + std::string(1023, 'u');
    for (const std::size_t length : {255u, 256u, 1023u, 1024u, 1025u, 2000u}) {
        EXPECT_EQ(Ask("URL" + page.substr(0, 255) + std::string(length - 255, 'v')), kOk) << length;
        const auto orders = mPlayer.Take();
        ASSERT_EQ(orders.size(), 3u) << length;
        EXPECT_EQ(orders[2].browser.fileName, page.substr(0, 255)) << length;
        EXPECT_EQ(Geometry(orders[2].browser.dispParam), (std::vector{50, 50, 100, 100, 0, 0, 0})) << length;
    }
}

TEST_F(UrlTest, KeysGoToTheBrowser) {
    for (const char* request : {"URLkey16", "URLKEY65534", "UrlKey0", "URLkey"})
        EXPECT_EQ(Ask(request), kOk) << request;
    for (const char* request : {"URLkey65535", "URLkey-1", "URLkey99999999999"})
        EXPECT_EQ(Ask(request), kKo) << request;
    const auto orders = mBrowser.Orders().WaitForCount(4);
    ASSERT_EQ(orders.size(), 4u);
    EXPECT_EQ(orders[0].text + orders[1].text + orders[2].text + orders[3].text, "-k16-k65534-k0-k0");
    EXPECT_TRUE(mPlayer.Take().empty());
}

TEST_F(UrlTest, ThePageOnTheScreenHasTheRemotesKeys) {
    board::InfraredService remote;
    Ask("URLpage,,,,,255,0");
    remote.Press(11);
    ASSERT_EQ(mBrowser.Orders().WaitForCount(1).size(), 1u);
    EXPECT_EQ(mBrowser.Orders().All()[0].text, "-k011");
    mAgent.AnswerWith("CLOSE_CAPTION", "no value");
    EXPECT_EQ(Ask("URL,,,,,0"), kKo) << "the agent fails: the page is shown, the keys stay where they were";
    EXPECT_EQ(mPlayer.Take().size(), 6u);
    remote.Press(12);
    ASSERT_EQ(mBrowser.Orders().WaitForCount(2).size(), 2u);
    EXPECT_EQ(mBrowser.Orders().All()[1].text, "-k012");
}

TEST_F(UrlTest, ScalePlacesBothLayersByTheirCorner) {
    const std::pair<const char*, std::vector<int>> placed[] = {
        {"VSCALE,0,0,100,100", {50, 50, 100, 100, 255, 0, 0}}, {"VSCALE", {100, 100, 100, 100, 255, 0, 0}},
        {"VSCALE,10,20,31,41,7", {25, 40, 31, 41, 7, 0, 0}},   {"vscale,100,0,0,0,0", {100, 0, 0, 0, 0, 0, 0}},
        {"VSCALE,,5,,6", {55, 56, 100, 100, 255, 0, 0}},
    };
    for (const auto& [request, place] : placed) {
        EXPECT_EQ(Ask(request), kOk) << request;
        const auto orders = mPlayer.Take();
        ASSERT_EQ(orders.size(), 2u) << request;
        EXPECT_EQ(orders[0].cmmd.cmmdId, BROWSER_LAYER) << request;
        EXPECT_EQ(orders[1].cmmd.cmmdId, VIDEO_LAYER) << request;
        for (const sMSG_COMMON_FORMAT& order : orders) EXPECT_EQ(Geometry(order.layer), place) << request;
    }
    for (const char* request : {"VSCALE,101", "VSCALE,-1", "VSCALE,0,101", "VSCALE,0,0,101", "VSCALE,0,0,0,101",
                                "VSCALE,0,0,0,0,256", "VSCALE,0,0,0,0,-1"}) {
        EXPECT_EQ(Ask(request), kKo) << request;
    }
    EXPECT_TRUE(mPlayer.Take().empty());
}
