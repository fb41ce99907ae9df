// zulctl channels: the channel list of the last scan.
#include <fmt/format.h>

#include "commands/channel_table.h"
#include "commands/commands.h"
#include "common/psi.h"
#include "net/fetch.h"
#include "output/escape.h"
#include "protocol/channel_json.h"
#include "protocol/channels.h"

namespace zulctl {

std::string ChannelTable(const Output& out, const std::vector<Channel>& channels) {
    Table table({{"#", Align::kRight},
                 {"NUMBER"},
                 {"NAME", Align::kLeft, true},
                 {"TUNER", Align::kRight},
                 {"TSID:PROG"},
                 {"SIGNAL", Align::kRight},
                 {"VIDEO", Align::kLeft, true, 3},
                 {"AUDIO", Align::kLeft, true, 2},
                 {"SCRAMBLED", Align::kLeft, false, 1}});
    const auto kind = [](int type) {
        return type == 0 ? std::string("-") : common::StreamTypeName(static_cast<std::uint8_t>(type));
    };
    int index = 0;
    for (const Channel& channel : channels) {
        const int percent = channel.signal * 100 / 255;
        table.Add(
            {std::to_string(++index), channel.NumberText(), Escaped(channel.name), std::to_string(channel.tunerChannel),
             fmt::format("{:04x}:{:04x}", channel.id.transportId, channel.id.programme),
             Cell(fmt::format("{} %", percent), percent >= 60 ? Style::kGood : Style::kWarn), kind(channel.videoType),
             kind(channel.audioType), Cell(channel.scrambled ? "yes" : "", Style::kWarn)});
    }
    return out.Render(table);
}

void AddChannelsCommand(CLI::App& app, Session& session) {
    CLI::App* command = app.add_subcommand("channels", "List the programmes that the last scan found");
    command->callback([&session] {
        session.run = [&session] {
            Client client = session.Connect(Role::kTransmitter);
            const auto channels = FetchChannels(client);
            session.out.Emit("zulctl.channels/1", {{"channels", JsonOf(channels)}},
                             [&] { return channels.empty() ? std::string() : ChannelTable(session.out, channels); });
            if (channels.empty()) session.out.Warning("the list is empty; \"zulctl scan\" fills it");
        };
    });
}

}  // namespace zulctl
