/// State that the handlers keep between requests, one struct per concern. Only the command thread uses them.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>

enum UpgradeStateEnum {
    eUpgradeIdle = 0,
    eUpgradeDownloading = 1,
    eUpgradeBurning = 2,
    eUpgradeDownloadError = 3,
    eUpgradeBurnError = 4,
};

/// UPGR: the firmware image being received.
struct Upgrade {
    UpgradeStateEnum mUpgradeState = eUpgradeIdle;
    int mUpgradeBytes = 0;    ///< announced size of the image
    int bytesDownloaded = 0;  ///< bytes of the image stored so far

    /// Closes the image's file, if it is open. \return false when the close reports a failed write
    bool CloseImage() { return fp == nullptr || std::fclose(fp.release()) == 0; }

    struct Close {
        void operator()(FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<FILE, Close> fp;  ///< open during a download
};

/// UNIT, LANG and SUBS on a receiver: what is played.
struct Playback {
    char mMulticastIpReceived[16] = "";  ///< empty during a change, "0.0.0.0" after a stop
    std::uint16_t mMulticastPortReceived = 0;
    std::uint16_t mProgramReceived = 0;
    int mAudioLanguagePri = 0;        ///< PID, 0 for none
    int mAudioLanguageSec = 0;        ///< PID, 0 for none
    int mCCIndex = 0;                 ///< closed-caption service, 0 for off
    char mLastUnitCommand[255] = "";  ///< last accepted play command, empty after a stop

    // Part of the interface, never read.
    std::uint16_t mPrevMcastPort = 0;
    int mSubtitleLanguagePri = 0;
    int mSubtitleLanguageSec = 0;
};

/// URL: the page on the browser layer, and its window in pixels of a 1280 x 768 plane.
struct PageWindow {
    int mUrlXposition = 0;
    int mUrlYposition = 0;
    int mUrlWidth = 1280;
    int mUrlHeight = 768;
    int mUrlAlphaBrowser = 0;
    int mUrlAlphaVideo = 1;
    bool mBrowserUp = false;  ///< the page is visible over the video
    char mUrl[1024] = "";
};
