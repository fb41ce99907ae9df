// The table of requests. Patience follows from what a board does before it answers: a stream start tunes (3 s), listens
// (5 s) and saves its text on a disk that is remounted twice; a status measures the load for a second; a stop of a scan
// waits for the channel in progress (14 s); a remount takes from 1 s to a minute.
#include "protocol/requests.h"

#include <algorithm>
#include <iterator>

namespace zulctl {

using namespace std::chrono_literals;

namespace {

using namespace std::string_view_literals;

constexpr auto kOk = "OK\r\n"sv, kScan = "BLINDSTART:"sv;

// clang-format off
constexpr RequestKind kKinds[] = {
    // keyword            route              patience tries answer         or            what it is, size
    {"ZUL",               Route::kDirect,    1500ms,  2,    "ZULB<",       {},           "the beacon's text"},
    {"IP?",               Route::kDirect,    4000ms,  2,    "DHCP:",       {},           "address settings"},
    {"VERS",              Route::kDirect,    1500ms,  2,    "VERS",        {},           "version"},
    {"STATUS",            Route::kDirect,    3000ms,  2,    "STATUS ",     {},           "streams sent or item played, load"},
    {"UNIT",              Route::kDirect,    75s,     1,    kOk,           {},           "streams or plays"},
    {"SUB?",              Route::kForwarded, 3000ms,  2,    "SUB ",        kOk,          "caption languages"},
    {"LAN?",              Route::kForwarded, 3000ms,  2,    "LANG ",       kOk,          "audio languages"},
    {"SUBS",              Route::kDirect,    5000ms,  1,    kOk,           {},           "caption service"},
    {"LANG",              Route::kDirect,    15s,     1,    kOk,           {},           "audio language"},
    {"DHCP",              Route::kDirect,    15s,     1,    kOk,           {},           "sets the address"},
    {"CALLBACK",          Route::kDirect,    5000ms,  1,    kOk,           {},           "log channel, keys and serial to the sender"},
    {"TUNERMODE",         Route::kDirect,    70s,     1,    kOk,           {},           "sets the tuner's mode"},
    {"RESET",             Route::kDirect,    5000ms,  1,    kOk,           {},           "restarts the board"},
    {"UART",              Route::kDirect,    3000ms,  1,    kOk,           {},           "bytes for the serial port"},
    {"SUART",             Route::kDirect,    5000ms,  1,    kOk,           {},           "serial port settings"},
    {"Tuner://",          Route::kDirect,    10s,     1,    kOk,           {},           "scans one channel"},
    {"SCA?",              Route::kDirect,    4000ms,  2,    "\0"sv,        {},           "state of the scan", 4},
    {"SCAL",              Route::kDirect,    2500ms,  2,    "SCAL ",       "ffff\r\n",   "channel list"},
    {"BLIND99",           Route::kForwarded, 25s,     1,    kScan,         kOk,          "stops the scan"},
    {"BLIND",             Route::kForwarded, 10s,     1,    kScan,         kOk,          "starts a scan"},
    {"UPGR?",             Route::kDirect,    4000ms,  3,    "UPGRSTATUS",  {},           "state of the upgrade"},
    {"UPGR:",             Route::kDirect,    20s,     1,    kOk,           {},           "a piece of an image"},
    {"UPGR",              Route::kDirect,    90s,     1,    kOk,           {},           "announces an image"},
    {"TIME",              Route::kDirect,    1500ms,  2,    "TIME ",       {},           "broadcast time"},
    {"EIT",               Route::kForwarded, 3000ms,  2,    "EITI ",       {},           "guide"},
    {"MCASTPACKETSIZE",   Route::kDirect,    70s,     1,    kOk,           {},           "size of stream datagrams"},
    {"RESOLUTION?",       Route::kDirect,    3000ms,  2,    "RESOLUTION",  {},           "output resolution"},
    {"RESOLUTION",        Route::kDirect,    20s,     1,    kOk,           {},           "sets the output resolution"},
    {"URL",               Route::kDirect,    5000ms,  1,    kOk,           {},           "shows a page"},
    {"VSCALE",            Route::kDirect,    3000ms,  1,    kOk,           {},           "places video and browser"},
    {"REMOTE",            Route::kDirect,    3000ms,  1,    kOk,           {},           "sets the remote control's code"},
    {"FILTER",            Route::kDirect,    1000ms,  1,    kOk,           {},           "debug input; answers when it ends"},
    {"",                  Route::kDirect,    5000ms,  1,    "",            {},           "anything else"},
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

bool IsOk(std::string_view reply) { return reply.starts_with(kOk); }
bool IsKo(std::string_view reply) { return reply.starts_with("KO\r\n"); }

bool BeginsWith(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), text.begin(), [](char a, char b) { return Lower(a) == Lower(b); });
}

bool RequestKind::Accepts(std::string_view reply) const {
    if (IsKo(reply)) return true;
    if (size != 0 && reply.size() != size) return false;
    return reply.starts_with(answer) || (!orElse.empty() && reply.starts_with(orElse));
}

const RequestKind& KindOf(std::string_view request) {
    return *std::ranges::find_if(kKinds, [&](const RequestKind& kind) { return BeginsWith(request, kind.keyword); });
}

}  // namespace zulctl
