// The blind scan with a status block, a system daemon and a master's socket.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

#include "core/systemmanager.h"
#include "guide/channelrange.h"
#include "guide/scanfilter.h"
#include "guide_fixture.h"
#include "status_block.h"
#include "support/output.h"
#include "support/shell.h"
#include "system_daemon.h"

namespace {

/// A channel of the band.
struct Channel {
    int strength;
    int programmes;
    int listens = 1;  ///< periods of 5 s before the programmes are found
};

/// A filter that starts and stops without error.
struct Filter : ScanFilter {
    bool EnterScanMode(bool) override { return true; }
};

/// A simulated band: tuning sets the signal strength, and listening adds the programmes.
class ScanTest : public GuideTest {
 protected:
    ScanTest() {
        static Filter filter;  // the scan thread, which uses it, never ends
        store->SetScanFilter(&filter);
        fast_machine::OnShell([this](const std::string& line) {
            std::sscanf(line.c_str(), "m710cmmd -atsc %d >/dev/null", &tuned);
            const auto found = band.find(tuned);
            block.TunerStrength(found != band.end() ? found->second.strength : 0);
            listened = 0;
        });
        fast_machine::OnSleep([this](std::int64_t microseconds) {
            // A remount times out after 60 waits of 1 s, which are too short for the daemon on a busy machine.
            if (microseconds == 1000000) std::this_thread::sleep_for(std::chrono::milliseconds(4));
            if (microseconds != 5000000 || !band.contains(tuned)) return;
            const Channel& channel = band[tuned];
            if (++listened != channel.listens) return;
            for (int number = 1; number <= channel.programmes; ++number) {
                AddProgramme(static_cast<std::uint16_t>(tuned), static_cast<std::uint16_t>(number), 9);
            }
        });
    }

    ~ScanTest() override { Keep(); }

    /// Leaks the store: the scan thread, which uses it, never ends.
    void Keep() {
        static auto* const kept = new std::vector<TunerManager*>;
        kept->push_back(store.release());
    }

    /// Receives messages until the scan is over. \return all of them
    std::string HearScan() {
        std::string all;
        for (;;) {
            const std::string message = master.Hear();
            all += message;
            if (message == "BLINDCMP:0 OK\r\n" || message == "(nothing)") return all;
        }
    }

    /// \return a scan's waits from the first tune on, in seconds, without those of the command thread
    static std::vector<std::int64_t> ScanWaits(std::size_t count) {
        std::vector<std::int64_t> waits;
        for (const std::int64_t sleep : fast_machine::TakeSleeps()) {
            const std::int64_t seconds = sleep / 1000000;
            if (waits.size() < count && (seconds == 3 || (!waits.empty() && seconds % 2 == 1)))
                waits.push_back(seconds);
        }
        return waits;
    }

