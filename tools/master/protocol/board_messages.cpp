// Datagrams that boards send on their own.
#include "protocol/board_messages.h"

#include <iterator>

#include "protocol/text_walk.h"

namespace zulctl {

namespace {

struct StepRow {
    std::string_view head, tail;
    ScanStep::Kind kind;
};
// clang-format off
constexpr StepRow kSteps[] = {
    {"BLINDSTART:0", " OK\r\n", ScanStep::Kind::kStarted},
    {"BLINDSTART:1", " KO\r\n", ScanStep::Kind::kCannotStart},
    {"BLINDLOCK:",   " OK\r\n", ScanStep::Kind::kLocked},
    {"BLINDFND:",    " OK\r\n", ScanStep::Kind::kFound},
    {"BLINDCMP:0",   " OK\r\n", ScanStep::Kind::kEnded},
};

/// Keys by the code in the datagram, from 1.
constexpr std::string_view kKeys[] = {
    "CHAN+", "OFF",   "ZUL",   "CHAN-", "MUTE", "VOL-", "UP", "VOL+", "LEFT", "ENTER", "RIGHT",
    "GUIDE", "DOWN",  "FF",    "1",     "2",    "3",    "4",  "5",    "6",    "7",     "8",
    "9",     "INFO",  "0",     "F1",    "RED",  "GREEN", "MENU", "YELLOW", "BLUE",
};
// clang-format on

constexpr std::size_t kKeySize = 12, kSerialSize = 5;
constexpr int kMostProgrammes = 1000000;

}  // namespace

std::optional<ScanStep> ParseScanStep(std::string_view datagram) {
    for (const StepRow& row : kSteps) {
        TextWalk walk(datagram);
        if (!walk.Take(row.head)) continue;
        ScanStep step{row.kind};
        if (row.head.ends_with(':')) step.number = walk.Small(kMostProgrammes);
        walk.Take(row.tail);
        return walk.AtEnd() ? std::optional(step) : std::nullopt;
    }
    return std::nullopt;
}

std::optional<LogLine> ParseLogLine(std::string_view datagram) {
    constexpr std::string_view kError = "LOG:ERROR ", kPlain = "LOG: ";
    const bool error = datagram.starts_with(kError);
    if (!error && !datagram.starts_with(kPlain)) return std::nullopt;
    datagram.remove_prefix(error ? kError.size() : kPlain.size());
    const std::size_t end = datagram.find_last_not_of(std::string_view("\0\r\n", 3));
    return LogLine{error, std::string(datagram.substr(0, end + 1))};
}

std::string_view KeyPress::Name() const {
    return code >= 1 && code <= static_cast<int>(std::size(kKeys)) ? kKeys[code - 1] : std::string_view();
}

std::optional<KeyPress> ParseKey(std::string_view datagram) {
    if (datagram.size() != kKeySize || !datagram.starts_with("REMOTE\x01\x04") || datagram[11] != '\xCC')
        return std::nullopt;
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(datagram[at]); };
    return KeyPress{byte(8), byte(9), byte(10) != 0};
}

std::optional<char> ParseSerialByte(std::string_view datagram) {
    if (datagram.size() != kSerialSize || !datagram.starts_with("UART")) return std::nullopt;
    return datagram.back();
}

}  // namespace zulctl
