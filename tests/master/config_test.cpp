// The file of names, and the addresses in it.
#include "net/config.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "output/failure.h"

namespace zulctl {
namespace {

class ConfigFile : public testing::Test {
 protected:
    std::string Write(const std::string& text) {
        std::ofstream(mPath) << text;
        return mPath;
    }
    void TearDown() override { std::remove(mPath.c_str()); }
    std::string mPath = testing::TempDir() + "boards-" + std::to_string(getpid()) + ".toml";
};

TEST_F(ConfigFile, NamesBoards) {
    const Config config =
        ReadConfig(Write("interface = \"eth1\"\nlocal_port = 40000\n"
                         "[boards.attic]\naddress = \"10.0.0.5\"\nrole = \"transmitter\"\n[boards.hall]\naddress = "
                         "\"10.0.0.6:2008\"\n"));
    EXPECT_EQ(config.interfaceName, "eth1");
    EXPECT_EQ(config.localPort, 40000);
    ASSERT_NE(config.Find("hall"), nullptr);
    EXPECT_EQ(config.Find("hall")->port, 2008);
    EXPECT_EQ(config.Find("cellar"), nullptr);
    EXPECT_EQ(config.NameOf({0x0A000005, 5000}, std::nullopt), "attic");
    EXPECT_EQ(config.NameOf({0x0A000005, 2008}, Role::kReceiver), "") << "another board at that address";
}

TEST_F(ConfigFile, SaysWhereItIsWrong) {
    struct Row {
        const char* text;
        const char* complaint;
    };
    const Row rows[] = {
        {"[boards.a]\nadress = \"10.0.0.5\"\n", ":2: a board has no \"adress\""},
        {"[boards.a]\naddress = \"10.0.0.256\"\n", ":2: \"10.0.0.256\" isn't an IPv4 address"},
        {"[boards.a]\n", ":1: board a has no address"},
        {"[boards.a]\naddress = \"10.0.0.5\"\nrole = \"tx\"\n", ":3: a role is transmitter or receiver"},
        {"local_port = 0\n", ":1: local_port is a number from 1 to 65535"},
        {"colour = 1\n", ":1: \"colour\" isn't known here"},
        {"interface = \n", ":1: "},
    };
    for (const Row& row : rows) {
        try {
            ReadConfig(Write(row.text));
            ADD_FAILURE() << row.text;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code, kUsage);
            EXPECT_NE(std::string(failure.what()).find(row.complaint), std::string::npos) << failure.what();
        }
    }
}

TEST(Address, IsFourNumbersAndNothingElse) {
    EXPECT_EQ(ParseAddress("239.255.250.250"), 0xEFFFFAFAu);
    for (const char* text :
         {"", "1.2.3", "1.2.3.4.5", "1.2.3.256", "1.2.3.-1", "1.2.3.4 ", "a.b.c.d", "1..2.3", "0001.2.3.4"}) {
        EXPECT_FALSE(ParseAddress(text)) << text;
    }
    EXPECT_EQ(EndpointText(*ParseEndpoint("10.0.0.5:65535")), "10.0.0.5:65535");
    for (const char* text : {"10.0.0.5", "10.0.0.5:", "10.0.0.5:0", "10.0.0.5:65536", "10.0.0.5:80x", ":80"}) {
        EXPECT_FALSE(ParseEndpoint(text)) << text;
    }
}

}  // namespace
}  // namespace zulctl
