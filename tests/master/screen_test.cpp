// Why a television is dark: the first fault on the path from receiver to transmitter.
#include "doctor/screen.h"

#include <gtest/gtest.h>

#include <functional>

using namespace zulctl;

namespace {

constexpr std::uint32_t kGroup = 0xEF010101, kAttic = 0x0A000001, kStranger = 0x0A000009;

TransmitterStatus Sends(std::uint16_t port, bool locked = true) {
    TransmitterStatus status;
    status.streams = {{1, true, {kGroup, port}, {3}}};
    status.locked = locked;
    return status;
}

/// A receiver that plays programme 3 of a stream without fault.
ScreenView Bright() {
    ScreenView view{"the hall", ""};
    view.status.address = "239.1.1.1", view.status.port = 5000, view.status.playsStream = true;
    view.status.programme = 3;
    view.transmitters = {{"attic", kAttic, Sends(5000)}, {"cellar", 0x0A000002, TransmitterStatus()}};
    view.heard.sources = {kAttic};
    StreamReport& report = view.heard.report;
    report.datagrams = 100, report.packets = 700, report.bytes = 131600, report.seconds = 0.4;
    report.pat.sections = 4;
    ProgrammeReport& programme = report.programmes[3];
    programme.streams = {{0x02, 0x31, ""}, {0x81, 0x34, "eng"}};
    programme.pmt.sections = 4;
    report.pids[0x31].packets = 600, report.pids[0x34].packets = 90;
    return view;
}

void Silent(ScreenView& view) { view.heard = {}; }

}  // namespace

TEST(Screen, TheFirstThingWrongIsTheCause) {
    const struct {
        const char *cause, *says;
        std::function<void(ScreenView&)> spoil;
    } rows[] = {
        {"", "", [](ScreenView&) {}},
        {"", "", [](ScreenView& view) { view.transmitters.clear(); }},  // an unknown sender is also good
        {"receiver", "hall doesn't answer", [](ScreenView& view) { view.silence = "nothing"; }},
        {"receiver", "plays no stream", [](ScreenView& view) { view.status.playsStream = false; }},
        {"sender", "nobody sends to 239.1.1.1:5000",
         [](ScreenView& view) { Silent(view), view.transmitters[0].status->streams.clear(); }},
        {"transmitter", "attic doesn't answer",
         [](ScreenView& view) { Silent(view), view.transmitters[0].status.reset(); }},
        {"port", "sent to port 5001; zulctl -b 'the hall' play 239.1.1.1:5001",
         [](ScreenView& view) { Silent(view), view.transmitters[0].status = Sends(5001); }},
        {"signal", "attic sends to 239.1.1.1:5000, but its tuner has no signal",
         [](ScreenView& view) { Silent(view), view.transmitters[0].status = Sends(5000, false); }},
        {"network", "nothing comes to this machine", Silent},
        {"senders", "attic, 10.0.0.9 send", [](ScreenView& view) { view.heard.sources.insert(kStranger); }},
        {"senders", "attic, cellar send", [](ScreenView& view) { view.transmitters[1].status = Sends(5000); }},
        {"programme", "plays programme 0004, and the stream carries 0003",
         [](ScreenView& view) { view.status.programme = 4; }},
        {"programme", "finds no programme", [](ScreenView& view) { view.status.programme = 0; }},
        {"programme", "neither picture nor sound", [](ScreenView& view) { view.heard.report.pids.clear(); }},
        {"scrambled", "programme 0003 is scrambled",
         [](ScreenView& view) { view.heard.report.pids[0x31].scrambled = 600; }},
        {"stream", "7 continuity errors", [](ScreenView& view) { view.heard.report.pids[0x31].continuityErrors = 7; }},
        {"querier", "none was heard",
         [](ScreenView& view) { view.surroundings = {ExamineQuerier(true, {}, "eth0", std::chrono::seconds(130))}; }},
    };
    for (const auto& row : rows) {
        ScreenView view = Bright();
        row.spoil(view);
        const auto findings = ExamineScreen(view);
        ASSERT_FALSE(findings.empty());
        const bool good = findings.back().level == Diagnosis::Level::kGood;
        EXPECT_EQ(good ? "" : findings.back().check, row.cause) << findings.back().finding;
        const std::string text = findings.back().finding + "; " + findings.back().advice;
        EXPECT_NE(text.find(row.says), std::string::npos) << text;
    }
}
