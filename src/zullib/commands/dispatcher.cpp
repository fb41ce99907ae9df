// The keyword table of the command protocol, and the loop that interprets it.
#include <string.h>
#include <strings.h>

#include <new>

#include "bridges/uart.h"
#include "commands/keywordtable.h"
#include "core/log.h"
#include "core/statistics.h"
#include "core/texthelpers.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "playback/m710cmmd.h"

/// A function of the host that tests the serial port; there is none on other hosts.
extern "C" [[gnu::weak]] void run_serial_test();

namespace {

constexpr auto kBoth = Roles::kBoth;
constexpr auto kTx = Roles::kTransmitter;
constexpr auto kRx = Roles::kReceiver;
constexpr auto kSilent = WrongRole::kSilent;
constexpr auto kLog = WrongRole::kLog;
constexpr auto kPanic = WrongRole::kPanic;
constexpr auto kLine = Framing::kLine;
constexpr auto kRaw = Framing::kRaw;

constexpr char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// True when every text that `later` compares begins with what `earlier` compares.
template <typename Row>
constexpr bool Hides(const Row& earlier, const Row& later) {
    if (earlier.chars > later.chars) return false;
    for (std::size_t i = 0; i < earlier.chars; ++i) {
        if (Lower(earlier.keyword[i]) != Lower(later.keyword[i])) return false;
    }
    return true;
}

template <typename Row, std::size_t Rows>
constexpr bool EveryRowIsReachable(const Row (&rows)[Rows]) {
    for (std::size_t later = 0; later < Rows; ++later) {
        if (rows[later].chars == 0 || rows[later].chars > rows[later].keyword.size()) return false;
        for (std::size_t earlier = 0; earlier < later; ++earlier) {
            if (Hides(rows[earlier], rows[later])) return false;
        }
    }
    return true;
}

bool Accepts(Roles roles, char type) {
    return roles == Roles::kBoth || (roles == Roles::kTransmitter) == (type == 'T');
}

/// Cuts the line end of a text, which ends at the first zero byte of the datagram. \return the length without it
int CutLineEnd(char* cmd, int len) {
    len = static_cast<int>(strnlen(cmd, static_cast<std::size_t>(len)));
    while (len > 0 && (cmd[len - 1] == '\r' || cmd[len - 1] == '\n')) cmd[--len] = '\0';
    return len;
}

}  // namespace

