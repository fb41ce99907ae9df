// Requests, and replies and messages of boards: good and unusual ones by row, and the texts that are refused.
#include <functional>

#include "master/failure_of.h"
#include "protocol/beacon.h"
#include "protocol/board_messages.h"
#include "protocol/guide_reply.h"
#include "protocol/requests_text.h"
#include "protocol/status.h"

namespace zulctl {
namespace {

TEST(RequestTexts, TakeTheFormOfTheProtocol) {
    const Endpoint group = *ParseEndpoint("239.1.1.1:5000");
    PageRequest window{"http://host/a?b=c", {}};
    window.fields[1] = -5, window.fields[4] = 255;
    StreamRequest stream{group, 0x3F, {}, std::nullopt}, slot = stream;
    slot.programmes = {ParseProgramme("1a2b:3c4d"), ParseProgramme("1:2")};
    slot.slot = 7;
    const struct {
        std::string text, wanted;
    } rows[] = {
        {StartText(stream), "UNIT1,239.1.1.1,5000,3f"},  // the channel in hexadecimal
        {StartText(slot), "UNIT4,7,239.1.1.1,5000,3f,1a2b,3c4d,1,2"},
        {StopText(std::nullopt), "UNIT0"},
        {StopText(2), "UNIT5,2"},
        {PlayText(group, 0x3c4d), "UNIT1,239.1.1.1,5000,0,3c4d"},
        {PlayText(group, std::nullopt), "UNIT3,239.1.1.1,5000"},
        {PageText(window), "URLhttp://host/a?b=c,,-5,,,255"},  // an empty field keeps what the board has
        {PageText({}), "URL"},
        {CaptionsText("off"), "SUBSOFF"},
        {CaptionsText("6"), "SUBS6"},
        {LanguageText("eng", ""), "LANGeng,0"},
        {LanguageText("eng:3", "spa:ff"), "LANGeng,3,spa,ff"},
        {FixedAddressText("192.168.0.10", "192.168.0.1", "255.255.255.0"),
         "DHCP0,192.168.0.10,192.168.0.1,255.255.255.0"},
        {FixedAddressText("10.0.0.5", "0.0.0.0", "255.0.0.0"), "DHCP0,10.0.0.5,0.0.0.0,255.0.0.0"},
        {SerialText("9600,8,n,1"), "SUART9600,8,N,1"},
        {RemoteText("6e"), "REMOTE6e"},
        {RemoteText("1"), "REMOTE01"},
    };
    for (const auto& row : rows) EXPECT_EQ(row.text, row.wanted);
}

TEST(RequestTexts, RefuseWhatABoardWouldOrWouldMisread) {
    const auto page = [](const std::string& url, std::size_t field = 0, std::optional<int> value = std::nullopt) {
        PageRequest request{url, {}};
        request.fields[field] = value;
        return PageText(request);
    };
    const auto start = [](auto change) {
        StreamRequest request{*ParseEndpoint("239.1.1.1:5000"), 17, {}, std::nullopt};
        change(request);
        return StartText(request);
    };
    const std::function<std::string()> rows[] = {
        [&] { return start([](StreamRequest& stream) { stream.to.address = 0x0A000001; }); },
        // longer than what a board keeps
        [&] { return start([](StreamRequest& stream) {
                  stream.programmes.assign(40, {0x1a2b, 0x3c4d});
              }); },
        [] { return PlayText(*ParseEndpoint("10.0.0.1:5000"), 1); },
        [&] { return page("http://host/a,b"); },  // a board would cut it there
        [&] { return page("keyboard.html"); },    // and take this for a key
        [&] { return page("KEY5"); },
        [&] { return page("http://host/a b"); },
        [&] { return page(std::string(256, 'a')); },
        [&] { return page("x", 0, 1281); },
        [&] { return page("x", 3, -1); },
        [&] { return page("x", 5, 256); },
        [] { return CaptionsText("0"); },
        [] { return CaptionsText("7"); },  // a board turns them off and says OK
        [] { return LanguageText("en", ""); },
        [] { return LanguageText("engl", ""); },
        [] { return LanguageText("e,g", ""); },
        [] { return LanguageText("eng:g", ""); },
        [] { return LanguageText("eng", "sp"); },
        [] { return FixedAddressText("10.0.0.5", "10.0.1.1", "255.255.255.0"); },
        [] { return FixedAddressText("10.0.0.0", "10.0.0.1", "255.255.255.0"); },
        [] { return FixedAddressText("10.0.0.255", "10.0.0.1", "255.255.255.0"); },
        [] { return FixedAddressText("224.0.0.5", "224.0.0.1", "255.255.255.0"); },
        [] { return FixedAddressText("10.0.0.5", "10.0.0.5", "255.255.255.0"); },
        [] { return FixedAddressText("10.0.0.5", "10.0.0.1", "255.0.255.0"); },
        [] { return FixedAddressText("10.0.0.%d", "10.0.0.1", "255.255.255.0"); },
        [] { return SerialText("9600,8,N"); },
        [] { return SerialText("9600,8,N,1,1"); },
        [] { return SerialText("9600,8,NN,1"); },
        [] { return SerialText("0,8,N,1"); },
        [] { return SerialText("9600,9,N,1"); },
        [] { return RemoteText("0"); },
        [] { return RemoteText("ff"); },
        [] { return RemoteText("6e "); },
    };
    for (std::size_t n = 0; n < std::size(rows); ++n) {
        SCOPED_TRACE(n);
        FailureOf(kUsage, rows[n]);
    }
    for (const char* text : {"", "1", "1:", ":2", "g:1", "10000:1", "1:2:3"})
        EXPECT_THROW(ParseProgramme(text), Failure) << text;
}

const std::string kVolume("REMOTE\x01\x04\x6e\x08\x01\xCC", 12);
const std::string kTwoStreams =
    "STATUS 1 0 239.1.1.1:5000 0:1:ff:[0a03:0b04] 0 7 239.1.1.2:5002 0:1:ff:[] F:ATSC E:0 C:\"NO CAM\" 7% OK\r\n";
const std::string kPlaying = "STATUS 1 239.1.1.1:5000 5:001f 0 2 2 0 13%OK\r\n";

template <auto Parse>
bool Takes(const std::string& text) {
    return Parse(text).has_value();
}

TEST(Replies, OfAnotherShapeAreRefused) {
    const struct {
        bool (*takes)(const std::string&);
        std::vector<std::string> texts;
    } rows[] = {
        {Takes<ParseAddress>,
         {"", "1.2.3", "1.2.3.4.5", "1.2.3.256", "1.2.3.-1", "1.2.3.4 ", "a.b.c.d", "1..2.3", "0001.2.3.4"}},
        {Takes<ParseEndpoint>, {"10.0.0.5", "10.0.0.5:", "10.0.0.5:0", "10.0.0.5:65536", "10.0.0.5:80x", ":80"}},
        {Takes<ParseBeacon>,
         {"", "ZULB", "ZULB<", "ZULB<Device-UUID=x", "ZULB<Device-Make=x>\r\n", "zulb<Device-UUID=x>"}},
        {Takes<ParseScanStep>,
         {"", "OK\r\n", "BLINDLOCK: OK\r\n", "BLINDLOCK:-1 OK\r\n", "BLINDLOCK:7 OK", "BLINDSTART:0 KO\r\n",
          "BLINDCMP:0 OK\r\nx", "BLINDLOCK:99999999 OK\r\n"}},
        {Takes<ParseLogLine>, {"", "LOG", "log: x", "LOG:x"}},
        {Takes<ParseKey>, {kVolume.substr(0, 11), kVolume + "x", "REMOTE6e\r\nxx"}},
        {Takes<ParseSerialByte>, {"UART", "UARTab"}},
        {Takes<ParseAudioLanguages>,
         {"", "KO\r\n", "LANG 1a2b 3c4d eng00", "LANG 1a2b 3c4d eng\r\nOK\r\n", "LANG 1a2b 3c4d eng00\r\n",
          "SUB 1a2b 3c4d eng\r\nOK\r\n", "LANG 1a2b 3c4d eng00,\r\nOK\r\n"}},
        {Takes<ParseGuideReply>, {"", "KO\r\n", "EIT", "OK\r\n"}},
        {Takes<ParseTransmitterStatus>,
         {kPlaying, "KO\r\n",
          "STATUS 1 8 239.1.1.1:5000 0:1:ff:[] F:ATSC E:0 C:\"NO CAM\" 7% OK\r\n",     // no such slot
          "STATUS 1 0 239.1.1.1:5000 0:1:100:[] F:ATSC E:0 C:\"NO CAM\" 7% OK\r\n"}},  // nor signal
        {Takes<ParseReceiverStatus>, {kTwoStreams, "KO\r\n"}},
        {Takes<ParseAddressSettings>, {"KO\r\n"}},
        {Takes<ParseBroadcastTime>,
         {"TIME d3a4 2400 OK\r\n", "TIME d3a4 1960 OK\r\n", "TIME 1930 OK\r\n", "TIME 20000 0000 OK\r\n"}},
        {Takes<ParseVersion>, {"VERSOK\r\n", "VERS0.82.14", "VERS0.\x1b[2JOK\r\n", "KO\r\n"}},
        {Takes<ParseScanState>, {std::string(3, '\0'), "OK\r\n"}},
        {Takes<ParseUpgradeState>, {"UPGRSTATUS5 OK\r\n\r\n"}},
    };
    for (const auto& [takes, texts] : rows) {
        for (const std::string& text : texts) EXPECT_FALSE(takes(text)) << text;
    }
}

TEST(Replies, OfTheRightShapeAreRead) {
    const auto receiver = ParseBeacon("ZULB<Device-Model=ZUL_IPTV_RX_HD><Device-UUID=ZUL_IPTV_RX_HD-x>\r\n");
    ASSERT_TRUE(receiver) << "keys in another order";
    EXPECT_EQ(receiver->uuid, "ZUL_IPTV_RX_HD-x");
    EXPECT_EQ(receiver->role, Role::kReceiver);
    EXPECT_EQ(receiver->mac, "") << "no twelve digits";

    using Kind = ScanStep::Kind;
    for (const auto& [text, kind, number] : {std::tuple{"BLINDSTART:0 OK\r\n", Kind::kStarted, 0},
                                             {"BLINDSTART:1 KO\r\n", Kind::kCannotStart, 0},
                                             {"BLINDLOCK:158 OK\r\n", Kind::kLocked, 158},
                                             {"BLINDFND:3 OK\r\n", Kind::kFound, 3},
                                             {"BLINDCMP:0 OK\r\n", Kind::kEnded, 0}}) {
        const auto step = ParseScanStep(text);
        EXPECT_TRUE(step && step->kind == kind && step->number == number) << text;
    }

    EXPECT_EQ(ParseLogLine(std::string("LOG: \nfirst\nsecond\n\r\n\0", 22))->text, "\nfirst\nsecond");
    EXPECT_TRUE(ParseLogLine("LOG:ERROR no udp\r\n")->error);
    EXPECT_EQ(ParseSerialByte(std::string("UART\0", 5)), '\0');
    EXPECT_EQ(ParseSerialByte("UART\xff"), '\xff');

    const auto settings = ParseAddressSettings("DHCP:1 MAC: IP:x GW:y NM:z OK\r\n");
    ASSERT_TRUE(settings) << "a board without eth0 has no MAC";
    EXPECT_EQ(settings->dhcp, 1);
    EXPECT_EQ(settings->address + settings->gateway + settings->netmask, "xyz");
    EXPECT_EQ(ParseScanState(std::string("\0\x9f\x03\x05", 4))->channel, 159) << "bytes have no sign";
}

TEST(Replies, KeysHaveNames) {
    const auto key = ParseKey(kVolume);
    ASSERT_TRUE(key);
    EXPECT_EQ(key->systemCode, 0x6e);
    EXPECT_TRUE(key->repeat);
    EXPECT_EQ(key->Name(), "VOL+");
    for (const auto& [code, name] : {std::pair{25, "0"}, {15, "1"}, {23, "9"}, {31, "BLUE"}, {0, ""}, {32, ""}})
        EXPECT_EQ((KeyPress{0, code, false}.Name()), name) << code;
}

TEST(Replies, LanguageCodesComeFromTheAir) {
    const auto audio =
        ParseAudioLanguages("LANG 1a2b 3c4d eng00,spa03\r\nLANG 1 2 a,b00,12300,x01\r\nLANG 1 3 \r\nOK\r\n");
    ASSERT_TRUE(audio && audio->size() == 3);
    const auto &spanish = audio->at({0x1a2b, 0x3c4d}), &odd = audio->at({1, 2});
    EXPECT_EQ(spanish[1].code, "spa");
    EXPECT_EQ(spanish[1].type, 3);
    ASSERT_EQ(odd.size(), 3u);
    EXPECT_EQ(odd[0].code, "a,b");
    EXPECT_EQ(odd[2].code, "x");
    EXPECT_TRUE(audio->at({1, 3}).empty());
    EXPECT_EQ(ParseCaptionLanguages("SUB 1a2b 3c4d eng,fra\r\nOK\r\n")->at({0x1a2b, 0x3c4d})[1].code, "fra");
}

TEST(Replies, StatusOfATransmitterMayBeCut) {
    const auto status = ParseTransmitterStatus(kTwoStreams);
    ASSERT_TRUE(status && status->streams.size() == 2);
    EXPECT_EQ(status->streams[0].programmes, (std::vector<std::uint16_t>{0x0a03, 0x0b04}));
    EXPECT_EQ(status->streams[1].id, 7);
    EXPECT_FALSE(status->streams[1].active || status->cut);
    const auto idle = ParseTransmitterStatus("STATUS 0 0 0.0.0.0:0 0:0:00:[] F:QAM256 E:0 C:\"NO CAM\" 0% OK\r\n");
    EXPECT_TRUE(idle && idle->streams.empty() && !idle->locked);

    std::string line = "STATUS 1 0 239.1.1.1:5000 0:1:ff:[0001] 1 1 239.1.1.2:5000 0:1:ff:[0002";
    while (line.size() < 1023) line += ":0002";
    line.resize(1023);
    const auto cut = ParseTransmitterStatus(line + '\0');
    EXPECT_TRUE(cut && cut->cut && cut->streams.size() == 1) << "the group in the cut is gone";
    EXPECT_FALSE(ParseTransmitterStatus(line.substr(0, 900))) << "a cut at any other length is damage";
}

TEST(Replies, StatusOfAReceiverTellsWhatPlays) {
    const auto playing = ParseReceiverStatus(kPlaying);
    ASSERT_TRUE(playing);
    EXPECT_EQ(playing->programme, 31);
    EXPECT_EQ(playing->audio, 2);
    EXPECT_TRUE(playing->playsStream && playing->browserUp);
    const auto idle = ParseReceiverStatus("STATUS 0 :0 0:0000 2 3 0 0 0%OK\r\n");
    EXPECT_TRUE(idle && idle->address.empty() && !idle->playsStream);
}

TEST(Replies, BroadcastTimeIsADayInHexadecimalAndMinutes) {
    using namespace std::chrono;
    const auto moment = ParseBroadcastTime("TIME d3a4 1930 OK\r\n");  // MJD 54180, counted from 17 November 1858
    ASSERT_TRUE(moment);
    EXPECT_EQ(*moment, sys_days(2007y / March / 21) + 19h + 30min);
    EXPECT_EQ(MjdText(*moment), "d3a4,1930");
}

}  // namespace
}  // namespace zulctl
