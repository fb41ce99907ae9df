// Channel lists, guide replies, and the broadcast's text in them; playlists and guides for other programs, with hostile
// texts, and how such programs read them.
#include <gtest/gtest.h>

#include <fstream>

#include "export/lineup.h"
#include "output/escape.h"
#include "output/failure.h"
#include "protocol/channels.h"
#include "protocol/guide_reply.h"
#include "protocol/text_modes.h"
#include "support/shell.h"

namespace zulctl {
namespace {

using namespace std::chrono_literals;

const std::string kEnd("ffff\r\nOK\r\n\0", 11);
const std::string kNews = "SCAL 071 1a2b 3c4d [11:0:ff:02:81] C A NEWS\r\n";
const std::string kCinema = "SCAL 102 1a2b 0001 [9e:0:99:1b:00] E U 6620 753b 0000 0000 0000 0000 0000\r\n";

TEST(ScalReport, ReadsEveryField) {
    const auto channels = ParseScalReport(kNews + kCinema + "SCAL 000 0001 0003 [02:0:00:00:00] C A \r\n" + kEnd);
    ASSERT_TRUE(channels && channels->size() == 3);
    const Channel &cinema = channels->at(1), &nameless = channels->at(2);
    EXPECT_EQ(cinema.NumberText(), "10.2");
    EXPECT_EQ(cinema.id, (ProgrammeId{0x1a2b, 1}));
    EXPECT_EQ(cinema.tunerChannel, 158);
    EXPECT_EQ(cinema.signal, 0x99);
    EXPECT_EQ(cinema.videoType, 0x1b);
    EXPECT_TRUE(cinema.scrambled);
    EXPECT_EQ(cinema.name, "映画");
    EXPECT_EQ(channels->front().audioType, 0x81);
    EXPECT_EQ(nameless.NumberText() + nameless.name, "");
}

TEST(ScalReport, NamesMayHoldAnyByte) {
    const auto name = [](const std::string& bytes) {
        const auto list = ParseScalReport("SCAL 071 1a2b 3c4d [11:0:ff:02:81] C A " + bytes + "\r\n" + kNews + kEnd);
        return list && list->size() == 2 ? list->front().name : "(damaged)";
    };
    EXPECT_EQ(name("A B    "), "A B");
    EXPECT_EQ(name("a\r\nb"), "a\r\nb") << "a line end of its own";
    EXPECT_EQ(name("SCAL 07"), "SCAL 07");
    EXPECT_EQ(name("\xE9t\xE9"), "été");
}

TEST(ScalReport, MayBeEmptyButNotCutOrDamaged) {
    EXPECT_TRUE(ParseScalReport(kEnd));
    EXPECT_FALSE(ParseScalReport(kNews));
    const std::string beyond = "SCAL 071 1a2b 3c4d [9f:0:ff:02:81] C A NEWS\r\n";  // no such tuner channel
    for (const std::string& damaged : {std::string("SCAL 0zz garbage\r\n"), beyond})
        EXPECT_FALSE(ParseScalReport(kNews + damaged + kCinema + kEnd)) << damaged;
}

TEST(FindChannel, TakesNumberIndexNameAndIds) {
    const auto channels =
        ParseScalReport(kNews + kCinema + "SCAL 072 1a2b 0009 [11:0:ff:02:81] C A Newton\r\n" + kEnd).value();
    for (const auto& [text, index] : {std::pair{"7.1", 1u},
                                      {"7-1", 1u},
                                      {"10.2", 2u},
                                      {"3", 3u},
                                      {"news", 1u},
                                      {"NEWT", 3u},
                                      {"1a2b:1", 2u},
                                      {"映画", 2u}})
        EXPECT_EQ(&FindChannel(channels, text), &channels[index - 1]) << text;
    for (const char* text : {"0", "4", "7.3", "", "new", "1a2b:ffff", "x"})
        EXPECT_THROW(FindChannel(channels, text), Failure) << text;
}

TEST(GuideReply, ReadsEventsByTheirLengths) {
    const auto events = ParseGuideReply(
        "EITI d3a4 1930 1015 S4,00[News]L0,00[]\r\n"
        "EITI d3a5 0545 0030 S2,30[42 44]L9,00[a]\r\nEITI ]\r\n"
        "EITI d3a5 0615 0000 S4,3f[2a 3c 00 41]L4,3f[66 20 75 3b]\r\n"
        "EITI d3a5 0715 0000 S4,3f[2a 1c 00 00]L0,00[]\r\n"
        "EITI d3a5 0715 0000 S3,3e[2a 9c be]L0,00[]\r\n"
        "EITI d3a5 0715 0000 S3,04[2a 3e 41]L0,00[]\r\nOK\r\n");
    ASSERT_TRUE(events && events->size() == 6);
    EXPECT_EQ(events->at(0).title, "News");
    EXPECT_EQ(events->at(0).End() - events->at(0).start, 10h + 15min);
    EXPECT_EQ(events->at(1).title, "あい") << "hexadecimal in another mode: page 0x30";
    EXPECT_EQ(events->at(1).text, "a]\r\nEITI ") << "a text may look like the protocol";
    EXPECT_EQ(events->at(2).title, "\uFFFDA") << "a high byte of UTF-16 that the board has made a '*'";
    EXPECT_EQ(events->at(2).text, "映画");
    EXPECT_EQ(events->at(3).title, "(not readable)") << "cut at its zero byte, too";
    EXPECT_EQ(events->at(4).title, "(not readable)") << "the choice of an alphabet is lost";
    EXPECT_EQ(events->at(5).title, "\uFFFDос") << "a capital of mode 04";
    EXPECT_TRUE(ParseGuideReply("EITI OK\r\n"));
}

TEST(GuideReply, IsNothingWhereDamaged) {
    const std::string good = "EITI d3a4 1930 1015 S4,00[News]L0,00[]\r\n";
    for (const char* damaged : {"EITI d3a4 1930 1015 S5,00[News]L0,00[]\r\nOK\r\n",  // a wrong length
                                "EITI d3a4 1930 1015 S3,00[News]L0,00[]\r\nOK\r\n",
                                "EITI d3a4 1930 1015 S99999999999,00[News]L0,00[]\r\nOK\r\n",
                                "EITI d3a4 2530 1015 S4,00[News]L0,00[]\r\nOK\r\n",  // no such hour
                                "EITI d3a4 1930 2501 S4,00[News]L0,00[]\r\nOK\r\n",  // longer than a day
                                "EITI d3a4 1930 1015 S2,3f[6620]L0,00[]\r\nOK\r\n",
                                "EITI d3",  // cut
                                "OK\r\nmore"})
        EXPECT_FALSE(ParseGuideReply(good + damaged)) << damaged;
}

TEST(Moments, HaveALocalClock) {
    setenv("TZ", "EST5EDT,M3.2.0,M11.1.0", 1), tzset();
    for (const auto& [month, hours] : {std::pair{std::chrono::January, 5}, {std::chrono::July, 4}}) {
        const Minutes noon = std::chrono::sys_days(2026y / month / 1) + 12h;
        EXPECT_EQ(noon - LocalClock(noon), std::chrono::hours(hours));
    }
    unsetenv("TZ"), tzset();
}

TEST(TextModes, PagesAndEncodings) {
    const struct {
        std::uint8_t mode;
        const char* bytes;
        const char* text;
    } rows[] = {
        {0x00, R"(\x43\x61\x66\xE9)", "Café"},
        {0x03, R"(\x91\xB1)", "Αα"},                                     // U+0391 U+03B1
        {0x04, R"(\x10)", "А"},                                          // U+0410, Cyrillic
        {0x30, R"(\x42)", "あ"},                                         // U+3042
        {0x3F, R"(\xD8\x3D\xDE\x00\x41)", "😀"},                          // a surrogate pair, followed by an odd byte
        {0x3F, R"(\xD8\x3D\x00\x41)", "\uFFFDA"},                        // half a pair
        {0x3E, R"(\xD6\x6C\x20\x66\x6C\x69\x65\xDF\x74)", "Öl fließt"},  // the example of UTS #6
        {0x3E, R"(\x12\x9C\xBE\xC1\xBA\xB2\xB0)", "Москва"},             // the same, a Cyrillic window
        {0x3F, R"()", ""},
    };
    for (const auto& [mode, bytes, text] : rows)
        EXPECT_EQ(TextOfMode(mode, Unescaped(bytes)), text) << +mode << " " << bytes;
    for (const int mode : {0x07, 0x08, 0x0F, 0x11, 0x1F, 0x28, 0x34, 0x3D, 0x40, 0xFF})
        EXPECT_FALSE(TextOfMode(static_cast<std::uint8_t>(mode), "a")) << mode;
    EXPECT_EQ(ShownText(0x40, "ab"), "(text of mode 40: 6162)");
}

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
