// UPGR: receives a firmware image in pieces, stores it, and has the settings agent burn it.
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

}  // namespace

/// \return true while an image is downloaded or burnt, after logging `line`
bool CommandManager::UpgradeRefuses(const char* line) const {
    if (mUpgrade.mUpgradeState != eUpgradeDownloading && mUpgrade.mUpgradeState != eUpgradeBurning) return false;
    LOG("%s", line);
    return true;
}

/// UPGR: a query, an announcement, or a piece of the image.
/// \param request  "?", a size in decimal, or ":" and a piece of the image
char* CommandManager::ProcessMultipleUpgradeCommand(Request request) {
    const char* const cmd = request.text;
    if (cmd[0] == '?') {
        request.Reply().Add("UPGRSTATUS%d %s\r\n", mUpgrade.mUpgradeState, mOk);
        return SendUpgradeReply(request);
    }
    if (mUpgrade.mUpgradeState == eUpgradeBurning) {
        request.Reply().Add("%s Invalid state %d\r\n", mKo, mUpgrade.mUpgradeState);
        return SendUpgradeReply(request);
    }
    if (mUpgrade.mUpgradeState == eUpgradeDownloading) {
        if (cmd[0] == ':') return TakeImagePiece(request);
        // The transfer is abandoned; the same text announces the next one.
        mUpgrade.CloseImage();
        mUpgrade.mUpgradeState = eUpgradeDownloadError;
        mUpgrade.bytesDownloaded = 0;
    }
    return AnnounceImage(request);
}

/// Sends a reply that was built over the request. \return null, as nothing more is to be sent
char* CommandManager::SendUpgradeReply(Request request) {
    LOG("%s\n", request.text);
    mpServer->Reply(request.text, static_cast<int>(std::strlen(request.text)));
    return nullptr;
}

char* CommandManager::AnnounceImage(Request request) {
    mUpgrade.mUpgradeBytes = Decimal(request.text);
    LOG("Starting Upgrade with %d bytes\n", mUpgrade.mUpgradeBytes);
    ReplyText reply = request.Reply();
    if (mUpgrade.mUpgradeBytes < kMinImage || mUpgrade.mUpgradeBytes > kMaxImage) {
        reply.Add("%s File too large or too small: %d\r\n", mKo, mUpgrade.mUpgradeBytes);
        return SendUpgradeReply(request);
    }
    const std::string path = platform::DiskPath(MULTIPLE_FILENAME);  // before any change, as it may throw
    mUpgrade.mUpgradeState = eUpgradeDownloading;
    mUpgrade.bytesDownloaded = 0;
    const int remounted = SystemManager::RemountHd(kImagePartition, 1);
    if (remounted < 0) {
        mUpgrade.mUpgradeState = eUpgradeDownloadError;
        reply.Add("%s Can't remount 'w' (%d).\r\n", mKo, remounted);
        return SendUpgradeReply(request);
    }
    LOG("Open the %s for writing\n", MULTIPLE_FILENAME);
    mUpgrade.fp.reset(std::fopen(path.c_str(), "we"));
    if (mUpgrade.fp == nullptr) {
        mUpgrade.mUpgradeState = eUpgradeDownloadError;
        reply.Add("%s Can't open upgrade file\r\n", mKo);
        return SendUpgradeReply(request);
    }
    std::setvbuf(mUpgrade.fp.get(), nullptr, _IONBF, 0);  // unbuffered: a full disk fails the piece that doesn't fit
    return mOk;
}

char* CommandManager::TakeImagePiece(Request request) {
    const auto size = static_cast<std::size_t>(request.length - 1);
    const std::size_t written = std::fwrite(request.text + 1, 1, size, mUpgrade.fp.get());
    mUpgrade.bytesDownloaded += static_cast<int>(written);
    if (written < size || mUpgrade.bytesDownloaded > mUpgrade.mUpgradeBytes) {
        mUpgrade.CloseImage();
        return RefuseImage(request);
    }
    return mUpgrade.bytesDownloaded < mUpgrade.mUpgradeBytes ? mOk : BurnImage(request);
}

char* CommandManager::RefuseImage(Request request) {
    mUpgrade.mUpgradeState = eUpgradeDownloadError;
    request.Reply().Add("%s Error saving upgrade file at %d of %d bytes\r\n", mKo, mUpgrade.bytesDownloaded,
                        mUpgrade.mUpgradeBytes);
    mUpgrade.bytesDownloaded = 0;
    return SendUpgradeReply(request);
}

/// Passes the complete image to the agent. Nothing ends the burning state: the board is expected to restart.
char* CommandManager::BurnImage(Request request) {
    LOG("Download completed\n");
    if (!mUpgrade.CloseImage()) return RefuseImage(request);
    const char* const answer = mpSnmp->SnmpSet("%s s ide://%s", Oid(MULTIPLE_UPGRADE), MULTIPLE_FILENAME);
    if (answer == nullptr) {
        mUpgrade.mUpgradeState = eUpgradeBurnError;
        request.Reply().Add("%s Error starting burn process\r\n", mKo);
        return SendUpgradeReply(request);
    }
    LOG("Sent snmp to start upgrade. Resp: %s\n", answer);
    mUpgrade.mUpgradeState = eUpgradeBurning;
    return mOk;
}