// The debug rows, from DEBUG on, do their work and answer "KO\r\n" all the same.
// clang-format off
constexpr CommandManager::Command CommandManager::kCommands[] = {
    // keyword          chars roles  wrong role framing handler
    {"ZUL",             3,    kBoth, kSilent,   kLine,  [](CommandManager&,   char*,     int)     { return BeaconGetString(); }},
    {"IP?",             3,    kBoth, kSilent,   kLine,  [](CommandManager& b, char* cmd, int)     { return b.ProcessIpGet(cmd); }},
    {"VERS",            4,    kBoth, kSilent,   kLine,  [](CommandManager& b, char* cmd, int)     { return b.ProcessVersion(cmd); }},
    {"REMOTE",          6,    kRx,   kPanic,    kLine,  [](CommandManager& b, char* cmd, int)     { return b.ProcessRemoteCommand(cmd + 6); }},
    {"VIDEO",           5,    kBoth, kSilent,   kLine,  [](CommandManager&,   char*,     int)     { return static_cast<char*>(mOk); }},
    {"VSCALE",          6,    kBoth, kSilent,   kLine,  [](CommandManager& b, char* cmd, int len) { return b.ProcessVscaleCommand(cmd, len); }},
    {"STATUS",          6,    kBoth, kSilent,   kLine,  [](CommandManager& b, char* cmd, int)     { return b.ProcessStatus(cmd); }},
    {"UNIT",            4,    kBoth, kSilent,   kRaw,   [](CommandManager& b, char* cmd, int)     { return b.ProcessUnit(cmd); }},
    {"SUB?",            4,    kBoth, kSilent,   kLine,  [](CommandManager& b, char* cmd, int)     { return b.ProcessLanguageList(Language::eCaption, cmd); }},
    {"LAN?",            4,    kBoth, kSilent,   kLine,  [](CommandManager& b, char* cmd, int)     { return b.ProcessLanguageList(Language::eAudio, cmd); }},
    {"SUBS",            4,    kBoth, kSilent,   kLine,  [](CommandManager& b, char* cmd, int len) { return b.ProcessSetSubtitles(cmd, len); }},
    {"LANG",            4,    kBoth, kSilent,   kLine,  [](CommandManager& b, char* cmd, int len) { return b.ProcessSetLanguage(cmd, len); }},
    {"DHCP",            4,    kBoth, kSilent,   kLine,  [](CommandManager& b, char* cmd, int)     { return b.ProcessIpSet(cmd); }},
    {"URL",             3,    kBoth, kSilent,   kLine,  [](CommandManager& b, char* cmd, int)     { return b.ProcessUrlSet(cmd); }},
    {"CALLBACK",        8,    kBoth, kSilent,   kLine,  [](CommandManager& b, char* cmd, int)     { return b.ProcessCallback(cmd); }},
    {"TUNERMODE",       8,    kTx,   kSilent,   kLine,  [](CommandManager& b, char* cmd, int)     { return b.ProcessTunerModeAndDefaultStartupItem(cmd + 9); }},
    {"RESET",           5,    kBoth, kSilent,   kLine,  [](CommandManager& b, char*,     int)     { return b.ProcessReset(); }},
    {"UART",            4,    kRx,   kLog,      kRaw,   [](CommandManager& b, char* cmd, int len) { return b.mpUart->ProcessUartCommand(cmd + 4, len - 4) ? mOk : mKo; }},
    {"SUART",           5,    kRx,   kLog,      kLine,  [](CommandManager& b, char* cmd, int)     { return b.mpUart->ProcessUartSetParameters(cmd + 5, b.mpSnmp.get()) ? mOk : mKo; }},
    {"Tuner://",        8,    kBoth, kSilent,   kLine,  [](CommandManager& b, char* cmd, int)     { return b.ProcessTunerTuneCommand(cmd + 8); }},
    {"SCA?",            4,    kBoth, kSilent,   kLine,  [](CommandManager& b, char* cmd, int)     { return b.ProcessTunerScanStatusCommand(cmd + 4); }},
    {"SCAL",            4,    kBoth, kSilent,   kLine,  [](CommandManager& b, char* cmd, int)     { return b.ProcessTunerScanQueryCommand(cmd + 4); }},
    {"BLIND",           5,    kBoth, kSilent,   kLine,  [](CommandManager& b, char* cmd, int)     { return b.ProcessTunerScanBlindCommand(cmd + 5); }},
    {"UPGR",            4,    kBoth, kSilent,   kRaw,   [](CommandManager& b, char* cmd, int len) { return b.ProcessMultipleUpgradeCommand(cmd + 4, len - 4); }},
    {"TIME",            4,    kTx,   kPanic,    kLine,  [](CommandManager& b, char* cmd, int)     { return b.ProcessTime(cmd); }},
    {"EIT",             3,    kTx,   kPanic,    kLine,  [](CommandManager& b, char* cmd, int len) { return b.ProcessEpgData(cmd, len); }},
    {"MCASTPACKETSIZE", 15,   kBoth, kSilent,   kLine,  [](CommandManager& b, char* cmd, int len) { return b.ProcessPacketSize(cmd + 15, len - 15); }},
    {"RESOLUTION",      10,   kBoth, kSilent,   kLine,  [](CommandManager& b, char* cmd, int len) { return b.ProcessResolution(cmd + 10, len - 10); }},
    {"DEBUG",           5,    kBoth, kSilent,   kLine,  [](CommandManager&,   char* cmd, int)     { global_debug_flag = Decimal(cmd + 5); return static_cast<char*>(mKo); }},
    {"DUMPPIDS",        8,    kBoth, kSilent,   kLine,  [](CommandManager& b, char*,     int)     { b.mpTsf->DumpPids(); return static_cast<char*>(mKo); }},
    {"DUMPSTATS",       8,    kBoth, kSilent,   kLine,  [](CommandManager&,   char*,     int)     { Statistics::Self()->DumpStats(); return static_cast<char*>(mKo); }},
    {"DBGSIMPLE",       8,    kBoth, kSilent,   kLine,  [](CommandManager& b, char*,     int)     { b.mpTsf->ToggleDebugSimpleStream(); return static_cast<char*>(mKo); }},
    {"DUMPEIT",         7,    kBoth, kSilent,   kLine,  [](CommandManager& b, char*,     int)     { b.mpTunerManager->DumpEitInfo(); return static_cast<char*>(mKo); }},
    {"DUMPCOLLECT",     7,    kBoth, kSilent,   kLine,  [](CommandManager& b, char*,     int)     { b.mpTsf->DumpCollectionStats(); return static_cast<char*>(mKo); }},
    {"STREAMFROMFILE",  14,   kBoth, kSilent,   kLine,  [](CommandManager& b, char* cmd, int)     { b.StreamFromFile(cmd); return static_cast<char*>(mKo); }},
    {"TESTSER",         7,    kBoth, kSilent,   kLine,  [](CommandManager&,   char*,     int)     { if (run_serial_test != nullptr) run_serial_test(); return static_cast<char*>(mKo); }},
    {"DUMPLANG",        8,    kBoth, kSilent,   kLine,  [](CommandManager& b, char*,     int)     { b.mpTunerManager->DumpLanguageInfo(); return static_cast<char*>(mKo); }},
    {"M710CMMD",        8,    kBoth, kSilent,   kRaw,   [](CommandManager&,   char* cmd, int)     { m710cmmd(cmd + 9); return static_cast<char*>(mKo); }},
    {"FILTER",          6,    kBoth, kSilent,   kLine,  [](CommandManager& b, char* cmd, int)     { return b.ProcessFilterDebug(cmd); }},
};
// clang-format on

