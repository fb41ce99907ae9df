// The table of requests. Patience follows from what a board does before it answers: a stream start tunes (3 s), listens
// (5 s) and saves its text on a disk that is remounted twice; a status measures the load for a second; a stop of a scan
// waits for the channel in progress (14 s); a remount takes from 1 s to a minute.
#include "protocol/requests.h"

#include <algorithm>
#include <iterator>

namespace zulctl {

using namespace std::chrono_literals;

namespace {

bool Anything(std::string_view) { return true; }
bool OkOrKo(std::string_view reply) { return IsOk(reply) || IsKo(reply); }
template <const char* kWord>
bool WordOrKo(std::string_view reply) {
    return reply.starts_with(kWord) || IsKo(reply);
}
/// Four raw bytes, the first of them 0; a receiver refuses.
bool ScanState(std::string_view reply) { return (reply.size() == 4 && reply[0] == 0) || IsKo(reply); }
/// Whole lines; the last datagram ends in "ffff", OK and a zero byte.
bool ScanReport(std::string_view reply) {
    return reply.starts_with("SCAL ") || reply.starts_with("ffff\r\n") || IsKo(reply);
}
/// The listing may be empty; only its first line is checked here, the rest by the listing parser.
bool Languages(std::string_view reply) { return reply.starts_with("LANG ") || OkOrKo(reply); }
bool Captions(std::string_view reply) { return reply.starts_with("SUB ") || OkOrKo(reply); }

constexpr char kBeacon[] = "ZULB<", kVersion[] = "VERS", kAddress[] = "DHCP:", kStatus[] = "STATUS ", kTime[] = "TIME ",
               kGuide[] = "EITI ", kUpgrade[] = "UPGRSTATUS", kResolution[] = "RESOLUTION", kScan[] = "BLINDSTART:";

bool ScanStarts(std::string_view reply) { return WordOrKo<kScan>(reply) || IsOk(reply); }

// clang-format off
constexpr RequestKind kKinds[] = {
    // keyword           route              patience tries answer                   what it is
    {"ZUL",              Route::kDirect,    1500ms,  2,    WordOrKo<kBeacon>,       "the beacon's text"},
    {"IP?",              Route::kDirect,    4000ms,  2,    WordOrKo<kAddress>,      "address settings"},
    {"VERS",             Route::kDirect,    1500ms,  2,    WordOrKo<kVersion>,      "version"},
    {"STATUS",           Route::kDirect,    3000ms,  2,    WordOrKo<kStatus>,       "streams sent or item played, load"},
    {"UNIT",             Route::kDirect,    75s,     1,    OkOrKo,                  "streams or plays"},
    {"SUB?",             Route::kForwarded, 3000ms,  2,    Captions,                "caption languages"},
    {"LAN?",             Route::kForwarded, 3000ms,  2,    Languages,               "audio languages"},
    {"SUBS",             Route::kDirect,    5000ms,  1,    OkOrKo,                  "caption service"},
    {"LANG",             Route::kDirect,    15s,     1,    OkOrKo,                  "audio language"},
    {"DHCP",             Route::kDirect,    15s,     1,    OkOrKo,                  "sets the address"},
    {"CALLBACK",         Route::kDirect,    5000ms,  1,    OkOrKo,                  "log channel, keys and serial to the sender"},
    {"TUNERMODE",        Route::kDirect,    70s,     1,    OkOrKo,                  "sets the tuner's mode"},
    {"RESET",            Route::kDirect,    5000ms,  1,    OkOrKo,                  "restarts the board"},
    {"UART",             Route::kDirect,    3000ms,  1,    OkOrKo,                  "bytes for the serial port"},
    {"SUART",            Route::kDirect,    5000ms,  1,    OkOrKo,                  "serial port settings"},
    {"Tuner://",         Route::kDirect,    10s,     1,    OkOrKo,                  "scans one channel"},
    {"SCA?",             Route::kDirect,    4000ms,  2,    ScanState,               "state of the scan"},
    {"SCAL",             Route::kDirect,    2500ms,  2,    ScanReport,              "channel list"},
    {"BLIND99",          Route::kForwarded, 25s,     1,    ScanStarts,              "stops the scan"},
    {"BLIND",            Route::kForwarded, 10s,     1,    ScanStarts,              "starts a scan"},
    {"UPGR?",            Route::kDirect,    4000ms,  3,    WordOrKo<kUpgrade>,      "state of the upgrade"},
    {"UPGR:",            Route::kDirect,    20s,     1,    OkOrKo,                  "a piece of an image"},
    {"UPGR",             Route::kDirect,    90s,     1,    OkOrKo,                  "announces an image"},
    {"TIME",             Route::kDirect,    1500ms,  2,    WordOrKo<kTime>,         "broadcast time"},
    {"EIT",              Route::kForwarded, 3000ms,  2,    WordOrKo<kGuide>,        "guide"},
    {"MCASTPACKETSIZE",  Route::kDirect,    70s,     1,    OkOrKo,                  "size of stream datagrams"},
    {"RESOLUTION?",      Route::kDirect,    3000ms,  2,    WordOrKo<kResolution>,   "output resolution"},
    {"RESOLUTION",       Route::kDirect,    20s,     1,    OkOrKo,                  "sets the output resolution"},
    {"URL",              Route::kDirect,    5000ms,  1,    OkOrKo,                  "shows a page"},
    {"VSCALE",           Route::kDirect,    3000ms,  1,    OkOrKo,                  "places video and browser"},
    {"REMOTE",           Route::kDirect,    3000ms,  1,    OkOrKo,                  "sets the remote control's code"},
    {"FILTER",           Route::kDirect,    1000ms,  1,    OkOrKo,                  "debug input; answers when it ends"},
    {"",                 Route::kDirect,    5000ms,  1,    Anything,                "anything else"},
};
// clang-format on

/// A keyword that begins an earlier one must come after it, or it would hide that row.
constexpr bool EveryRowIsReachable() {
    for (std::size_t later = 1; later < std::size(kKinds); ++later) {
        for (std::size_t earlier = 0; earlier < later; ++earlier) {
            if (kKinds[later].keyword.starts_with(kKinds[earlier].keyword)) return false;
        }
    }
    return kKinds[std::size(kKinds) - 1].keyword.empty();
}
static_assert(EveryRowIsReachable(), "a keyword hides one below it");

constexpr char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

}  // namespace

bool IsOk(std::string_view reply) { return reply.starts_with("OK\r\n"); }
bool IsKo(std::string_view reply) { return reply.starts_with("KO\r\n"); }

bool BeginsWith(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), text.begin(), [](char a, char b) { return Lower(a) == Lower(b); });
}

const RequestKind& KindOf(std::string_view request) {
    return *std::find_if(std::begin(kKinds), std::end(kKinds),
                         [&](const RequestKind& kind) { return BeginsWith(request, kind.keyword); });
}

}  // namespace zulctl
