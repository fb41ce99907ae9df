// Streams on the wire, judged while they run; boards to watch; tokens.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <thread>

#include "output/failure.h"
#include "serve/board_watch.h"
#include "serve/guard.h"
#include "serve/stream_watch.h"
#include "transport.h"

namespace zulctl::serve {
namespace {

using namespace std::chrono_literals;

/// Seven packets of one PID, the counters going on from `counter`.
std::string Datagram(unsigned& counter) {
    transport::Blob bytes;
    for (int n = 0; n < 7; ++n) transport::Append(bytes, transport::Filled(0x31, counter++, 0x55));
    return {bytes.begin(), bytes.end()};
}

Measured Only(const StreamWatch& watch) { return watch.Streams().at(0); }

TEST(StreamWatch, CountsWhatComesAndWhatIsMissing) {
    const Endpoint group{0xEF010101, 5000};
    StreamWatch watch(0);
    watch.Want({group});
    UdpSocket sender;
    unsigned counter = 0;
    std::uint64_t sent = 0;
    const auto send = [&] {
        const std::string bytes = Datagram(counter);
        sender.Send(bytes, group);
        sent += bytes.size();
        std::this_thread::sleep_for(5ms);
    };
    // For 30 s at most, until two whole seconds are in its history.
    for (int n = 0; n < 6000 && Only(watch).history.size() < 2; ++n) send();
    EXPECT_EQ(Only(watch).counts.continuityErrors, 0u);
    EXPECT_GT(Only(watch).BitRate(), 0);
    EXPECT_EQ(HealthOf(Only(watch)), Health::kWaiting) << "there is no whole report yet";

    counter += 3;  // lost packets
    for (int n = 0; n < 6000 && Only(watch).RecentErrors(60) == 0; ++n) send();
    for (int n = 0; n < 1000 && Only(watch).counts.bytes < sent; ++n) std::this_thread::sleep_for(20ms);
    EXPECT_EQ(Only(watch).counts.bytes, sent);
    EXPECT_EQ(Only(watch).counts.continuityErrors, 1u);
    EXPECT_EQ(Only(watch).RecentErrors(60), 1u);
    EXPECT_EQ(HealthOf(Only(watch)), Health::kFaulty);

    watch.Want({});
    EXPECT_TRUE(watch.Streams().empty());
}

TEST(StreamWatch, HealthTellsSilenceFromFaults) {
    const auto judged = [](double silent, std::vector<Sample> history, bool good) {
        Measured stream;
        stream.silentSeconds = silent;
        stream.history = std::move(history);
        Heard heard;
        StreamReport& report = heard.report;
        report.datagrams = 1, report.packets = 1, report.seconds = 10;
        report.pat.sections = good ? 100 : 0;  // a PAT has to come twice a second
        stream.heard = std::make_shared<const Heard>(heard);
        return HealthOf(stream);
    };
    std::vector<Sample> longAgo(40), lately(40);
    longAgo.front().errors = 1, lately.back().errors = 1;
    EXPECT_EQ(judged(0, {}, true), Health::kGood);
    EXPECT_EQ(judged(0, longAgo, true), Health::kGood);
    EXPECT_EQ(judged(0, lately, true), Health::kFaulty);
    EXPECT_EQ(judged(0, {}, false), Health::kFaulty);
    EXPECT_EQ(judged(5, lately, false), Health::kSilent);
}

TEST(BoardWatch, LeavesOutBoardsBeyondItsLimit) {
    WatchOptions options;
    for (std::uint16_t port = 5000; port < 5600; ++port)
        options.only.push_back({"", {0x7F000001, port}, Role::kReceiver});
    EXPECT_EQ(BoardWatch(options).Boards().size(), 512u);
}

TEST(Guard, TokensAreLongSecretAndNew) {
    EXPECT_EQ(NewToken().size(), 32u);
    EXPECT_NE(NewToken(), NewToken());
    const std::string path = testing::TempDir() + "/token";
    EXPECT_THROW(ReadToken(path), Failure);
    const auto read = [&](const char* content, mode_t mode) {
        std::ofstream(path) << content;
        chmod(path.c_str(), mode);
        return ReadToken(path);
    };
    EXPECT_EQ(read("correct-horse_battery\n", 0440), "correct-horse_battery") << "as the service manager gives it";
    for (const char* content : {"fifteen-letters\n", "\n", "with a blank in it\n"})
        EXPECT_THROW(read(content, 0600), Failure) << content;
    EXPECT_THROW(read("correct-horse_battery\n", 0644), Failure) << "all may read it";
}

}  // namespace
}  // namespace zulctl::serve
