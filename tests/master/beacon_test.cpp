// The beacon's text.
#include "protocol/beacon.h"

#include <gtest/gtest.h>

#include "master/damage.h"

namespace zulctl {
namespace {

constexpr char kTransmitterBeacon[] =
    "ZULB<Device-UUID=ZUL_IPTV_TX_QAM-02005e100001><Device-SDKClass=SettopBox><Device-Make=ZUL-Marvane>"
    "<Device-Model=ZUL_IPTV_TX_QAM><Device-Revision=0.82.14>\r\n";

TEST(Beacon, TellsWhatTheBoardIs) {
    const auto beacon = ParseBeacon(kTransmitterBeacon);
    ASSERT_TRUE(beacon);
    EXPECT_EQ(beacon->uuid, "ZUL_IPTV_TX_QAM-02005e100001");
    EXPECT_EQ(beacon->mac, "02005e100001");
    EXPECT_EQ(beacon->revision, "0.82.14");
    EXPECT_EQ(beacon->role, Role::kTransmitter);

    const auto receiver = ParseBeacon("ZULB<Device-Model=ZUL_IPTV_RX_HD><Device-UUID=ZUL_IPTV_RX_HD-x>\r\n");
    ASSERT_TRUE(receiver) << "keys in another order";
    EXPECT_EQ(receiver->role, Role::kReceiver);
    EXPECT_EQ(receiver->mac, "") << "no twelve digits";
}

TEST(Beacon, RefusesWhatIsnt) {
    for (const char* text :
         {"", "ZULB", "ZULB<", "ZULB<Device-UUID=x", "ZULB<Device-Make=x>\r\n", "zulb<Device-UUID=x>", "KO\r\n"}) {
        EXPECT_FALSE(ParseBeacon(text)) << text;
    }
    damage::TryAll(kTransmitterBeacon, [](const std::string& bad) {
        const auto beacon = ParseBeacon(bad);
        EXPECT_TRUE(!beacon || !beacon->uuid.empty()) << bad;
    });
}

}  // namespace
}  // namespace zulctl
