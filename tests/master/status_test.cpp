// Replies of one line: good ones by row, then damaged ones.
#include "protocol/status.h"

#include <gtest/gtest.h>

#include "master/damage.h"

namespace zulctl {
namespace {

constexpr char kTwoStreams[] =
    "STATUS 1 0 239.1.1.1:5000 0:1:ff:[0a03:0b04] 0 7 239.1.1.2:5002 0:1:ff:[] F:ATSC E:0 C:\"NO CAM\" 7% OK\r\n";

TEST(TransmitterStatus, ListsStreamsSignalAndLoad) {
    const auto status = ParseTransmitterStatus(kTwoStreams);
    ASSERT_TRUE(status);
    ASSERT_EQ(status->streams.size(), 2u);
    EXPECT_TRUE(status->streams[0].active);
    EXPECT_EQ(EndpointText(status->streams[0].group), "239.1.1.1:5000");
    EXPECT_EQ(status->streams[0].programmes, (std::vector<std::uint16_t>{0x0a03, 0x0b04}));
    EXPECT_FALSE(status->streams[1].active);
    EXPECT_EQ(status->streams[1].id, 7);
    EXPECT_TRUE(status->streams[1].programmes.empty());
    EXPECT_TRUE(status->locked);
    EXPECT_EQ(status->signal, 255);
    EXPECT_EQ(status->tunerMode, "ATSC");
    EXPECT_EQ(status->load, 7);
    EXPECT_FALSE(status->cut);
}

TEST(TransmitterStatus, ABoardWithoutStreamsHasNone) {
    const auto status = ParseTransmitterStatus("STATUS 0 0 0.0.0.0:0 0:0:00:[] F:QAM256 E:0 C:\"NO CAM\" 0% OK\r\n");
    ASSERT_TRUE(status);
    EXPECT_TRUE(status->streams.empty());
    EXPECT_FALSE(status->locked);
}

TEST(TransmitterStatus, ALineAsLongAsAReplyMayBeIsCutAndOthersAreNot) {
    std::string line = "STATUS 1 0 239.1.1.1:5000 0:1:ff:[0001] 1 1 239.1.1.2:5000 0:1:ff:[0002";
    while (line.size() < 1023) line += ":0002";
    line.resize(1023);
    line += '\0';
    const auto status = ParseTransmitterStatus(line);
    ASSERT_TRUE(status);
    EXPECT_TRUE(status->cut);
    EXPECT_EQ(status->streams.size(), 1u) << "the group in the cut is gone";
    EXPECT_FALSE(ParseTransmitterStatus(line.substr(0, 900))) << "a cut at any other length is damage";
}

TEST(ReceiverStatus, TellsWhatPlays) {
    const auto playing = ParseReceiverStatus("STATUS 1 239.1.1.1:5000 5:001f 0 2 2 0 13%OK\r\n");
    ASSERT_TRUE(playing);
    EXPECT_EQ(playing->lastUnit, 1);
    EXPECT_EQ(playing->address, "239.1.1.1");
    EXPECT_TRUE(playing->playsStream);
    EXPECT_EQ(playing->programme, 31);
    EXPECT_EQ(playing->audio, 2);
    EXPECT_TRUE(playing->browserUp);
    EXPECT_EQ(playing->load, 13);
    const auto idle = ParseReceiverStatus("STATUS 0 :0 0:0000 2 3 0 0 0%OK\r\n");
    ASSERT_TRUE(idle);
    EXPECT_EQ(idle->address, "");
    EXPECT_FALSE(idle->playsStream);
}

TEST(Status, OneRolesLineIsntTheOthers) {
    EXPECT_FALSE(ParseReceiverStatus(kTwoStreams));
    EXPECT_FALSE(ParseTransmitterStatus("STATUS 1 239.1.1.1:5000 5:001f 0 2 2 0 13%OK\r\n"));
}

TEST(AddressSettings, AreReadFieldByField) {
    const auto settings =
        ParseAddressSettings("DHCP:0 MAC:02005e100001 IP:10.0.0.5 GW:10.0.0.254 NM:255.255.255.0 OK\r\n");
    ASSERT_TRUE(settings);
    EXPECT_EQ(settings->dhcp, 0);
    EXPECT_EQ(settings->mac, "02005e100001");
    EXPECT_EQ(settings->address, "10.0.0.5");
    EXPECT_EQ(settings->gateway, "10.0.0.254");
    EXPECT_EQ(settings->netmask, "255.255.255.0");
    EXPECT_TRUE(ParseAddressSettings("DHCP:1 MAC: IP:x GW:y NM:z OK\r\n")) << "a board without eth0 has no MAC";
    EXPECT_FALSE(ParseAddressSettings("KO\r\n"));
}

TEST(BroadcastTime, IsADayInHexadecimalAndMinutes) {
    using namespace std::chrono;
    const auto moment = ParseBroadcastTime("TIME d3a4 1930 OK\r\n");  // MJD 54180, counted from 17 November 1858
    ASSERT_TRUE(moment);
    EXPECT_EQ(*moment, sys_days(2007y / March / 21) + 19h + 30min);
    EXPECT_EQ(MjdOf(*moment).day, 0xd3a4u);
    EXPECT_EQ(MjdOf(*moment).hhmm, 1930u);
    EXPECT_EQ(MomentOf(44244, 0), Minutes(sys_days(1980y / January / 6))) << "the GPS epoch";
    for (const char* text :
         {"TIME d3a4 2400 OK\r\n", "TIME d3a4 1960 OK\r\n", "TIME 1930 OK\r\n", "TIME fffffff 0000 OK\r\n", "KO\r\n"}) {
        EXPECT_FALSE(ParseBroadcastTime(text)) << text;
    }
}

TEST(ShortReplies, Rows) {
    EXPECT_EQ(ParseVersion("VERS0.82.14OK\r\n"), "0.82.14");
    for (const char* text : {"VERSOK\r\n", "VERS0.82.14", "VERS0.\x1b[2JOK\r\n", "KO\r\n"})
        EXPECT_FALSE(ParseVersion(text)) << text;

    const auto scan = ParseScanState(std::string("\0\x46\x03\x05", 4));
    ASSERT_TRUE(scan);
    EXPECT_EQ(scan->channel, 70);
    EXPECT_EQ(scan->found, 3);
    EXPECT_EQ(scan->state, ScanState::State::kDone);
    EXPECT_EQ(ParseScanState(std::string("\0\x9f\x00\xff", 4))->channel, 159) << "bytes have no sign";
    EXPECT_FALSE(ParseScanState(std::string("\0\0\0", 3)));
    EXPECT_FALSE(ParseScanState("OK\r\n"));

    EXPECT_EQ(ParseUpgradeState("UPGRSTATUS1 OK\r\n\r\n"), 1);
    EXPECT_FALSE(ParseUpgradeState("UPGRSTATUS5 OK\r\n\r\n"));
    EXPECT_EQ(ParseResolution("RESOLUTION3 OK\r\n"), 3);
    EXPECT_EQ(ParseResolution("RESOLUTION-1 OK\r\n"), -1);
    EXPECT_FALSE(ParseResolution("RESOLUTION OK\r\n"));
}

TEST(ShortReplies, DamageIsRefusedOrWithinBounds) {
    damage::TryAll(kTwoStreams, [](const std::string& bad) {
        const auto status = ParseTransmitterStatus(bad);
        if (!status) return;
        EXPECT_TRUE(status->signal >= 0 && status->signal <= 255) << bad;
        for (const auto& stream : status->streams) EXPECT_TRUE(stream.id >= 0 && stream.id < 8) << bad;
    });
    const auto all = [](const std::string& bad) {
        ParseReceiverStatus(bad), ParseAddressSettings(bad), ParseVersion(bad), ParseBroadcastTime(bad),
            ParseResolution(bad);
    };
    damage::TryAll("STATUS 1 239.1.1.1:5000 5:001f 0 2 2 0 13%OK\r\n", all);
    damage::TryAll("DHCP:0 MAC:02005e100001 IP:10.0.0.5 GW:10.0.0.254 NM:255.255.255.0 OK\r\n", all);
}

}  // namespace
}  // namespace zulctl
