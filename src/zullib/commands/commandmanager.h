/// The central object: owns the device objects, serves the command protocol.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "guide/tunermanager.h"

class IrControl;
class SnmpLocal;
class TsFilter;
class Uart;
class UdpServer;

/// Receiver only: whether `Zul_Filter` analyses sections; false while the channel changes.
extern std::atomic<bool> process_pat;

/// Closed-caption service in force, 0 for off. Command thread only.
extern int mCCIndex;

/// One per process, made by `Zul_Start_Filter`. Every handler runs on the command thread, which alone writes the
/// members. A handler takes the command's text and gives the reply, which its caller never frees: `mOk`, `mKo`, text
/// built over the command buffer, or null when there is no reply or it was sent already.
class CommandManager {
 public:
    enum UpgradeStateEnum {
        eUpgradeIdle = 0,
        eUpgradeDownloading = 1,
        eUpgradeBurning = 2,
        eUpgradeDownloadError = 3,
        eUpgradeBurnError = 4,
    };

    static constexpr std::size_t kCommandSize = 8192;   ///< bytes of the command buffer, which replies are built over
    static constexpr int kMaxRequest = 2040;            ///< bytes taken of a request
    static constexpr std::size_t kSavedUnitSize = 255;  ///< bytes kept of a UNIT command, its terminator among them
    static constexpr std::uint16_t kReceiverPort = 2008;
    static constexpr std::uint16_t kTransmitterPort = 5000;

    static char mOk[8];  ///< "OK\r\n"
    static char mKo[8];  ///< "KO\r\n"

    /// Makes the device objects in their order, and lets data reach the filter last.
    /// \param type  'T', 'R', or 'A' for the role of the board's version; ends the process for any other
    explicit CommandManager(char type);
    ~CommandManager();
    CommandManager(const CommandManager&) = delete;
    CommandManager& operator=(const CommandManager&) = delete;

    /// \return role in force, 'R' or 'T'
    char MyType() const { return mMyType; }

    /// Boot steps, then the command loop. \return -1 when the command socket can't be opened; else never
    int ProcessCommandLoop();

    /// Called every 5 seconds by the watchdog thread; does nothing.
    void RunPeriodicCheck() {}

 private:
    friend class CommandManagerTest;
    struct Command;
    static const Command kCommands[];
    static std::span<const Command> Commands();

    // core: commandmanager.cpp, commandloop.cpp, dispatcher.cpp
    char AutoDetectType();
    void BootRole();
    void ServeRequest();
    char* ProcessCommand(char* cmd, int len);
    char* RefuseRole(const Command& row);
    bool UpgradeHoldsBack() const { return mUpgradeState == eUpgradeDownloading || mUpgradeState == eUpgradeBurning; }

    // commands: one source per concern
    char* ProcessVersion(char* cmd);
    char* ProcessReset();
    char* ProcessTime(char* cmd);
    char* ProcessCallback(char* cmd);
    char* ProcessFilterDebug(char* cmd);
    char* ProcessStatus(char* cmd);
    char* ProcessStatusGetTransmitter(char* cmd);
    char* ProcessStatusGetReceiver(char* cmd);
    char* ProcessIpGet(char* cmd);
    char* ProcessIpSet(char* cmd);
    bool SetFixedAddresses(const char* address, const char* gateway, const char* netmask);
    char* ProcessRemoteCommand(char* cmd);
    char* ProcessMultipleUpgradeCommand(char* cmd, int len);
    char* SendUpgradeReply(char* cmd);
    char* AnnounceImage(char* cmd);
    char* TakeImagePiece(char* cmd, int len);
    char* RefuseImage(char* cmd);
    char* BurnImage(char* cmd);
    bool IsTransmitter() const;
    bool SetTunerMode(int mode);
    char* ProcessTunerTuneCommand(char* param);
    char* ProcessTunerScanStatusCommand(char* buffer);
    char* ProcessTunerScanQueryCommand(char* buffer);
    char* ProcessTunerScanBlindCommand(char* param);
    char* ProcessEpgData(char* cmd, int len);
    char* ProcessLanguageList(Language::LanguageModeEnum mode, char* cmd);
    char* ProcessSetLanguage(char* cmd, int len);
    char* ProcessSetSubtitles(char* cmd, int len);
    char* ProcessUnit(char* cmd);
    bool PlayLayer(const char* mcastIp, std::uint16_t mcastPort, int progId, int audioId);
    char* ProcessSelectChannelsToPlay(char* cmd, bool save);
    void ForgetStream();
    bool PlayFields(int subcmd, char* position);
    void CopyUnitCommand(const char* text);
    void StopPlaying();
    char* ProcessUrlSet(char* cmd);
    char* SendBrowserKey(int key);
    void ShowPage();
    char* ProcessVscaleCommand(char* cmd, int len);
    char* ProcessResolution(char* cmd, int len);
    void ReplayLastUnit();
    char* ProcessSelectChannelsToStream(char* cmd, bool save);
    bool RunStreamCommand(char cmdId, char* parameters);
    bool RunSlotCommand(char cmdId, char* parameters);
    bool StartStream(int streamId, char* parameters);
    bool SaveDefaultStartupItem(const char* cmd);
    bool SaveTunerMode(int tunerMode);
    void ReadStartupFiles();
    void PlayStartupItem();
    char* ProcessTunerModeAndDefaultStartupItem(char* cmd);
    char* ProcessPacketSize(char* cmd, int len);
    char* ProcessIrAndUartForward(char* cmd);
    void StreamFromFile(char* cmd);

    char mMyType;
    std::uint16_t mCommandPort = 0;
    std::unique_ptr<UdpServer> mpServer;
    std::unique_ptr<TsFilter> mpTsf;
    std::unique_ptr<SnmpLocal> mpSnmp;
    std::unique_ptr<IrControl> mpIrControl;  ///< null on a transmitter
    std::unique_ptr<Uart> mpUart;            ///< null on a transmitter
    std::unique_ptr<TunerManager> mpTunerManager;
    std::unique_ptr<char[]> mCommand;  ///< kCommandSize bytes
    bool mIrForwarding = false;
    bool mBrowserUp = false;
    /// Kind of the last accepted UNIT: the digit's value on a receiver, its character's code on a transmitter.
    int mLastUnitCommandId = 0;
    UpgradeStateEnum mUpgradeState = eUpgradeIdle;
    int mUpgradeBytes = 0;                     ///< announced size of the image
    std::unique_ptr<char[]> mLastUnitCommand;  ///< 256 bytes
    char mTunerMode[16] = "";
    int mSubtitleLanguagePri = 0;
    int mSubtitleLanguageSec = 0;
    int mAudioLanguagePri = 0;  ///< PID, 0 for none
    int mAudioLanguageSec = 0;
    char mMulticastIpReceived[16] = "";
    std::uint16_t mMulticastPortReceived = 0;
    std::uint16_t mProgramReceived = 0;
    std::uint16_t mPrevMcastPort = 0;
    int mUrlXposition = 0;  ///< browser window, pixels of a 1280 x 768 plane
    int mUrlYposition = 0;
    int mUrlWidth = 1280;
    int mUrlHeight = 768;
    int mUrlAlphaBrowser = 0;
    int mUrlAlphaVideo = 1;
    std::unique_ptr<char[]> mUrl;  ///< 1024 bytes on a receiver, null on a transmitter
};
