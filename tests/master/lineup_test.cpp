// Playlists and guides for other programs: hostile texts, and how such programs read them.
#include "export/lineup.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/shell.h"

namespace zulctl {
namespace {

constexpr Minutes kEvening = std::chrono::sys_days(std::chrono::year(2026) / 3 / 1) + std::chrono::minutes(1170);

Channel Named(const std::string& name, int number, std::uint16_t programme, int tuner = 7) {
    return {number, {0x811, programme}, tuner, 255, 2, 0x81, false, name};
}

/// \return what another program says of a text
std::string Judged(const std::string& text, const std::string& command) {
    std::ofstream("/mnt/judged") << text;
    return Shell(command + " /mnt/judged && echo good").text;
}

TEST(Lineup, PutsEachChannelToTheBestStreamOfItsOwnTunerChannel) {
    TransmitterStatus status;
    status.streams = {{0, true, *ParseEndpoint("239.1.1.1:5000"), {3, 4}},
                      {1, true, *ParseEndpoint("239.1.1.2:5000"), {4}},
                      {2, false, *ParseEndpoint("239.1.1.3:5000"), {5}}};
    const Lineup lineup = LineupOf(
        "a\"b",
        {Named("A", 71, 3), Named("B\" y=\"1\r\nudp://evil, 映画", 72, 4), Named("C", 73, 5), Named("D", 91, 3, 9)},
        status, 7);
    ASSERT_EQ(lineup.size(), 4u);
    EXPECT_EQ(EndpointText(*lineup[0].stream), "239.1.1.1:5000");
    EXPECT_TRUE(lineup[0].shares);
    EXPECT_EQ(EndpointText(*lineup[1].stream), "239.1.1.2:5000") << "of its own";
    EXPECT_FALSE(lineup[2].stream) << "stopped";
    EXPECT_FALSE(lineup[3].stream) << "the same number on another channel";
    EXPECT_EQ(lineup[3].Id(), "p3.t811.c9.zul");

    const std::string head = "#EXTM3U x-tvg-url=\"http://h/g.xml\"\n", vlc = M3uText(lineup, Player::kVlc, ""),
                      kodi = M3uText(lineup, Player::kKodi, "http://h/g.xml");
    EXPECT_EQ(vlc,
              "#EXTM3U\n"
              "#EXTINF:-1 tvg-id=\"p3.t811.c7.zul\" tvg-name=\"A\" tvg-chno=\"7.1\" group-title=\"a'b\",A\n"
              "#EXTVLCOPT:program=3\n"
              "udp://@239.1.1.1:5000\n"
              "#EXTINF:-1 tvg-id=\"p4.t811.c7.zul\" tvg-name=\"B' y='1  udp://evil  映画\" tvg-chno=\"7.2\" "
              "group-title=\"a'b\","
              "B\" y=\"1  udp://evil, 映画\n"
              "udp://@239.1.1.2:5000\n")
        << "a name adds no line and no attribute";
    EXPECT_TRUE(kodi.starts_with(head)) << kodi;
    EXPECT_NE(kodi.find("program_number=3\nudp://239.1.1.1:5000\n"), std::string::npos) << kodi;
}

TEST(Xmltv, IsAcceptedByItsOwnValidatorWhateverIsInTheTexts) {
    const auto event = [](int minutes, int length, const std::string& title, const std::string& text) {
        return GuideEvent{kEvening + std::chrono::minutes(minutes), std::chrono::minutes(length), title, text};
    };
    LineupEntry one{"attic", Named("<ONE> & \"co\"", 71, 3), std::nullopt, false, {}};
    one.events = {event(0, 30, "News & <weather>", "]]> \x01\x1b[2J \xC2\x9B \xEF\xBF\xBF \xEF\xBF\xBD end"),
                  event(30, 0, "\x02", ""), event(300, 20, "Žofín 映画", "after midnight")};
    LineupEntry twin = one, unnamed{"attic", Named("", 0, 4), std::nullopt, false, {}};
    twin.board = "cellar", twin.events.clear();
    const std::string text = XmltvText({twin, one, unnamed});
    EXPECT_NE(text.find("<programme start=\"20260301193000 +0000\" stop=\"20260301200000 +0000\""), std::string::npos)
        << text;
    EXPECT_NE(text.find("start=\"20260302003000 +0000\""), std::string::npos) << text;
    EXPECT_EQ(text.find("<channel id=\"p3."), text.rfind("<channel id=\"p3.")) << "two boards, one channel: " << text;
    EXPECT_EQ(text.find("<channel id=\"p4."), std::string::npos) << "nothing is known of it: " << text;

    if (std::system("command -v tv_validate_file >/dev/null") != 0) GTEST_SKIP() << "xmltv-util isn't installed";
    const std::string judge = "tv_validate_file --dtd-file " ZUL_XMLTV_DTD;
    EXPECT_TRUE(Judged(text, judge).ends_with("good\n")) << Judged(text, judge) << text;
}

}  // namespace
}  // namespace zulctl
