// zulctl play: what a receiver shows.
#include <fmt/format.h>

#include "commands/commands.h"
#include "commands/order.h"
#include "doctor/screen.h"
#include "net/fetch.h"
#include "output/escape.h"
#include "protocol/requests_text.h"

namespace zulctl {

namespace {

struct PlayChoice {
    std::string what, from, programme;
    bool stop = false;
};

void RunPlay(Session& session, const PlayChoice& choice) {
    if (choice.stop) return RunOrder(session, Role::kReceiver, "UNIT0", "the stop", "stopped");
    if (choice.what.empty()) throw Failure(kUsage, "play what? a channel, GROUP:PORT, or --stop");
    std::optional<std::uint16_t> programme;
    Endpoint stream;
    if (const auto group = ParseEndpoint(choice.what)) {
        stream = *group;
    } else if (ParseAddress(choice.what)) {
        throw Failure(kUsage, "\"{}\" isn't GROUP:PORT", choice.what);
    } else {
        const LineupEntry found = FindSent(session, choice.what, choice.from);
        stream = *found.stream, programme = found.channel.id.programme;
    }
    if (!choice.programme.empty()) {
        const auto number = ParseNumber(choice.programme, 16, 0xFFFF);
        if (!number) throw Failure(kUsage, "\"{}\" isn't a programme number in hexadecimal", choice.programme);
        programme = static_cast<std::uint16_t>(*number);
    }
    RunOrder(session, Role::kReceiver, PlayText(stream, programme), "the play",
             fmt::format("playing {}{}", EndpointText(stream),
                         programme ? fmt::format(", programme {:04x}", *programme) : ""));
    WarnOfStream(session, stream, programme ? std::set{*programme} : std::set<std::uint16_t>());
}

}  // namespace

LineupEntry FindSent(Session& session, const std::string& text, const std::string& from) {
    session.out.Progress("looking who sends " + Escaped(text) + "...");
    const auto outcomes = OnEach(
        from.empty() ? session.Everybody(Role::kTransmitter) : std::vector{session.Named(from, Role::kTransmitter)},
        [&](const Target& target) {
            Client client = session.Connect(target);
            return FetchSent(client);
        });
    Failure reason(kNoAnswer, "no transmitter answers; \"zulctl discover\" lists those that are heard");
    std::optional<Failure> unsent;
    std::vector<Channel> known;
    Lineup found;
    for (const auto& [target, sent, failure] : outcomes) {
        if (!sent) {
            if (outcomes.size() == 1) throw Failure(*failure);
            session.out.Warning(failure->what());
            continue;
        }
        known.insert(known.end(), sent->channels.begin(), sent->channels.end());
        try {
            const Channel& channel = FindChannel(sent->channels, text);
            const auto entry = LineupOf(target.name, {channel}, sent->status, sent->tunedChannel).front();
            if (entry.stream) found.push_back(entry);
            unsent = Failure(kUsage, "no stream of {} carries {}; zulctl -b {} stream start {} --to GROUP:PORT",
                             Escaped(target.name), Escaped(CallName(channel)), ShellWord(target.name), ShellWord(text));
        } catch (const Failure& unknown) {
            reason = unknown;
        }
    }
    std::string list;
    for (const LineupEntry& entry : found)
        list +=
            fmt::format("\n  {}  {}  {}", entry.board, EndpointText(*entry.stream), Escaped(CallName(entry.channel)));
    const auto isOther = [&](const LineupEntry& entry) { return entry.channel.id != found.front().channel.id; };
    if (std::ranges::any_of(found, isOther))
        throw Failure(kUsage, "which \"{}\"? name its transmitter:{}", Escaped(text), list);
    if (!found.empty()) return found.front();
    if (unsent) throw Failure(*unsent);
    if (reason.code == kUsage) FindChannel(known, text);  // throws, with similar names of all boards
    throw Failure(reason);
}

void AddPlayCommand(CLI::App& app, Session& session) {
    const auto [command, choice] =
        AddCommand(app, session, "play", "Play a channel or a stream on receivers, or stop", RunPlay);
    command->add_option("what", choice->what, "A channel by number (7.1) or name, or GROUP:PORT");
    AddOption(command, "--from NAME|ADDRESS", choice->from,
              "Look for the channel on this transmitter alone, also by index");
    AddOption(command, "--programme NUMBER", choice->programme,
              "Programme number in hexadecimal; without it the player takes the first");
    command->add_flag("--stop", choice->stop, "Stop what plays");
}

}  // namespace zulctl
