// The running stream of a channel, among all transmitters.
#include "commands/find_stream.h"

#include <fmt/format.h>

#include <algorithm>

#include "export/lineup.h"
#include "net/each_board.h"
#include "net/fetch.h"
#include "output/escape.h"
#include "protocol/channels.h"

namespace zulctl {

FoundStream FindStreamOf(Session& session, const std::string& text, const std::string& from) {
    session.out.Progress("looking who sends " + Escaped(text) + "...");
    const auto outcomes = OnEach(
        from.empty() ? session.Everybody(Role::kTransmitter) : std::vector{session.Named(from, Role::kTransmitter)},
        [&](const Target& target) {
            Client client = session.Connect(target);
            return FetchSent(client);
        });
    Failure reason(kNoAnswer, "no transmitter answers; \"zulctl discover\" lists those that are heard");
    Lineup found;
    for (const auto& [target, sent, failure] : outcomes) {
        if (!sent) {
            if (outcomes.size() == 1) throw Failure(*failure);
            session.out.Warning(failure->what());
            continue;
        }
        try {
            const Channel& channel = FindChannel(sent->channels, text);
            const auto entry = LineupOf(target.name, {channel}, sent->status, sent->tunedChannel).front();
            if (entry.stream) found.push_back(entry);
            reason = Failure(kUsage, "no stream of {} carries {}; zulctl -b {} stream start {} --to GROUP:PORT",
                             Escaped(target.name), Escaped(CallName(channel)), ShellWord(target.name), ShellWord(text));
        } catch (const Failure& unknown) {
            if (reason.code != kUsage) reason = unknown;
        }
    }
    const auto isOther = [&](const LineupEntry& entry) { return entry.channel.id != found.front().channel.id; };
    if (std::any_of(found.begin(), found.end(), isOther)) {
        std::string list;
        for (const LineupEntry& entry : found)
            list += fmt::format("\n  {}  {}  {}", entry.board, EndpointText(*entry.stream),
                                Escaped(CallName(entry.channel)));
        throw Failure(kUsage, "which \"{}\"? name its transmitter:{}", Escaped(text), list);
    }
    if (found.empty()) throw Failure(reason);
    return {*found.front().stream, found.front().channel.id.programme};
}

}  // namespace zulctl