std::span<const CommandManager::Command> CommandManager::Commands() {
    static_assert(EveryRowIsReachable(kCommands), "a keyword hides one below it");
    return kCommands;
}

char* CommandManager::ProcessCommand(char* cmd, int len) {
    if (cmd == nullptr) return nullptr;
    for (const Command& row : kCommands) {
        if (strncasecmp(cmd, row.keyword.data(), row.chars) != 0) continue;
        if (!Accepts(row.roles, mMyType)) return RefuseRole(row);
        if (row.framing == Framing::kLine) len = CutLineEnd(cmd, len);
        try {
            return row.handle(*this, cmd, len);
        } catch (const std::bad_alloc&) {
            PANIC("No memory for %s", row.keyword.data());
            return mKo;
        }
    }
    return mKo;
}

char* CommandManager::RefuseRole(const Command& row) {
    switch (row.refuse) {
        case WrongRole::kPanic: PANIC("Bad type %c", mMyType); break;
        case WrongRole::kLog: LOG("This command is only for receiver"); break;
        case WrongRole::kSilent: break;
    }
    return mKo;
}

/// UNIT: chooses what a transmitter streams or a receiver plays.
char* CommandManager::ProcessUnit(char* cmd) {
    if (cmd[4] == '9') {
        PANIC("Invalid UNIT command 9");
        return mKo;
    }
    return mMyType == 'T' ? ProcessSelectChannelsToStream(cmd, true) : ProcessSelectChannelsToPlay(cmd, true);
}

/// STATUS: what a transmitter streams or a receiver plays.
char* CommandManager::ProcessStatus(char* cmd) {
    return mMyType == 'T' ? ProcessStatusGetTransmitter(cmd) : ProcessStatusGetReceiver(cmd);
}

/// LAN? and SUB?: the languages of the current channel's programmes, sent to the forwarding peer.
char* CommandManager::ProcessLanguageList(Language::LanguageModeEnum mode, char* cmd) {
    mpTunerManager->SetTunerForwarding(mpServer.get());
    return mpTunerManager->GetLanguagesOrSubtitles(mode, cmd);
}
