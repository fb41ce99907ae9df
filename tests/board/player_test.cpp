// The player: layers by its orders, and pictures of the screen.
#include "player.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "support/shell.h"

namespace board {
namespace {

/// Sends a record as the module does: its bytes and four zero bytes.
template <typename Record>
void Order(const Record& record) {
    std::string text(reinterpret_cast<const char*>(&record), sizeof record);
    Queue(1234).Send({2, text + std::string(4, '\0')});
}

TEST(Player, KeepsTheLayersThatItsOrdersMake) {
    StatusBlock block;
    Player player(&block, {[](std::span<std::uint8_t>) {}, [](const std::string&) {}});
    sSTART_FILE_PLAY page{};
    page.cmmdId = BROWSER_START;
    page.dispParam = {0, 25, 25, 50, 50, 200, 0, 0};
    std::strcpy(page.fileName, "http://10.0.0.9/");
    Order(page);
    Order(sKBL_LAYER_INFO{VIDEO_LAYER, 40, 60, 30, 20, 255, 0, 0});
    player.Orders().WaitForCount(2);
    const Screen screen = player.Shown();
    EXPECT_TRUE(screen.browser.IsVisible());
    EXPECT_EQ(screen.browser.item, "http://10.0.0.9/");
    EXPECT_EQ(screen.browser.width, 50);
    EXPECT_EQ(screen.video.centerY, 60);
    EXPECT_FALSE(screen.video.IsVisible()) << "it plays nothing";
    Order(sCMD_ONLY{STOP_ALL});
    player.Orders().WaitForCount(3);
    EXPECT_FALSE(player.Shown().browser.IsVisible());
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
    screen.video = {25, 25, 50, 50, 255, "Stream"};
    screen.browser = {50, 25, 50, 50, 128, "%{a:page}"};
    screen.picture = {25, 75, 50, 50, 255, "picture"};
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