    void WaitForTheEnd() {
        while (store->ScanState() == TunerManager::eScanInProgress)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

    board::StatusBlock block;
    board::SystemDaemon daemon;
    std::map<int, Channel> band;
    int tuned = 0;
    int listened = 0;
};

}  // namespace

TEST_F(ScanTest, WalksTheBandAndTellsTheMasterStepByStep) {
    band = {{2, {5, 2}}, {3, {2, 1}}, {7, {3, 1, 2}}, {8, {1, 1}}, {9, {4, 0}}, {69, {3, 3}}, {70, {5, 1}}};
    EXPECT_EQ(store->ScanState(), TunerManager::eScanIdle);
    const std::string errors = Reported([&] {
        EXPECT_TRUE(store->BlindScan(TunerManager::eScanAsia));
        EXPECT_EQ(HearScan(),
                  "BLINDSTART:0 OK\r\n"
                  "BLINDLOCK:2 OK\r\nBLINDFND:2 OK\r\n"
                  "BLINDLOCK:7 OK\r\nBLINDFND:1 OK\r\n"
                  "BLINDLOCK:9 OK\r\nBLINDFND:0 OK\r\n"
                  "BLINDLOCK:69 OK\r\nBLINDFND:3 OK\r\n"
                  "BLINDCMP:0 OK\r\n");
        WaitForTheEnd();
    });
    EXPECT_EQ(store->ScanState(), TunerManager::eScanDone);
    EXPECT_EQ(store->GetCurrentChannel(), 70);
    EXPECT_EQ(store->GetTotalChannelsFound(), 4);
    EXPECT_TRUE(ProgrammesOf(*store).empty());
    EXPECT_NE(errors.find("giving up"), std::string::npos) << "channel 9, whose programmes never come";
    EXPECT_EQ(errors.find("giving up"), errors.rfind("giving up")) << errors;

    EXPECT_EQ(FileText("/mnt/hd1/zul_scan_results").substr(0, 72),
              "071 0002 0001 0002 ff C 00 00 00 4e 00 45 00 57 00 53 00 00 00 00 00 00\n");
    const std::string report = Scal();
    EXPECT_NE(report.find("SCAL 071 0045 0003 [45:0:99:00:00] C A NEWS\r\n"), std::string::npos) << report;
    Keep();
    Begin('T');
    EXPECT_TRUE(store->LoadScanResults());
    EXPECT_EQ(Scal(), report) << "after a restart";
    band = {{2, {4, 0}}};
    EXPECT_TRUE(store->TuneToChannel(2));
    store->SetInfoForProgram(2, 1, 2, 0);
    EXPECT_EQ(Scal().substr(0, 39), "SCAL 071 0002 0001 [02:0:cc:02:00] C A ") << "the signal of the last tune";
}

TEST_F(ScanTest, OfOneChannelEmptiesTheStoreAndSavesNothing) {
    band = {{20, {5, 1}}, {30, {3, 2, 2}}};
    std::ofstream("/mnt/hd1/zul_scan_results") << "";
    const std::string start = "BLINDSTART:0 OK\r\n", end = "BLINDCMP:0 OK\r\n";
    const struct {
        int channel, current;
        std::string messages;
        std::ptrdiff_t lines;
        std::vector<std::int64_t> waits;  ///< seconds: to tune, to settle, to listen
    } rows[] = {{40, 41, start + end, 0, {3, 1}},
                {20, 21, start + "BLINDLOCK:20 OK\r\nBLINDFND:1 OK\r\n" + end, 1, {3, 1, 5}},
                {30, 31, start + "BLINDLOCK:30 OK\r\nBLINDFND:2 OK\r\n" + end, 2, {3, 1, 5, 5}},
                {159, 0, start + end, 0, {}},
                {0x7FFFFFFF, 0, start + end, 0, {}},
                {20, 21, start + "BLINDLOCK:20 OK\r\nBLINDFND:1 OK\r\n" + end, 1, {3, 1, 5}},
                // Channel 1 can't be tuned here: signal and count are those of the channel before.
                {1, 2, start + "BLINDLOCK:1 OK\r\nBLINDFND:1 OK\r\n" + end, 0, {}}};
    fast_machine::TakeShellLines();
    for (const auto& row : rows) {
        fast_machine::TakeSleeps();
        store->ScanOneChannel(row.channel);
        EXPECT_TRUE(store->BlindScan(TunerManager::eScanUk));
        EXPECT_EQ(HearScan(), row.messages) << row.channel;
        WaitForTheEnd();
        EXPECT_EQ(store->GetCurrentChannel(), row.current) << row.channel;
        const std::string report = Scal();
        EXPECT_EQ(std::count(report.begin(), report.end(), '\n'), row.lines) << row.channel;
        EXPECT_EQ(ScanWaits(row.waits.size()), row.waits) << row.channel;
        const std::string tool = "m710cmmd -atsc " + std::to_string(row.channel) + " >/dev/null";
        EXPECT_EQ(fast_machine::TakeShellLines(), std::vector<std::string>(row.waits.empty() ? 0 : 1, tool));
    }
    EXPECT_EQ(FileText("/mnt/hd1/zul_scan_results"), "") << "the file keeps the last full scan";
    EXPECT_TRUE(daemon.Requests().All().empty());
    EXPECT_TRUE(store->StopTuner());
    EXPECT_EQ(fast_machine::TakeShellLines(), std::vector<std::string>{"m710cmmd -stopvid >/dev/null"});
}

TEST_F(ScanTest, LeavesTheStoreOnTheListThatIsAlwaysEmpty) {
    for (const auto mode : {TunerManager::eQAM64, TunerManager::eQAM256}) {
        band = {{1, {5, 1}}, {158, {5, 1}}};
        store->SetMode(mode);
        store->BlindScan(TunerManager::eScanUk);
        EXPECT_NE(HearScan().find("BLINDLOCK:158 OK\r\nBLINDFND:1 OK\r\nBLINDCMP"), std::string::npos);
        WaitForTheEnd();
        EXPECT_EQ(store->GetCurrentChannel(), 159);
        EXPECT_TRUE(store->AddProgramToScanResults(1, 99));
        EXPECT_TRUE(store->SetInfoForProgram(1, 1, 2, 0));
        EXPECT_FALSE(SetEvent(0, 1, 1, 1, "x"));
        EXPECT_FALSE(store->SetLanguageForProgram(1, 1, "eng", Language::eAudio, 0, 1, 0));
        EXPECT_EQ(Epg('n', 1), "EITI OK\r\n");
        EXPECT_EQ(Listing(Language::eAudio), "OK\r\n");
        EXPECT_EQ(Scal(),
                  "SCAL 071 0001 0001 [01:0:ff:00:00] C A NEWS\r\nSCAL 071 009e 0001 [9e:0:ff:00:00] C A NEWS\r\n");
        EXPECT_FALSE(store->TuneToChannel(159));
        EXPECT_FALSE(store->TuneToChannel(0));
    }
}

TEST_F(ScanTest, EndsInErrorWhereItCannotRun) {
    store->SetMode(TunerManager::eModeMax);
    EXPECT_TRUE(store->BlindScan(TunerManager::eScanUk)) << "the wait ends";
    EXPECT_EQ(store->ScanState(), TunerManager::eScanError);
    EXPECT_TRUE(store->BlindScan(static_cast<TunerManager::ScanTypeEnum>(4))) << "no such type: nothing happens";
    EXPECT_EQ(store->ScanState(), TunerManager::eScanError);
    store->SetMode(TunerManager::eATSC);
    daemon.Set(board::Fault::kLying);
    const auto reports = [&] {
        return Reported([&] {
            EXPECT_TRUE(store->BlindScan(TunerManager::eScanUk));
            EXPECT_EQ(HearScan(), "BLINDSTART:0 OK\r\nBLINDCMP:0 OK\r\n") << "the master isn't told";
            WaitForTheEnd();
        });
    };
    EXPECT_NE(reports().find("Can't save scan results"), std::string::npos);
    EXPECT_EQ(store->ScanState(), TunerManager::eScanDone);
    daemon.Set(board::Fault::kNone);
    ASSERT_EQ(SystemManager::RemountHd(1, 1), 0);
    std::filesystem::create_directory("/mnt/hd1/zul_scan_results");
    EXPECT_NE(reports().find("cant open scan file for wr"), std::string::npos);
    EXPECT_FALSE(daemon.IsWritable(1)) << "the disk is closed again";
}

TEST_F(ScanTest, KeepsItsFirstPeer) {
    const Client second;
    store->SetTunerForwarding(server.After(second));
    EXPECT_EQ(Epg('n', 1), "EITI OK\r\n");
    EXPECT_EQ(second.Hear(0), "(nothing)");
    store->SetTunerForwarding(nullptr);
    store->SetTunerForwarding(nullptr);
    buffer.assign(TunerManager::kReplySize, 'x');
    EXPECT_EQ(store->GetLanguagesOrSubtitles(Language::eAudio, buffer.data()), nullptr) << "no one to tell";
    store->SetTunerForwarding(&server.server);
    store->GetLanguagesOrSubtitles(Language::eAudio, buffer.data());
    EXPECT_EQ(second.Hear(), "OK\r\n");
}

// For ThreadSanitizer: filter, queries and scan run at the same time.
TEST_F(ScanTest, SharesTheStoreWithFilterAndMaster) {
    for (int channel = 2; channel <= 69; ++channel) band[channel] = {5, 3};
    std::atomic<bool> done = false;
    std::thread host([&] {
        for (std::uint16_t i = 0; !done; ++i) {
            const auto number = static_cast<std::uint16_t>(i % 4);
            store->AddProgramToScanResults(1, number);
            store->SetInfoForProgram(1, number, 2, 0);
            store->SetPsipInfoForProgram(1, number, "\0N\0E\0W\0S\0\0\0\0\0\0", 7, 1, 4, 0, 1, number);
            store->SetLanguageForProgram(1, number, i % 3 ? "eng" : "spa", Language::eAudio, 0, number, 0);
            SetEvent(number, i, i, 60, "News");
            SetText(number, static_cast<std::uint16_t>(i % 0x4000), "text");
        }
    });
    AllocateErrorBuffer();
    OpenLogChannel(9, "127.0.0.1");  // no receiver
    global_debug_flag = 2;
    std::thread dump([&] {
        while (!done) {
            store->DumpEitInfo();
            store->DumpLanguageInfo();
        }
    });
    EXPECT_TRUE(store->BlindScan(TunerManager::eScanUk));
    std::vector<char> reply(TunerManager::kReplySize);
    while (store->ScanState() == TunerManager::eScanInProgress) {
        store->SetTunerForwarding(nullptr);
        store->SetTunerForwarding(&server.server);
        store->ProcessEpgData(reply.data(), 1, 1, 0, 0, 100, 'l');
        store->GetLanguagesOrSubtitles(Language::eAudio, reply.data());
        EXPECT_LE(store->GetTotalChannelsFound(), 68);
        EXPECT_LE(store->GetCurrentChannel(), 70);
    }
    done = true;
    host.join();
    dump.join();
    EXPECT_EQ(store->GetTotalChannelsFound(), 68);
}
