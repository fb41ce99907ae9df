// The keyword table of the command protocol, and the loop that interprets it.
#include <string.h>
#include <strings.h>

#include <algorithm>
#include <new>

#include "commands/keywordtable.h"
#include "core/log.h"
#include "core/statistics.h"
#include "core/texthelpers.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "playback/m710cmmd.h"

/// Tests the serial port; null on hosts without such a function.
extern "C" [[gnu::weak]] void run_serial_test();

namespace {

constexpr auto kBoth = Roles::kBoth;
constexpr auto kTx = Roles::kTransmitter;
constexpr auto kRx = Roles::kReceiver;
constexpr auto kSilent = WrongRole::kSilent;
constexpr auto kLog = WrongRole::kLog;
constexpr auto kPanic = WrongRole::kPanic;
constexpr auto kPanicRxOnly = WrongRole::kPanicRxOnly;
constexpr const char* kAccepted = nullptr;
constexpr const char* kRefused = kUpgradeRefusal;
constexpr const char* kRefusedLine = "Upgrade in progress - command rejected\n";
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

/// True when only rows of one role have a refusal text, and texts that name the receiver belong to its rows.
template <typename Row, std::size_t Rows>
constexpr bool RefusalsFitTheirRoles(const Row (&rows)[Rows]) {
    return std::ranges::all_of(rows, [](const Row& row) {
        const bool namesReceiver = row.refuse == WrongRole::kLog || row.refuse == WrongRole::kPanicRxOnly;
        return (row.roles != Roles::kBoth || row.refuse == WrongRole::kSilent) &&
               (!namesReceiver || row.roles == Roles::kReceiver);
    });
}

bool Accepts(Roles roles, char type) {
    return roles == Roles::kBoth || (roles == Roles::kTransmitter) == (type == 'T');
}

/// Cuts the line end of a text, which ends at the datagram's first zero byte. \return the length without it
int CutLineEnd(char* cmd, int len) {
    len = static_cast<int>(strnlen(cmd, static_cast<std::size_t>(len)));
    while (len > 0 && (cmd[len - 1] == '\r' || cmd[len - 1] == '\n')) cmd[--len] = '\0';
    return len;
}

}  // namespace

