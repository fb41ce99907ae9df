/// The central object: owns the device objects, serves the command protocol.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "commands/request.h"
#include "commands/state.h"
#include "guide/tunermanager.h"

class CommaFields;
class IrControl;
class SnmpLocal;
class TsFilter;
class Uart;
class UdpServer;

/// One per process, made by `Zul_Start_Filter`. Every handler runs on the command thread, which alone writes the
/// members. A handler returns the reply, which its caller never frees: `mOk`, `mKo`, text built over the request, or
/// null when there is no reply or it was already sent.
class CommandManager {
 public:
    using enum UpgradeStateEnum;

    static constexpr std::size_t kCommandSize = 8192;  ///< bytes of the command buffer
    static constexpr int kMaxRequest = 2040;           ///< bytes accepted of a request
    static constexpr std::uint16_t kReceiverPort = 2008;
    static constexpr std::uint16_t kTransmitterPort = 5000;

    static char mOk[8];  ///< "OK\r\n"
    static char mKo[8];  ///< "KO\r\n"

    /// Creates the device objects in order; the filter gets the host's data last.
    /// \param type  'T', 'R', or 'A' for the role of the board's version; ends the process for any other
    explicit CommandManager(char type);
    ~CommandManager();
    CommandManager(const CommandManager&) = delete;
    CommandManager& operator=(const CommandManager&) = delete;

    /// \return role in force, 'R' or 'T'
    char MyType() const { return mMyType; }

    /// Boot steps, then the command loop. \return -1 when the command socket can't be opened; otherwise doesn't return
    int ProcessCommandLoop();

    /// Called every 5 seconds by the watchdog thread; does nothing.
    void RunPeriodicCheck() {}

 private:
    friend class CommandManagerTest;
    struct Command;
    static const Command kCommands[];
    static std::span<const Command> Commands();

    // commandmanager.cpp, commandloop.cpp, dispatcher.cpp
    char AutoDetectType();
    void BootRole();
    void ServeRequest();
    char* ProcessCommand(char* cmd, int len);
    char* RefuseRole(const Command& row);

    // board_commands.cpp: VERS, RESET, TIME
    char* ProcessVersion(Request request);
    char* ProcessReset();
    char* ProcessTime(Request request);

    // bridge_commands.cpp: CALLBACK, REMOTE, UART, SUART
    char* ProcessCallback(Request request);
    char* ProcessIrAndUartForward(char* number);
    char* ProcessRemoteCommand(Request request);
    char* ProcessUart(Request request);
    char* ProcessUartParameters(Request request);

    // debug_commands.cpp: STREAMFROMFILE, FILTER
    char* ProcessStreamFromFile(Request request);
    void StreamFromFile(char* names);
    char* ProcessFilterDebug(Request request);

    // guide_commands.cpp: EIT
    char* ProcessEpgData(Request request);

    // language_commands.cpp: LAN?, SUB?, LANG, SUBS
    char* ProcessLanguageList(Language::LanguageModeEnum mode, Request request);
    char* ProcessSetLanguage(Request request);
    char* ProcessSetSubtitles(Request request);

    // network_commands.cpp: IP?, DHCP
    char* ProcessIpGet(Request request);
    char* ProcessIpSet(Request request);
    bool SetFixedAddresses(const char* address, const char* gateway, const char* netmask);

    // resolution_commands.cpp: RESOLUTION
    char* ProcessResolution(Request request);
    void ReplayLastUnit();

    // startup_item.cpp: TUNERMODE, the start-up item
    char* ProcessTunerModeAndDefaultStartupItem(char* cmd);
    bool SetTunerMode(int mode);
    bool SaveTunerMode(int tunerMode);
    bool SaveDefaultStartupItem(const char* cmd);
    void ReadStartupFiles();
    void PlayStartupItem();

    // status_commands.cpp: STATUS
    char* ProcessStatus(Request request);
    char* ProcessStatusGetTransmitter(Request request);
    char* ProcessStatusGetReceiver(Request request);

    // stream_commands.cpp: UNIT, MCASTPACKETSIZE
    char* ProcessUnit(Request request);
    char* SelectChannels(char* cmd, bool save);
    char* ProcessSelectChannelsToStream(char* cmd, bool save);
    bool RunStreamCommand(char cmdId, char* parameters);
    bool RunSlotCommand(char cmdId, char* parameters);
    bool StartStream(int streamId, char* parameters);
    char* ProcessSelectChannelsToPlay(char* cmd, bool save);
    void ForgetStream();
    bool PlayFields(int subcmd, CommaFields& fields);
    bool PlayLayer(const char* mcastIp, std::uint16_t mcastPort, int progId, int audioId);
    void StopPlaying();
    char* ProcessPacketSize(Request request);

    // tuner_commands.cpp: Tuner://, SCA?, SCAL, BLIND
    char* ProcessTunerTuneCommand(Request request);
    char* ProcessTunerScanStatusCommand(Request request);
    char* ProcessTunerScanQueryCommand(Request request);
    char* ProcessTunerScanBlindCommand(Request request);

    // upgrade_commands.cpp: UPGR
    bool UpgradeRefuses(const char* line) const;
    char* ProcessMultipleUpgradeCommand(Request request);
    char* SendUpgradeReply(Request request);
    char* AnnounceImage(Request request);
    char* TakeImagePiece(Request request);
    char* RefuseImage(Request request);
    char* BurnImage(Request request);

    // url_commands.cpp: URL, VSCALE
    char* ProcessUrlSet(Request request);
    char* SendBrowserKey(int key);
    void ShowPage();
    char* ProcessVscaleCommand(Request request);

    char mMyType;
    std::uint16_t mCommandPort = 0;
    std::unique_ptr<UdpServer> mpServer;
    std::unique_ptr<TsFilter> mpTsf;
    std::unique_ptr<SnmpLocal> mpSnmp;
    std::unique_ptr<IrControl> mpIrControl;  ///< null on a transmitter
    std::unique_ptr<Uart> mpUart;            ///< null on a transmitter
    std::unique_ptr<TunerManager> mpTunerManager;
    std::unique_ptr<char[]> mCommand;  ///< kCommandSize bytes
    /// Kind of the last accepted UNIT: the digit's value on a receiver, its character's code on a transmitter.
    int mLastUnitCommandId = 0;
    char mTunerMode[16] = "";    ///< as STATUS shows it
    bool mIrForwarding = false;  ///< part of the interface, never read
    Upgrade mUpgrade;
    Playback mPlayback;
    PageWindow mPage;
};

/// Logged when a command is refused because an image is being downloaded or burnt.
inline constexpr const char* kUpgradeRefusal = "Upgrade in progress - command rejected";
