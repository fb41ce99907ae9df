// Saves during which the disk, or the daemon that makes it writable, fails: the reply, and the state afterwards.
#include <filesystem>

#include "commands/command_fixture.h"
#include "core/systemmanager.h"

namespace {

constexpr const char* kImage = "/mnt/hd4/multiple.tar";

/// A command that saves a file of partition 1, its reply whatever becomes of the save, and the reports of a failed one.
struct Save {
    const char* request;
    const char* file;
    const char* content;        ///< of the file
    const char* fileReport;     ///< when the file can't be opened or written to its end
    const char* remountReport;  ///< when the partition can't be made writable
    Texts remountReply;
};

const Save kSaves[] = {
    {"UNIT0", "/mnt/hd1/zul_def_startup", "UNIT0", "Can't open def startup file", "Can't remount rw", kOk},
    {"TUNERMODE1", "/mnt/hd1/zul_tunermode", "1\n", "Cant open tunermode file for w", "Can't remount HD rw", kKo},
    {"MCASTPACKETSIZE1000", "/mnt/hd1/zul_packet_size", "1000", "cant open zul_packet_size file for wr",
     "Cant remount rw", kOk},
};

}  // namespace

class SaveTest : public CommandManagerTest {
 protected:
    /// Makes a file of the board impossible to open or to write.
    void Spoil(const char* file, bool full) {
        std::filesystem::remove_all(file);
        full ? std::filesystem::create_symlink("/dev/full", file) : (void)std::filesystem::create_directory(file);
    }

    /// Sends a request, and keeps the reports until its reply.
    Texts AskAndListen(const std::string& request) {
        testing::internal::CaptureStderr();
        Texts replies = Ask(request);
        reports = testing::internal::GetCapturedStderr();
        return replies;
    }
    bool Reported(const std::string& text) const { return reports.find(text) != std::string::npos; }

    std::string reports;
};

TEST_F(SaveTest, AFileThatCantBeWrittenToItsEndIsReportedAndTheDiskClosedAgain) {
    for (const bool full : {false, true}) {
        ASSERT_EQ(SystemManager::RemountHd(1, 1), 0);
        for (const Save& save : kSaves) Spoil(save.file, full);
        ASSERT_EQ(SystemManager::RemountHd(1, 0), 0);
        for (const Save& save : kSaves) {
            EXPECT_EQ(AskAndListen(save.request), kOk) << save.file;
            EXPECT_TRUE(Reported(save.fileReport)) << reports;
            EXPECT_TRUE(Reported(full ? "No space left on device" : "Is a directory")) << reports;
            EXPECT_FALSE(mDaemon.IsWritable(1)) << save.file;
        }
        EXPECT_EQ(mAgent.Get("TUNER_MODE"), "1") << "the mode is set all the same";
        mAgent.Put("TUNER_MODE", "0");
    }
}

TEST_F(SaveTest, ADaemonThatFailsIsReportedAndNothingIsWrittenUntilItIsMended) {
    for (const board::Fault fault : {board::Fault::kLying, board::Fault::kSilent, board::Fault::kFull}) {
        mDaemon.Set(fault);
        for (const Save& save : kSaves) {
            EXPECT_EQ(AskAndListen(save.request), save.remountReply) << save.request;
            EXPECT_TRUE(Reported(save.remountReport)) << reports;
            EXPECT_FALSE(std::filesystem::exists(save.file)) << save.file;
        }
    }
    EXPECT_EQ(mAgent.Get("TUNER_MODE"), "0");
    mDaemon.Set(board::Fault::kNone);
    for (const Save& save : kSaves) {
        EXPECT_EQ(Ask(save.request), kOk);
        EXPECT_EQ(FileText(save.file), save.content) << "as it came";
        EXPECT_FALSE(mDaemon.IsWritable(1)) << save.file;
    }
}

TEST_F(SaveTest, AnImageIsRefusedInTheWordsOfItsFailure) {
    const std::pair<board::Fault, const char*> cases[] = {
        {board::Fault::kLying, "KO\r\n Can't remount 'w' (-4).\r\n"},
        {board::Fault::kSilent, "KO\r\n Can't remount 'w' (-3).\r\n"},
        {board::Fault::kNone, "KO\r\n Can't open upgrade file\r\n"},
    };
    ASSERT_EQ(SystemManager::RemountHd(4, 1), 0);
    Spoil(kImage, false);
    ASSERT_EQ(SystemManager::RemountHd(4, 0), 0);
    for (const auto& [fault, reply] : cases) {
        mDaemon.Set(fault);
        EXPECT_EQ(Ask("UPGR200"), Texts{reply});
        EXPECT_EQ(UpgradeState(), CommandManager::eUpgradeDownloadError) << reply;
    }
    Spoil(kImage, true);
    EXPECT_EQ(Ask("UPGR200"), kOk);
    EXPECT_EQ(Ask("UPGR:0123456789"), Texts{"KO\r\n Error saving upgrade file at 0 of 200 bytes\r\n"});
    EXPECT_EQ(UpgradeState(), CommandManager::eUpgradeDownloadError);
    EXPECT_EQ(Ask("UPGR?"), Texts{"UPGRSTATUS3 OK\r\n\r\n"});
}

TEST_F(SaveTest, AnItemLongerThanItsFileIsCut) {
    const std::string item = "UNIT0," + std::string(400, 'x');
    EXPECT_EQ(Ask(item), kOk);
    EXPECT_EQ(FileText("/mnt/hd1/zul_def_startup"), item.substr(0, 254));
}
