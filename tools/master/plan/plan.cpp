// The text of a plan, and what it wants of a board.
#include "plan/plan.h"

#include <fmt/format.h>

#include <toml++/toml.h>
#include <algorithm>
#include <filesystem>
#include <map>

#include "output/escape.h"
#include "output/failure.h"
#include "protocol/channels.h"

namespace zulctl {

namespace {

/// \return "plan.toml:7"
std::string PlaceOf(const toml::node& node) {
    return fmt::format("{}:{}", *node.source().path, node.source().begin.line);
}

[[noreturn]] void Wrong(const toml::node& node, const std::string& what) {
    throw Failure(kUsage, "{}: {}", PlaceOf(node), what);
}

std::vector<std::string> ReadChannels(const toml::node& node) {
    std::vector<std::string> channels;
    if (const toml::array* list = node.as_array()) {
        for (const toml::node& item : *list) {
            const auto text = item.value<std::string>();
            if (!text) Wrong(item, "a channel is a text such as \"CINEMA\" or \"7.1\"");
            channels.push_back(*text);
        }
    }
    if (channels.empty()) Wrong(node, "channels is a list such as [\"CINEMA\", \"7.1\"]");
    return channels;
}

PlannedStream ReadStream(const toml::node& node) {
    const toml::table* table = node.as_table();
    if (table == nullptr) Wrong(node, "a stream is a table such as {to = \"239.1.1.1:5000\", channels = [\"7.1\"]}");
    PlannedStream stream;
    stream.place = PlaceOf(node);
    for (const auto& [key, value] : *table) {
        if (key == "to") {
            const auto to = ParseEndpoint(value.value_or(std::string()));
            if (!to || !IsMulticast(to->address))
                Wrong(value, "to is a multicast group and port such as \"239.1.1.1:5000\"");
            stream.to = *to;
        } else if (key == "channels") {
            stream.channels = ReadChannels(value);
        } else if (key == "whole" && value.is_boolean()) {
            stream.whole = value.value_or(false);
        } else if (key == "slot" && value.is_integer()) {
            const auto slot = value.value_or(std::int64_t{-1});
            if (slot < 0 || slot >= kStreamSlots)
                Wrong(value, fmt::format("a board has slots 0 to {}", kStreamSlots - 1));
            stream.slot = static_cast<int>(slot);
        } else {
            Wrong(value, fmt::format("a stream has to, channels, whole = true and slot = NUMBER, and no such \"{}\"",
                                     key.str()));
        }
    }
    if (stream.to.address == 0) Wrong(node, "this stream has no \"to\"");
    if (stream.channels.empty()) Wrong(node, "this stream has no channels");
    return stream;
}

PlannedBoard ReadBoard(std::string name, const toml::node& node) {
    const toml::table* table = node.as_table();
    if (table == nullptr) Wrong(node, "a board is a table with streams");
    PlannedBoard board{std::move(name), {}};
    for (const auto& [key, value] : *table) {
        const toml::array* list = value.as_array();
        if (key != "streams" || list == nullptr)
            Wrong(value, fmt::format("a board of a plan has a list of streams, and no such \"{}\"", key.str()));
        for (const toml::node& item : *list) board.streams.push_back(ReadStream(item));
    }
    if (!table->contains("streams"))
        Wrong(node, fmt::format("board {} has no streams; [] stands for none", board.board));
    if (board.streams.size() > static_cast<std::size_t>(kStreamSlots))
        Wrong(node, fmt::format("a board sends {} streams at most", kStreamSlots));
    return board;
}

void CheckTogether(const std::vector<PlannedBoard>& plan) {
    std::map<std::string, std::string> takers;  // places, by what may be taken once
    const auto take = [&](const std::string& board, const std::string& what, const std::string& place) {
        const auto [taker, isNew] = takers.emplace(board + what, place);
        if (!isNew) throw Failure(kUsage, "{}: {} is taken by {}", place, what, taker->second);
    };
    for (const PlannedBoard& board : plan) {
        for (const PlannedStream& stream : board.streams) {
            take("", EndpointText(stream.to), stream.place);
            if (stream.slot) take(board.board + ' ', fmt::format("slot {}", *stream.slot), stream.place);
        }
    }
}

}  // namespace

std::vector<PlannedBoard> ReadPlan(const std::string& path) {
    std::vector<PlannedBoard> plan;
    try {
        const toml::table file = toml::parse_file(path);
        for (const auto& [key, node] : file) {
            if (key != "boards" || !node.is_table())
                Wrong(node, fmt::format("a plan has [boards.NAME], and no such \"{}\"", key.str()));
            for (const auto& [name, board] : *node.as_table())
                plan.push_back(ReadBoard(std::string(name.str()), board));
        }
    } catch (const toml::parse_error& error) {
        const auto line = error.source().begin.line;
        throw Failure(kUsage, "{}{}: {}", path, line > 0 ? fmt::format(":{}", line) : "", error.description());
    }
    if (plan.empty()) throw Failure(kUsage, path + " names no board: [boards.NAME]");
    CheckTogether(plan);
    return plan;
}

std::string PauseFile(const std::string& plan) { return plan + ".paused"; }

bool PlanIsPaused(const std::string& plan) {
    std::error_code ignored;
    return std::filesystem::exists(PauseFile(plan), ignored);
}

std::vector<WantedStream> Wanted(const PlannedBoard& plan, const std::vector<Channel>& channels) {
    std::vector<WantedStream> wanted;
    std::optional<Channel> first;
    for (const PlannedStream& stream : plan.streams) {
        WantedStream item;
        item.request.to = stream.to, item.request.slot = stream.slot;
        for (const std::string& text : stream.channels) {
            const Channel& channel = FindChannel(channels, text);
            if (!first) first = channel;
            if (channel.tunerChannel != first->tunerChannel)
                throw Failure(kUsage, "{}: {} is on tuner channel {} and {} on {}; a board has one tuner", stream.place,
                              Escaped(CallName(*first)), first->tunerChannel, Escaped(CallName(channel)),
                              channel.tunerChannel);
            if (!item.programmes.insert(channel.id.programme).second) continue;
            item.request.programmes.push_back(channel.id);
            item.what += (item.what.empty() ? "" : ", ") + Escaped(CallName(channel));
        }
        item.request.channel = first->tunerChannel;
        if (stream.whole) {
            item.request.programmes.clear();
            item.what = fmt::format("all of tuner channel {}", first->tunerChannel);
            for (const Channel& channel : channels) {
                if (channel.tunerChannel == first->tunerChannel) item.programmes.insert(channel.id.programme);
            }
        }
        StartText(item.request);  // throws for what a board would refuse
        wanted.push_back(std::move(item));
    }
    return wanted;
}

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
        text += fmt::format("{}[boards.{}]\nstreams = [\n", text.empty() ? "" : "\n", TomlText(board.board));
        for (const PlannedStream& stream : board.streams) {
            std::string channels;
            for (const std::string& channel : stream.channels)
                channels += (channels.empty() ? "" : ", ") + TomlText(channel);
            text += fmt::format("    {{to = {}, channels = [{}], slot = {}{}}},\n", TomlText(EndpointText(stream.to)),
                                channels, stream.slot.value_or(0), stream.whole ? ", whole = true" : "");
        }
        text += "]\n";
    }
    return text;
}

}  // namespace zulctl
