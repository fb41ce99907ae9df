/// One simulated board: the module in a role, and the board's other processes around it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>

#include "browser_controller.h"
#include "infrared_service.h"
#include "player.h"
#include "serial_port.h"
#include "settings_agent.h"
#include "status_block.h"
#include "system_daemon.h"
#include "tool_box.h"
#include "tuner.h"

namespace board {

/// Processes that a board can lack.
enum class Process { kSettingsAgent, kSystemDaemon, kPlayer, kBrowser, kSerialPort };

struct BoardPlan {
    char role = 'T';              ///< 'T' or 'R'
    std::string module{};         ///< path of libzul.so
    std::map<int, Channel> band;  ///< content of the channels, by number
    std::set<Process> absent{};
};

/// A board in this process, with a board's fixed keys and ports: one per machine, as in the sandbox.
class Board {
 public:
    /// Powers the board up to the point where its player loads the module: all other processes run, and their queues
    /// are empty. The module is loaded, never unloaded, and started once per process: it can't be stopped.
    /// Throws std::exception when the system refuses something, or for a file that isn't the module.
    explicit Board(BoardPlan plan);

    /// Calls `tell` with a line for each request to a process of the board and each action, on that process's thread.
    void TellTo(std::function<void(std::string_view process, const std::string& line)> tell);

    /// Starts the module. \param role  as the host requests it: 'T', 'R', or 'A' for that of the board's version
    void Start(char role) { mStart(role); }
    void Start() { Start(mPlan.role); }

    /// Feeds the module. The tuner does so on a transmitter, the player on a receiver.
    void Filter(std::span<std::uint8_t> data) const { mFilter(data.data(), static_cast<unsigned>(data.size())); }

    // The board's processes. Throws std::bad_optional_access for one that the plan leaves out.
    SettingsAgent& Settings() { return mSettings.value(); }
    SystemDaemon& Daemon() { return mDaemon.value(); }
    StatusBlock& Status() { return mStatus.value(); }
    ToolBox& Tools() { return mTools.value(); }
    Tuner& TheTuner() { return mTuner.value(); }
    // Of a receiver:
    Player& ThePlayer() { return mPlayer.value(); }
    InfraredService& Infrared() { return mInfrared.value(); }
    BrowserController& Browser() { return mBrowser.value(); }
    SerialPort& Serial() { return mSerial.value(); }

    /// \return what a receiver shows now, with the latest keys that its page received
    Screen Shown();

    const BoardPlan& Plan() const { return mPlan; }

 private:
    void MakeReceiver();
    bool Has(Process process) const { return !mPlan.absent.contains(process); }
    void RunTool(const std::string& line);

    const BoardPlan mPlan;
    char* (*mStart)(char) = nullptr;
    void (*mFilter)(unsigned char*, unsigned int) = nullptr;
    std::optional<StatusBlock> mStatus;
    std::optional<SettingsAgent> mSettings;
    std::optional<SystemDaemon> mDaemon;
    std::optional<Player> mPlayer;
    std::optional<InfraredService> mInfrared;
    std::optional<BrowserController> mBrowser;
    std::optional<SerialPort> mSerial;
    std::optional<Tuner> mTuner;
    std::optional<ToolBox> mTools;
};

/// Removes the board's queues and its status block, as a loss of power does.
void ClearBoardMemory();

}  // namespace board
