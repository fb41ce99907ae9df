// UPGR: a firmware image, taken in pieces, stored, and handed to the settings agent to burn.
#include <cstdio>
#include <cstring>

#include "commands/commandmanager.h"
#include "core/log.h"
#include "core/replytext.h"
#include "core/snmplocal.h"
#include "core/systemmanager.h"
#include "core/texthelpers.h"
#include "platform/machine.h"

namespace {

constexpr const char* MULTIPLE_FILENAME = "/mnt/hd4/multiple.tar";
constexpr int kImagePartition = 4;
constexpr int kMinImage = 11;  ///< bytes
constexpr int kMaxImage = 1000000000;

/// The image being received. Command thread only.
FILE* fp = nullptr;
int bytesDownloaded = 0;

/// \return false when the system reports a failed write only now
bool CloseImage() {
    const bool closed = fp == nullptr || std::fclose(fp) == 0;
    fp = nullptr;
    return closed;
}

}  // namespace

/// \param cmd  behind the keyword: "?", a size in decimal, or ":" and a piece of the image
/// \param len  bytes of `cmd`
char* CommandManager::ProcessMultipleUpgradeCommand(char* cmd, int len) {
    if (cmd[0] == '?') {
        ReplyText(cmd, kCommandSize - 4).Add("UPGRSTATUS%d %s\r\n", mUpgradeState, mOk);
        return SendUpgradeReply(cmd);
    }
    if (mUpgradeState == eUpgradeBurning) {
        ReplyText(cmd, kCommandSize - 4).Add("%s Invalid state %d\r\n", mKo, mUpgradeState);
        return SendUpgradeReply(cmd);
    }
    if (mUpgradeState == eUpgradeDownloading) {
        if (cmd[0] == ':') return TakeImagePiece(cmd, len);
        // The transfer is abandoned; the same text announces the next one.
        CloseImage();
        mUpgradeState = eUpgradeDownloadError;
        bytesDownloaded = 0;
    }
    return AnnounceImage(cmd);
}

/// Sends a reply that was built over the command. \return null, as nothing more is to be sent
char* CommandManager::SendUpgradeReply(char* cmd) {
    LOG("%s\n", cmd);
    mpServer->Reply(cmd, static_cast<int>(std::strlen(cmd)));
    return nullptr;
}

char* CommandManager::AnnounceImage(char* cmd) {
    mUpgradeBytes = Decimal(cmd);
    LOG("Starting Upgrade with %d bytes\n", mUpgradeBytes);
    ReplyText reply(cmd, kCommandSize - 4);
    if (mUpgradeBytes < kMinImage || mUpgradeBytes > kMaxImage) {
        reply.Add("%s File too large or too small: %d\r\n", mKo, mUpgradeBytes);
        return SendUpgradeReply(cmd);
    }
    const std::string path = platform::DiskPath(MULTIPLE_FILENAME);  // first, as there may be no memory for it
    mUpgradeState = eUpgradeDownloading;
    bytesDownloaded = 0;
    const int remounted = SystemManager::RemountHd(kImagePartition, 1);
    if (remounted < 0) {
        mUpgradeState = eUpgradeDownloadError;
        reply.Add("%s Can't remount 'w' (%d).\r\n", mKo, remounted);
        return SendUpgradeReply(cmd);
    }
    LOG("Open the %s for writing\n", MULTIPLE_FILENAME);
    fp = std::fopen(path.c_str(), "we");
    if (fp == nullptr) {
        mUpgradeState = eUpgradeDownloadError;
        reply.Add("%s Can't open upgrade file\r\n", mKo);
        return SendUpgradeReply(cmd);
    }
    std::setvbuf(fp, nullptr, _IONBF, 0);  // a full disk shows with the piece that doesn't fit
    return mOk;
}

char* CommandManager::TakeImagePiece(char* cmd, int len) {
    const auto size = static_cast<std::size_t>(len - 1);
    const std::size_t written = std::fwrite(cmd + 1, 1, size, fp);
    bytesDownloaded += static_cast<int>(written);
    if (written < size || bytesDownloaded > mUpgradeBytes) {
        CloseImage();
        return RefuseImage(cmd);
    }
    return bytesDownloaded < mUpgradeBytes ? mOk : BurnImage(cmd);
}

char* CommandManager::RefuseImage(char* cmd) {
    mUpgradeState = eUpgradeDownloadError;
    ReplyText(cmd, kCommandSize - 4)
        .Add("%s Error saving upgrade file at %d of %d bytes\r\n", mKo, bytesDownloaded, mUpgradeBytes);
    bytesDownloaded = 0;
    return SendUpgradeReply(cmd);
}

/// Hands the whole image to the agent. There is no way out of burning: the board is expected to restart.
char* CommandManager::BurnImage(char* cmd) {
    LOG("Download completed\n");
    if (!CloseImage()) return RefuseImage(cmd);
    const char* const answer = mpSnmp->SnmpSet("%s s ide://%s", Oid(MULTIPLE_UPGRADE), MULTIPLE_FILENAME);
    if (answer == nullptr) {
        mUpgradeState = eUpgradeBurnError;
        ReplyText(cmd, kCommandSize - 4).Add("%s Error starting burn process\r\n", mKo);
        return SendUpgradeReply(cmd);
    }
    LOG("Sent snmp to start upgrade. Resp: %s\n", answer);
    mUpgradeState = eUpgradeBurning;
    return mOk;
}
