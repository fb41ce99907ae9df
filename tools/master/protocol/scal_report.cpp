// The channel list.
#include "protocol/channels.h"

#include <fmt/format.h>

#include <algorithm>

#include "output/escape.h"
#include "protocol/status.h"
#include "protocol/text_modes.h"
#include "protocol/text_walk.h"

namespace zulctl {

namespace {

constexpr std::string_view kEnd("ffff\r\nOK\r\n\0", 11);
constexpr std::string_view kLineEnd = "\r\n";
constexpr std::size_t kNameCharacters = 7;

bool BeginsNextPiece(std::string_view rest) {
    return rest.empty() || rest.starts_with("SCAL ") || rest.starts_with("ffff\r\n");
}

/// A name may contain CR LF, so that the line's end is the first one after which the report continues.
std::string TakeLatinName(TextWalk& line) {
    for (std::size_t size = 0; size <= kNameCharacters; ++size) {
        TextWalk walk = line;
        const std::string name = walk.Exactly(size);
        if (!walk.Take(kLineEnd) || !BeginsNextPiece(walk.Rest())) continue;
        line = walk;
        return *TextOfMode(kModeLatin, name);
    }
    return *TextOfMode(kModeLatin, line.Until(kLineEnd).substr(0, kNameCharacters));
}

std::string TakeUnicodeName(TextWalk& line) {
    std::string units;
    for (std::size_t n = 0; n < kNameCharacters; ++n) {
        if (n > 0) line.Take(" ");
        const int unit = line.Small(0xFFFF, 16);
        if (unit == 0) continue;
        units += static_cast<char>(unit >> 8), units += static_cast<char>(unit);
    }
    line.Take(kLineEnd);
    return Utf16Text(units);
}

std::optional<Channel> TakeLine(TextWalk& walk) {
    TextWalk line = walk;
    Channel channel;
    channel.number = line.After("SCAL ").Small(1000000);
    channel.id.transportId = line.After(" ").Hex16();
    channel.id.programme = line.After(" ").Hex16();
    channel.tunerChannel = line.After(" [").Small(kHighestChannel, 16);
    channel.signal = line.After(":0:").Small(255, 16);
    channel.videoType = line.After(":").Small(255, 16);
    channel.audioType = line.After(":").Small(255, 16);
    const std::string encryption = line.After("] ").Exactly(1);
    const std::string kind = line.After(" ").Exactly(1);
    line.Take(" ");
    if (!line.Ok() || (kind != "A" && kind != "U")) return std::nullopt;
    channel.scrambled = encryption == "E";
    channel.name = kind == "U" ? TakeUnicodeName(line) : TakeLatinName(line);
    if (!line.Ok()) return std::nullopt;
    channel.name.erase(channel.name.find_last_not_of(' ') + 1);
    walk = line;
    return channel;
}

}  // namespace

std::string Channel::NumberText() const { return number == 0 ? "" : fmt::format("{}.{}", number / 10, number % 10); }

bool EndsScalReport(std::string_view datagram) { return datagram.ends_with(kEnd); }

std::optional<std::vector<Channel>> ParseScalReport(std::string_view text) {
    std::vector<Channel> channels;
    TextWalk walk(text);
    while (walk.Rest() != kEnd) {
        auto channel = TakeLine(walk);
        if (!channel) return std::nullopt;
        channel->index = static_cast<int>(channels.size()) + 1;
        channels.push_back(*std::move(channel));
    }
    return channels;
}

}  // namespace zulctl
