// Reads the channel list, and finds channels by number, index, ids or name.
#include "protocol/channels.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "output/escape.h"
#include "output/failure.h"
#include "protocol/requests.h"
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

/// "7.1" as the list numbers it: major * 10 + minor.
std::optional<int> ParseChannelNumber(const std::string& text) {
    TextWalk walk(text);
    const int major = walk.Small(9999), minor = walk.After(walk.LooksAt("-") ? "-" : ".").Small(9999);
    return walk.AtEnd() ? std::optional(major * 10 + minor) : std::nullopt;
}

template <typename Fits>
std::vector<const Channel*> Fitting(const std::vector<Channel>& channels, Fits fits) {
    std::vector<const Channel*> found;
    for (const Channel& channel : channels) {
        if (fits(channel)) found.push_back(&channel);
    }
    return found;
}

std::vector<const Channel*> Meant(const std::vector<Channel>& channels, const std::string& text) {
    const auto byName =
        Fitting(channels, [&](const Channel& c) { return c.name.size() == text.size() && BeginsWith(c.name, text); });
    if (!byName.empty()) return byName;
    if (const auto number = ParseChannelNumber(text)) {
        return Fitting(channels, [&](const Channel& channel) { return channel.number == *number; });
    }
    if (const auto index = ParseNumber(text, 10, 1000000)) {
        if (*index >= 1 && *index <= channels.size()) return {&channels[*index - 1]};
        return {};
    }
    if (text.find(':') != std::string::npos) {
        const ProgrammeId id = ParseProgramme(text);
        return Fitting(channels, [&](const Channel& channel) { return channel.id == id; });
    }
    return Fitting(channels, [&](const Channel& channel) { return BeginsWith(channel.name, text); });
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

const Channel& FindChannel(const std::vector<Channel>& channels, const std::string& text) {
    const auto found = Meant(channels, text);
    if (found.size() == 1) return *found.front();
    if (found.empty()) {
        if (channels.empty()) throw Failure(kUsage, "the board's channel list is empty; \"zulctl scan\" fills it");
        std::vector<std::string> names;
        for (const Channel& channel : channels) names.push_back(CallName(channel));
        const std::string similar = DidYouMean(text, names);
        throw Failure(kUsage, "no channel is \"{}\"{}", Escaped(text),
                      similar.empty() ? "; \"zulctl channels\" lists them" : similar);
    }
    std::string list;
    for (const Channel* channel : found) {
        list +=
            fmt::format("\n  {}  {}  {}", channel->NumberText(), ProgrammeText(channel->id), Escaped(channel->name));
    }
    throw Failure(kUsage, "\"{}\" may be one of these:{}", Escaped(text), list);
}

bool Matches(const Channel& channel, const std::string& text) {
    for (std::size_t at = 0; at + text.size() <= channel.name.size(); ++at) {
        if (BeginsWith(std::string_view(channel.name).substr(at), text)) return true;
    }
    return channel.NumberText().starts_with(text);
}

std::string CallName(const Channel& channel) {
    if (!channel.name.empty()) return channel.name;
    if (channel.number != 0) return channel.NumberText();
    return ProgrammeText(channel.id);
}

}  // namespace zulctl
