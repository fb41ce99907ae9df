// Playlists and guides for other programs: hostile texts in them, and what such programs make of them.
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
    const Lineup lineup =
        LineupOf("attic", {Named("A", 71, 3), Named("B", 72, 4), Named("C", 73, 5), Named("D", 91, 3, 9)}, status, 7);
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
              "#EXTINF:-1 tvg-id=\"p3.t811.c7.zul\" tvg-name=\"A\" tvg-chno=\"7.1\" group-title=\"attic\",A\n"
              "#EXTVLCOPT:program=3\n"
              "udp://@239.1.1.1:5000\n"
              "#EXTINF:-1 tvg-id=\"p4.t811.c7.zul\" tvg-name=\"B\" tvg-chno=\"7.2\" group-title=\"attic\",B\n"
              "udp://@239.1.1.2:5000\n");
    EXPECT_TRUE(kodi.starts_with(head)) << kodi;
    EXPECT_NE(kodi.find("program_number=3\nudp://239.1.1.1:5000\n"), std::string::npos) << kodi;
}

TEST(Lineup, ANameCannotAddALineOrAnAttribute) {
    LineupEntry entry{"a\"b", Named("X\" y=\"1\r\nudp://evil", 0, 1), *ParseEndpoint("239.1.1.1:5000"), false, {}};
    EXPECT_EQ(M3uText({entry}, Player::kVlc, ""),
              "#EXTM3U\n#EXTINF:-1 tvg-id=\"p1.t811.c7.zul\" tvg-name=\"X' y='1  udp://evil\" group-title=\"a'b\","
              "X\" y=\"1  udp://evil\nudp://@239.1.1.1:5000\n");

    if (std::system("/usr/bin/python3 -c 'import gi; gi.require_version(\"TotemPlParser\", \"1.0\")' 2>/dev/null") != 0)
        GTEST_SKIP() << "python3-gi or gir1.2-totemplparser-1.0 isn't installed";
    LineupEntry next{"b", Named("Žofín, 映画", 72, 2), *ParseEndpoint("239.1.1.2:5000"), true, {}};
    for (const Player player : {Player::kVlc, Player::kKodi}) {
        const std::string at = player == Player::kVlc ? "udp://@" : "udp://";
        EXPECT_EQ(Judged(M3uText({entry, next}, player, "http://h/g.xml"), ZUL_READ_PLAYLIST),
                  at + "239.1.1.1:5000 X\" y=\"1  udp://evil\n" + at + "239.1.1.2:5000 Žofín, 映画\ngood\n");
    }
}

TEST(Xmltv, IsAcceptedByItsOwnValidatorWhateverIsInTheTexts) {
    const auto event = [](int minutes, int length, const std::string& title, const std::string& text) {
        return GuideEvent{kEvening + std::chrono::minutes(minutes), std::chrono::minutes(length), title, text, 0, 0};
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
    std::string wrong = text;
    wrong.replace(wrong.find("<title>"), 7, "<label>");
    wrong.replace(wrong.find("</title>"), 8, "</label>");
    EXPECT_FALSE(Judged(wrong, judge).ends_with("good\n")) << "the judge is awake";
}

}  // namespace
}  // namespace zulctl
