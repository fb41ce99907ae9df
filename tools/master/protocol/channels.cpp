// Finds channels by number, index, ids or name.
#include "protocol/channels.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "output/escape.h"
#include "output/failure.h"
#include "protocol/requests.h"

namespace zulctl {

namespace {

/// "7.1" as the list numbers it: major * 10 + minor.
std::optional<int> ParseChannelNumber(const std::string& text) {
    const std::size_t point = text.find_first_of(".-");
    if (point == std::string::npos) return std::nullopt;
    const auto major = ParseNumber(text.substr(0, point), 10, 9999),
               minor = ParseNumber(text.substr(point + 1), 10, 9999);
    if (!major || !minor) return std::nullopt;
    return static_cast<int>(*major * 10 + *minor);
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
        list += fmt::format("\n  {}  {:04x}:{:04x}  {}", channel->NumberText(), channel->id.transportId,
                            channel->id.programme, Escaped(channel->name));
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
    return fmt::format("{:04x}:{:04x}", channel.id.transportId, channel.id.programme);
}

}  // namespace zulctl
