// Makes a plan from the running streams.
#include <fmt/format.h>

#include <algorithm>

#include "plan/plan.h"

namespace zulctl {

namespace {

/// A basic string of TOML, with what a terminal would obey escaped: C0, DEL and C1.
std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (std::size_t n = 0; n < text.size(); ++n) {
        const auto byte = static_cast<unsigned char>(text[n]);
        const auto next = static_cast<unsigned char>(n + 1 < text.size() ? text[n + 1] : 0);
        const bool isC1 = byte == 0xC2 && next >= 0x80 && next < 0xA0;
        if (byte < 0x20 || byte == 0x7F || isC1)
            quoted += fmt::format("\\u{:04x}", isC1 ? next : byte);
        else
            quoted += byte == '"' || byte == '\\' ? fmt::format("\\{}", text[n]) : std::string(1, text[n]);
        n += isC1 ? 1 : 0;
    }
    return quoted + "\"";
}

}  // namespace

PlannedBoard PlanOf(const std::string& board, const std::vector<StreamStatus>& streams,
                    const std::vector<Channel>& channels, int tuned) {
    std::vector<Channel> here;
    std::ranges::copy_if(channels, std::back_inserter(here),
                         [&](const Channel& channel) { return channel.tunerChannel == tuned; });
    const auto nameOf = [&](const Channel& channel) {
        const auto same = std::ranges::count(channels, channel.number, &Channel::number);
        if (channel.number != 0 && same == 1) return channel.NumberText();
        return ProgrammeText(channel.id);
    };
    PlannedBoard plan{board, {}};
    for (const StreamStatus& stream : streams) {
        PlannedStream planned{stream.group, {}, false, stream.id, ""};
        for (const Channel& channel : here) {
            if (std::count(stream.programmes.begin(), stream.programmes.end(), channel.id.programme) > 0)
                planned.channels.push_back(nameOf(channel));
        }
        if (!stream.active || planned.channels.empty()) continue;
        // A status doesn't say whether it is the whole multiplex; one that has all programmes of it may as well be.
        planned.whole = planned.channels.size() == here.size() && here.size() > 1;
        if (planned.whole) planned.channels.resize(1);
        plan.streams.push_back(std::move(planned));
    }
    return plan;
}

std::string PlanText(const std::vector<PlannedBoard>& plan) {
    std::string text;
    for (const PlannedBoard& board : plan) {
        text += fmt::format("{}[boards.{}]\nstreams = [\n", text.empty() ? "" : "\n", Quoted(board.board));
        for (const PlannedStream& stream : board.streams) {
            std::string channels;
            for (const std::string& channel : stream.channels)
                channels += (channels.empty() ? "" : ", ") + Quoted(channel);
            text += fmt::format("    {{to = {}, channels = [{}], slot = {}{}}},\n", Quoted(EndpointText(stream.to)),
                                channels, stream.slot.value_or(0), stream.whole ? ", whole = true" : "");
        }
        text += "]\n";
    }
    return text;
}

}  // namespace zulctl
