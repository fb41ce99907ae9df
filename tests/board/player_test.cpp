// The player's own parts: PSI out of packets, orders out of messages, pictures of the screen.
#include "player.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include "mux/description_json.h"
#include "mux/multiplexer.h"

namespace board {
namespace {

constexpr const char* kTwo = R"({"rate": 3000000, "transport_stream_id": 9, "programmes": [
    {"number": 5, "name": "FIVE", "channel": "1.1", "video": {"bit_rate": 500000}, "audio": [{"language": "eng"}]},
    {"number": 6, "name": "SIX", "channel": "1.2", "audio": [{"language": "fra"}, {"language": "spa"}]}]})";

TEST(PsiReader, GivesThePatAndThePmtOfTheChosenProgrammeAlone) {
    const auto stream = mux::MakeMultiplex(mux::ParseDescription(kTwo), {.milliseconds = 1000});
    const struct {
        int chosen;
        ProgrammeStreams found;
    } rows[] = {{0, {5, 0x02, 0x81}}, {5, {5, 0x02, 0x81}}, {6, {6, 0, 0x81}}, {7, {0, 0, 0}}};
    for (const auto& row : rows) {
        std::map<int, int> sections;  // by programme number, 0 for the PAT
        PsiReader reader(row.chosen, 0, [&sections](std::span<std::uint8_t> section) {
            ASSERT_EQ(section.size(), 3u + ((section[1] & 0xFu) << 8 | section[2]));
            ++sections[section[0] == 0 ? 0 : section[3] << 8 | section[4]];
        });
        for (std::size_t at = 0; at < stream.size(); at += mux::kPacketSize)
            reader.Take({&stream[at], mux::kPacketSize});
        EXPECT_EQ(reader.Streams(), row.found) << row.chosen;
        EXPECT_EQ(sections.size(), row.found.programme == 0 ? 1u : 2u) << row.chosen;
        EXPECT_GE(sections[0], 9) << row.chosen;
        EXPECT_GE(sections[row.found.programme], 9) << row.chosen;
    }
}

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

/// Expects a mean colour in a part of a picture, as ffmpeg reads it, up to what its conversions round.
void ExpectColour(const std::string& file, const std::string& crop, int red, int green, int blue) {
    const std::string command = "ffmpeg -v error -i " + file + " -vf crop=" + crop +
                                ",scale=1:1:flags=area -f rawvideo -pix_fmt rgb24 - | od -An -tu1";
    FILE* pipe = popen(command.c_str(), "r");
    int mean[3] = {-1, -1, -1};
    EXPECT_EQ(fscanf(pipe, "%d %d %d", &mean[0], &mean[1], &mean[2]), 3) << command;
    pclose(pipe);
    EXPECT_NEAR(mean[0], red, 3) << crop;
    EXPECT_NEAR(mean[1], green, 3) << crop;
    EXPECT_NEAR(mean[2], blue, 3) << crop;
}

TEST(Screen, IsDrawnWithItsLayersWhereTheyLie) {
    if (std::system("ffmpeg -version >/dev/null 2>&1") != 0) GTEST_SKIP() << "no ffmpeg";
    ASSERT_EQ(std::system("ffmpeg -v error -f lavfi -i color=red:s=64x48 -t 2 -c:v mpeg2video -g 10 -f mpegts "
                          "-mpegts_service_id 5 /mnt/red.ts"),
              0);
    std::ifstream stream("/mnt/red.ts", std::ios::binary);
    Screen screen;
    screen.videoBytes.assign(std::istreambuf_iterator<char>(stream), {});
    screen.video = {25, 25, 50, 50, 255, "Stream"};
    screen.browser = {50, 25, 50, 50, 128, "%{a:page}"};
    screen.picture = {25, 75, 50, 50, 255, "picture"};
    for (const int programme : {5, 0}) {  // 0: its tables haven't come
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
