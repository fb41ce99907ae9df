/// A command manager with the board's other processes around it, asked over its real socket; and the player's queue.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/msg.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <vector>

#include "commands/keywordtable.h"
#include "core/log.h"
#include "fast_machine.h"
#include "kbl_interprocess.h"
#include "settings_agent.h"
#include "status_block.h"
#include "support/shell.h"
#include "system_daemon.h"
#include "udp_client.h"

using Texts = std::vector<std::string>;

inline const Texts kOk{"OK\r\n"};
inline const Texts kKo{"KO\r\n"};

/// Takes the orders that the module sends.
class PlayerQueue {
 public:
    PlayerQueue() : mId(msgget(1234, IPC_CREAT | 0666)) {}

    /// \return the pending orders, in order
    std::vector<sMSG_COMMON_FORMAT> Take() const {
        std::vector<sMSG_COMMON_FORMAT> orders;
        struct {
            long type;
            char text[400];
        } message{};
        while (msgrcv(mId, &message, sizeof message.text, 2, IPC_NOWAIT) >= 0) {
            std::memcpy(&orders.emplace_back(), message.text, sizeof(sMSG_COMMON_FORMAT));
            std::memset(&message, 0, sizeof message);
        }
        return orders;
    }

    /// \return the numbers of the pending orders, in order
    std::vector<int> TakeNumbers() const {
        std::vector<int> numbers;
        for (const sMSG_COMMON_FORMAT& order : Take()) numbers.push_back(order.cmmd.cmmdId);
        return numbers;
    }

 private:
    int mId;
};

/// Centre, size, alpha, asp and mode of a layer, for comparing.
inline std::vector<int> Geometry(const sKBL_LAYER_INFO& layer) {
    return {layer.centerX, layer.centerY, layer.width, layer.height, layer.alpha, layer.asp, layer.xyMode};
}

/// Gives the tests of the room access to the command manager's members.
class CommandManagerTest : public ::testing::Test {
 protected:
    static constexpr std::uint16_t kPort = 5000;

    explicit CommandManagerTest(char role = 'T') {
        global_debug_flag = 0;
        fast_machine::RecordShell(true);
        mInherited = Inherited();
        fast_machine::SetSpeed(200);   // the minute that a remount may take stays long enough for a busy machine
        static CommandManager* board;  // never destroyed, as in a player: its threads don't end
        board = new CommandManager(role);
        mBoard = board;
        EXPECT_TRUE(mBoard->mpServer->Connect(kPort));
        EXPECT_EQ(chdir("/mnt"), 0);  // files that a request names land in the sandbox
    }

    ~CommandManagerTest() override { EXPECT_EQ(Inherited(), mInherited) << "the board's tools would keep these open"; }

    /// \return the open files that a process started now would inherit
    static std::set<std::string> Inherited() {
        std::set<std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            const int flags = fcntl(std::stoi(entry.path().filename()), F_GETFD);
            if (flags != -1 && (flags & FD_CLOEXEC) == 0) files.insert(std::filesystem::read_symlink(entry.path()));
        }
        return files;
    }

    /// Sends a request, has it served, and takes what came back.
    Texts Ask(const std::string& request) {
        mMaster.Send(kPort, request);
        Serve();
        return mMaster.Take();
    }
    void Serve() { mBoard->ServeRequest(); }

    UpgradeStateEnum& UpgradeState() { return mBoard->mUpgrade.mUpgradeState; }
    const char* LastUnitText() const { return mBoard->mPlayback.mLastUnitCommand; }
    TunerManager& Tuner() { return *mBoard->mpTunerManager; }
    TsFilter& Filter() { return *mBoard->mpTsf; }
    void Boot() { mBoard->ProcessTunerModeAndDefaultStartupItem(nullptr); }
    static auto Keywords() { return CommandManager::Commands(); }

    std::set<std::string> mInherited;  ///< before the board
    board::StatusBlock mStatus;
    board::SettingsAgent mAgent{"/mnt/burnt"};
    board::SystemDaemon mDaemon;
    Client mMaster;
    CommandManager* mBoard;
};

class ReceiverTest : public CommandManagerTest {
 protected:
    ReceiverTest() : CommandManagerTest('R') {}
};
