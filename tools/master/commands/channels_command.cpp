// zulctl channels: the channel list of the last scan.
#include <memory>

#include "commands/commands.h"
#include "commands/order.h"
#include "net/fetch.h"
#include "protocol/channels.h"
#include "protocol/reply_json.h"

namespace zulctl {

namespace {

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
    CLI::App* command = app.add_subcommand("channels", "List the programmes that the last scan found");
    const auto filter = std::make_shared<std::string>();
    command->add_option("text", *filter, "Only those whose name contains it, or whose number begins with it");
    command->callback([&session, filter] { session.run = [&session, filter] { RunChannels(session, *filter); }; });
}

}  // namespace zulctl
