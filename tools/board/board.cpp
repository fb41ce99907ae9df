// The board: its processes, and what they exchange without the module.
#include "board.h"

#include <dlfcn.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "common/interfaces.h"
#include "story.h"

namespace board {

namespace {

/// Queues of all processes that exchange messages with the module.
constexpr int kQueueKeys[] = {1234, 1235, 1236, 1240, 1689, 1250, 945602, 31561};

constexpr const char* kReceiverVersion = "67174400";  // 0x04010000

template <typename Function>
void Find(void* module, const char* name, Function*& function) {
    function = reinterpret_cast<Function*>(dlsym(module, name));
    if (function == nullptr) throw std::runtime_error(dlerror());
}

/// \return the IPv4 address of eth0, or "" without one
std::string OwnAddress() {
    const auto all = common::Interfaces();
    const auto eth0 = std::ranges::find(all, "eth0", &common::Interface::name);
    return eth0 == all.end() ? "" : common::AddressText(eth0->address);
}

}  // namespace

void ClearBoardMemory() {
    for (const int key : kQueueKeys) {
        if (const auto queue = Queue::Find(key)) queue->Remove();
    }
    const int block = shmget(StatusBlock::kKey, 1, 0);
    if (block != -1) shmctl(block, IPC_RMID, nullptr);
}

Board::Board(BoardPlan plan) : mPlan(std::move(plan)) {
    ClearBoardMemory();
    mStatus.emplace();
    if (Has(Process::kSettingsAgent)) {
        mSettings.emplace(kDisk + "/burnt.tar");
        const std::string address = OwnAddress();
        if (!address.empty()) mSettings->Put("IP_ADDRESS", address);
    }
    if (Has(Process::kSystemDaemon)) mDaemon.emplace();
    void* const module = dlopen(mPlan.module.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) throw std::runtime_error(dlerror());
    Find(module, "Zul_Start_Filter", mStart);
    Find(module, "Zul_Filter", mFilter);
    if (mPlan.role == 'R') MakeReceiver();
    mTuner.emplace(mPlan.band, *mStatus, [this](std::span<std::uint8_t> data) {
        if (mPlan.role == 'T') Filter(data);
    });
    mTools.emplace([this](const std::string& line) { RunTool(line); });
}

void Board::MakeReceiver() {
    if (mSettings) mSettings->Put("QVAN_VERSION", kReceiverVersion);
    if (Has(Process::kPlayer)) {
        mPlayer.emplace(*mStatus, Player::Duties{[this](std::span<std::uint8_t> section) { Filter(section); },
                                                 [this](const std::string& item) {
                                                     if (mSettings) mSettings->Put("CURRENT_ITEM_BEING_PLAYED", item);
                                                 }});
    }
    mInfrared.emplace();
    if (Has(Process::kBrowser)) mBrowser.emplace();
    if (Has(Process::kSerialPort)) mSerial.emplace();
}

Screen Board::Shown() {
    constexpr std::size_t kMostLines = 8;
    Screen screen = ThePlayer().Shown();
    if (!mBrowser) return screen;
    auto& lines = screen.browserLines;
    for (const BrowserOrder& order : mBrowser->Orders().All()) lines.push_back(Describe(order));
    if (lines.size() > kMostLines) lines.erase(lines.begin(), lines.end() - kMostLines);
    return screen;
}

void Board::TellTo(std::function<void(std::string_view, const std::string&)> tell) {
    const auto watch = [&tell](auto& journal, const char* process) {
        journal.Watch([tell, process](const auto& entry) { tell(process, Describe(entry)); });
    };
    if (mSettings) {
        watch(mSettings->Requests(), "settings");
        watch(mSettings->Burns(), "settings");
    }
    if (mDaemon) watch(mDaemon->Requests(), "daemon");
    watch(mTools->Lines(), "tool");
    watch(mTuner->Tunings(), "tuner");
    if (mPlayer) watch(mPlayer->Orders(), "player");
    if (mBrowser) watch(mBrowser->Orders(), "browser");
    if (mSerial) watch(mSerial->Received(), "serial");
    if (mInfrared) {
        mInfrared->Keys().Watch([tell](int code) { tell("infrared", "key " + KeyName(code)); });
    }
}

void Board::RunTool(const std::string& line) {
    std::istringstream words(line);
    std::string tool, option;
    int channel = 0;
    words >> tool >> option >> channel;
    if (option == "-atsc") mTuner->TuneTo(channel);
    if (option == "-stopvid") mTuner->Stop();
}

}  // namespace board
