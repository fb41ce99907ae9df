// The channel lists of boards as one table.
#include "commands/channel_table.h"

#include <fmt/format.h>

#include "common/psi.h"
#include "output/escape.h"

namespace zulctl {

std::string ChannelTable(const Output& out, const std::vector<Outcome<Done>>& outcomes, bool several) {
    std::vector<Column> columns = {{"#", Align::kRight},
                                   {"NUMBER"},
                                   {"NAME", Align::kLeft, true},
                                   {"TUNER", Align::kRight},
                                   {"TSID:PROG"},
                                   {"SIGNAL", Align::kRight},
                                   {"VIDEO", Align::kLeft, true, 3},
                                   {"AUDIO", Align::kLeft, true, 2},
                                   {"SCRAMBLED", Align::kLeft, false, 1}};
    if (several) columns.insert(columns.begin(), {"BOARD", Align::kLeft, true});
    Table table(std::move(columns));
    const auto kind = [](int type) {
        return type == 0 ? std::string("-") : common::StreamTypeName(static_cast<std::uint8_t>(type));
    };
    for (const auto& outcome : outcomes) {
        if (!outcome.result) continue;
        for (const Channel& channel : outcome.result->channels) {
            const int percent = channel.signal * 100 / 255;
            std::vector<Cell> row = {std::to_string(channel.index),
                                     channel.NumberText(),
                                     Escaped(channel.name),
                                     std::to_string(channel.tunerChannel),
                                     fmt::format("{:04x}:{:04x}", channel.id.transportId, channel.id.programme),
                                     Cell(fmt::format("{} %", percent), percent >= 60 ? Style::kGood : Style::kWarn),
                                     kind(channel.videoType),
                                     kind(channel.audioType),
                                     Cell(channel.scrambled ? "yes" : "", Style::kWarn)};
            if (several) row.insert(row.begin(), Escaped(outcome.target.name));
            table.Add(std::move(row));
        }
    }
    return table.Empty() ? "" : out.Render(table);
}

}  // namespace zulctl