// The debug rows, from DEBUG on, do their work and still reply "KO\r\n".
// clang-format off
constexpr CommandManager::Command CommandManager::kCommands[] = {
    // keyword          chars roles  wrong role    in an upgrade framing handler
    {"ZUL",             3,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager&, Request)     { return BeaconGetString(); }},
    {"IP?",             3,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessIpGet(r); }},
    {"VERS",            4,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessVersion(r); }},
    {"REMOTE",          6,    kRx,   kPanic,       kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessRemoteCommand(r.After(6)); }},
    {"VIDEO",           5,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager&, Request)     { return static_cast<char*>(mOk); }},
    {"VSCALE",          6,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessVscaleCommand(r); }},
    {"STATUS",          6,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessStatus(r); }},
    {"UNIT",            4,    kBoth, kSilent,      kAccepted,    kRaw,   [](CommandManager& b, Request r) { return b.ProcessUnit(r); }},
    {"SUB?",            4,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessLanguageList(Language::eCaption, r); }},
    {"LAN?",            4,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessLanguageList(Language::eAudio, r); }},
    {"SUBS",            4,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessSetSubtitles(r.After(4)); }},
    {"LANG",            4,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessSetLanguage(r.After(4)); }},
    {"DHCP",            4,    kBoth, kSilent,      kRefusedLine, kLine,  [](CommandManager& b, Request r) { return b.ProcessIpSet(r.After(4)); }},
    {"URL",             3,    kRx,   kPanicRxOnly, kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessUrlSet(r.After(3)); }},
    {"CALLBACK",        8,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessCallback(r.After(8)); }},
    {"TUNERMODE",       8,    kTx,   kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessTunerModeAndDefaultStartupItem(r.After(9).text); }},
    {"RESET",           5,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request)   { return b.ProcessReset(); }},
    {"UART",            4,    kRx,   kLog,         kAccepted,    kRaw,   [](CommandManager& b, Request r) { return b.ProcessUart(r.After(4)); }},
    {"SUART",           5,    kRx,   kLog,         kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessUartParameters(r.After(5)); }},
    {"Tuner://",        8,    kTx,   kPanic,       kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessTunerTuneCommand(r.After(8)); }},
    {"SCA?",            4,    kTx,   kPanic,       kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessTunerScanStatusCommand(r.After(4)); }},
    {"SCAL",            4,    kTx,   kPanic,       kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessTunerScanQueryCommand(r.After(4)); }},
    {"BLIND",           5,    kTx,   kPanic,       kRefused,     kLine,  [](CommandManager& b, Request r) { return b.ProcessTunerScanBlindCommand(r.After(5)); }},
    {"UPGR",            4,    kBoth, kSilent,      kAccepted,    kRaw,   [](CommandManager& b, Request r) { return b.ProcessMultipleUpgradeCommand(r.After(4)); }},
    {"TIME",            4,    kTx,   kPanic,       kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessTime(r); }},
    {"EIT",             3,    kTx,   kPanic,       kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessEpgData(r); }},
    {"MCASTPACKETSIZE", 15,   kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessPacketSize(r.After(15)); }},
    {"RESOLUTION",      10,   kRx,   kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessResolution(r.After(10)); }},
    {"DEBUG",           5,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager&, Request r)   { global_debug_flag.store(Decimal(r.After(5).text), std::memory_order_relaxed); return static_cast<char*>(mKo); }},
    {"DUMPPIDS",        8,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request)   { b.mpTsf->DumpPids(); return static_cast<char*>(mKo); }},
    {"DUMPSTATS",       8,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager&, Request)     { Statistics::Self()->DumpStats(); return static_cast<char*>(mKo); }},
    {"DBGSIMPLE",       8,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request)   { b.mpTsf->ToggleDebugSimpleStream(); return static_cast<char*>(mKo); }},
    {"DUMPEIT",         7,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request)   { b.mpTunerManager->DumpEitInfo(); return static_cast<char*>(mKo); }},
    {"DUMPCOLLECT",     7,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request)   { b.mpTsf->DumpCollectionStats(); return static_cast<char*>(mKo); }},
    {"STREAMFROMFILE",  14,   kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessStreamFromFile(r.After(14)); }},
    {"TESTSER",         7,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager&, Request)     { if (run_serial_test != nullptr) run_serial_test(); return static_cast<char*>(mKo); }},
    {"DUMPLANG",        8,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request)   { b.mpTunerManager->DumpLanguageInfo(); return static_cast<char*>(mKo); }},
    {"M710CMMD",        8,    kBoth, kSilent,      kAccepted,    kRaw,   [](CommandManager&, Request r)   { m710cmmd(r.After(9).text); return static_cast<char*>(mKo); }},
    {"FILTER",          6,    kBoth, kSilent,      kAccepted,    kLine,  [](CommandManager& b, Request r) { return b.ProcessFilterDebug(r); }},
};
// clang-format on

std::span<const CommandManager::Command> CommandManager::Commands() {
    static_assert(EveryRowIsReachable(kCommands), "a keyword hides one below it");
    static_assert(RefusalsFitTheirRoles(kCommands), "a refusal doesn't fit the roles of its row");
    return kCommands;
}

char* CommandManager::ProcessCommand(char* cmd, int len) {
    if (cmd == nullptr) return nullptr;
    for (const Command& row : kCommands) {
        if (strncasecmp(cmd, row.keyword.data(), row.chars) != 0) continue;
        if (!Accepts(row.roles, mMyType)) return RefuseRole(row);
        if (row.upgrading != nullptr && UpgradeRefuses(row.upgrading)) return mKo;
        if (row.framing == Framing::kLine) len = CutLineEnd(cmd, len);
        try {
            return row.handle(*this, {cmd, len, kCommandSize});
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
        case WrongRole::kPanicRxOnly: PANIC("Rx only"); break;
        case WrongRole::kLog: LOG("This command is only for receiver"); break;
        case WrongRole::kSilent: break;
    }
    return mKo;
}
