// Datagrams that boards send on their own.
#include "protocol/board_messages.h"

#include <algorithm>
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

/// Keys by the code in the datagram.
struct KeyRow {
    int code;
    std::string_view name;
};
constexpr KeyRow kKeys[] = {
    {1, "CHAN+"},  {2, "OFF"},   {3, "ZUL"},   {4, "CHAN-"},  {5, "MUTE"},    {6, "VOL-"},  {7, "UP"},    {8, "VOL+"},
    {9, "LEFT"},   {10, "ENTER"}, {11, "RIGHT"}, {12, "GUIDE"}, {13, "DOWN"},  {14, "FF"},   {15, "1"},    {16, "2"},
    {17, "3"},     {18, "4"},    {19, "5"},    {20, "6"},     {21, "7"},      {22, "8"},    {23, "9"},    {24, "INFO"},
    {25, "0"},     {26, "F1"},   {27, "RED"},  {28, "GREEN"}, {29, "MENU"},   {30, "YELLOW"}, {31, "BLUE"},
};
// clang-format on

constexpr bool KeysAscend() {
    for (std::size_t n = 0; n < std::size(kKeys); ++n) {
        if (kKeys[n].code != static_cast<int>(n) + 1) return false;
    }
    return true;
}
static_assert(KeysAscend(), "a key is out of order");

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
    while (!datagram.empty() && (datagram.back() == '\0' || datagram.back() == '\r' || datagram.back() == '\n')) {
        datagram.remove_suffix(1);
    }
    return LogLine{error, std::string(datagram)};
}

std::string_view KeyPress::Name() const {
    return code >= 1 && code <= static_cast<int>(std::size(kKeys)) ? kKeys[code - 1].name : std::string_view();
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
