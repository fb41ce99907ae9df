// zulctl channels: the channel list of the last scan. zulctl guide: now and next, a moment, a listing, a grid.
#include <fmt/format.h>

#include <algorithm>

#include "commands/commands.h"
#include "commands/order.h"
#include "export/lineup.h"
#include "net/fetch.h"
#include "output/escape.h"
#include "protocol/channels.h"
#include "protocol/guide_reply.h"
#include "protocol/reply_json.h"
#include "protocol/status.h"

namespace zulctl {

namespace {

constexpr std::size_t kWidestGrid = 160;

struct GuideChoice {
    std::vector<std::string> channels;
    std::string at, list;
    bool grid = false, details = false, utc = false;

    /// What the clock shows that the times are given by.
    Minutes Clock(Minutes moment) const { return utc ? moment : LocalClock(moment); }
    std::chrono::minutes Span() const {
        return std::chrono::ceil<std::chrono::minutes>(ParseSpan(list.empty() ? "3h" : list));
    }
};

/// The requested channels, or all on the tuned channel.
std::vector<Channel> Wanted(Session& session, Client& client, const GuideChoice& choice) {
    const auto all = FetchChannels(client);
    const auto scan = ParseScanState(client.Ask("SCA?"));
    std::vector<Channel> wanted;
    for (const std::string& text : choice.channels) wanted.push_back(FindChannel(all, text));
    const auto tuned = [&](const Channel& channel) { return scan && channel.tunerChannel == scan->channel; };
    if (choice.channels.empty()) std::copy_if(all.begin(), all.end(), std::back_inserter(wanted), tuned);
    if (wanted.empty()) {
        throw Failure(
            kRefused,
            "the tuner is on no channel of the list, and a board knows the guide of that channel alone; \"zulctl "
            "stream start\" tunes one");
    }
    for (const Channel& channel : wanted) {
        if (!tuned(channel)) {
            session.out.Warning(fmt::format("{} is on tuner channel {}, the tuner isn't: its guide is empty",
                                            Escaped(CallName(channel)), channel.tunerChannel));
        }
    }
    return wanted;
}

Minutes BroadcastNow(Client& client) {
    const auto moment = ParseBroadcastTime(client.Ask("TIME"));
    if (!moment) throw Failure(kNoAnswer, EndpointText(client.Board()) + " doesn't tell the broadcast time");
    return *moment;
}

/// "19:30" today by the broadcast's clock, or "2026-03-01T19:30".
Minutes ParseMoment(const GuideChoice& choice, Client& client) {
    const std::string& text = choice.at;
    int year = 0, hour = 0, minute = 0;
    unsigned month = 0, day = 0;
    char rest = 0;
    if (std::sscanf(text.c_str(), "%d-%u-%uT%d:%d%c", &year, &month, &day, &hour, &minute, &rest) != 5) {
        year = 0;
        if (std::sscanf(text.c_str(), "%d:%d%c", &hour, &minute, &rest) != 2) hour = 24;
    }
    const auto date =
        year == 0
            ? std::chrono::year_month_day(std::chrono::floor<std::chrono::days>(choice.Clock(BroadcastNow(client))))
            : std::chrono::year(year) / std::chrono::month(month) / std::chrono::day(day);
    if (!date.ok() || hour < 0 || hour > 23 || minute < 0 || minute > 59) {
        throw Failure(kUsage, "\"{}\" isn't a moment such as 19:30 or 2026-03-01T19:30", text);
    }
    const Minutes clock = std::chrono::sys_days(date) + std::chrono::hours(hour) + std::chrono::minutes(minute);
    return clock - (choice.Clock(clock) - clock);
}

std::vector<ChannelGuide> Fetch(Session& session, Client& client, const GuideChoice& choice) {
    const auto wanted = Wanted(session, client, choice);
    Ear ear(client.Board().address, session.Options(), Clock::now() + std::chrono::seconds(5));
    std::vector<ChannelGuide> guides;
    for (const Channel& channel : wanted) {
        session.out.Progress("asking for " + Escaped(CallName(channel)) + "...");
        auto events = !choice.at.empty() ? FetchMoment(client, channel.id, ParseMoment(choice, client), &ear)
                      : choice.grid || !choice.list.empty() ? FetchListing(client, channel.id, choice.Span(), &ear)
                                                            : FetchNowAndNext(client, channel.id, &ear);
        guides.push_back({channel, std::move(events)});
    }
    return guides;
}

std::string Listing(const Output& out, const std::vector<ChannelGuide>& guides, const GuideChoice& choice) {
    Table table({Elastic("CHANNEL"), Left(choice.utc ? "START (UTC)" : "START"), Left("END"), Elastic("TITLE")});
    std::string texts;
    for (const ChannelGuide& guide : guides) {
        const std::string name = Escaped(CallName(guide.channel));
        if (guide.events.empty()) table.Add({name, "", "", Cell("nothing known", Style::kDim)});
        for (const GuideEvent& event : guide.events) {
            table.Add({name, DateText(choice.Clock(event.start)), ClockText(choice.Clock(event.End())),
                       Escaped(event.title)});
            if (choice.details && !event.text.empty()) {
                texts +=
                    fmt::format("\n{}\n  {}\n", out.Paint(Escaped(event.title), Style::kHead), Escaped(event.text));
            }
        }
    }
    return out.Render(table) + texts;
}

void RunGuide(Session& session, const GuideChoice& choice) {
    Client client = session.Connect(Role::kTransmitter);
    auto guides = Fetch(session, client, choice);
    const bool isGrid = choice.grid && session.out.format == Format::kTable;
    const Minutes now = isGrid ? choice.Clock(BroadcastNow(client)) : Minutes{};
    session.out.Emit("zulctl.guide/1", {{"guide", JsonOf(guides)}}, [&] {
        if (!isGrid) return Listing(session.out, guides, choice);
        std::vector<GridRow> rows;
        for (ChannelGuide& guide : guides) {
            for (GuideEvent& event : guide.events) event.start = choice.Clock(event.start);
            rows.push_back({Escaped(CallName(guide.channel)), guide.events});
        }
        const Minutes start = now - (now.time_since_epoch() % std::chrono::minutes(30));
        return DrawGrid(rows, start, choice.Span(), now, std::min(session.out.Width(), kWidestGrid),
                        session.out.Colour());
    });
}

void RunChannels(Session& session, const std::string& filter) {
    RunOnBoards(session, Role::kTransmitter, "zulctl.channels/1", [&](const Target& target) -> Done {
        Client client = session.Connect(target);
        auto channels = FetchChannels(client);
        if (channels.empty()) session.out.Warning(target.name + ": the list is empty; \"zulctl scan\" fills it");
        std::erase_if(channels, [&](const Channel& channel) { return !Matches(channel, filter); });
        return {{{"channels", JsonOf(channels)}}, "", channels};
    });
}

}  // namespace

void AddChannelsCommand(CLI::App& app, Session& session) {
    const auto [command, filter] =
        AddCommand(app, session, "channels", "List the programmes that the last scan found", RunChannels);
    command->add_option("text", *filter, "Only those whose name contains it, or whose number begins with it");
}

void AddGuideCommand(CLI::App& app, Session& session) {
    const auto [command, choice] = AddCommand(
        app, session, "guide", "Show the programme guide: now and next, a moment, a listing or a grid", RunGuide);
    command->footer("A board knows the guide of the channel that its tuner is on.");
    command->add_option("channel", choice->channels,
                        "Channels by number (7.1), name or index; without any, all on the tuned channel");
    CLI::Option* at = AddOption(command, "--at TIME", choice->at, "What plays at a moment: 19:30 or 2026-03-01T19:30");
    AddOption(command, "--list SPAN", choice->list, "All events from now over a span")->excludes(at);
    command->add_flag("--grid", choice->grid, "Draw the programmes side by side over time (3h, or the span of --list)")
        ->excludes(at);
    command->add_flag("--utc", choice->utc, "Times in UTC instead of local time");
    command->add_flag("--details", choice->details, "Show the long texts too");
}

}  // namespace zulctl
