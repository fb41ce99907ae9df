// zulctl keys: shows the keys of a receiver's remote control as they are pressed.
#include <fmt/format.h>

#include <memory>

#include "commands/commands.h"
#include "commands/order.h"
#include "net/monitor.h"
#include "output/escape.h"
#include "protocol/board_messages.h"
#include "protocol/requests_text.h"

namespace zulctl {

namespace {

struct KeysChoice {
    std::string howLong, remote;
};

void RunKeys(Session& session, const KeysChoice& choice) {
    if (!choice.remote.empty()) {
        return RunOrder(session, Role::kReceiver, RemoteText(choice.remote), "the remote's code",
                        "the board obeys remotes of code " + choice.remote);
    }
    const auto deadline =
        Clock::now() + (choice.howLong.empty() ? std::chrono::hours(24 * 365) : ParseSpan(choice.howLong));
    const Target target = session.OneBoard(Role::kReceiver);
    CatchInterrupts();
    Monitor monitor(target.at, session.Options(), false);
    session.out.Say("keys go here and not to the browser; Ctrl-C ends");
    UdpSocket* const sockets[] = {&monitor.Socket()};
    do {
        while (const auto message = monitor.Take()) {
            const auto key = ParseKey(*message);
            if (!key) continue;
            const std::string now = UtcNow(),
                              name = key->Name().empty() ? fmt::format("code {}", key->code) : std::string(key->Name());
            session.out.EmitItem(
                "zulctl.key/1",
                {{"time", now},
                 {"board", target.name},
                 {"key", name},
                 {"code", key->code},
                 {"repeat", key->repeat},
                 {"system_code", key->systemCode}},
                [&] { return fmt::format("{}  {}{}\n", now.substr(11, 12), name, key->repeat ? " (held)" : ""); });
        }
    } while (WaitForAny(sockets, deadline));
}

}  // namespace

void AddKeysCommand(CLI::App& app, Session& session) {
    CLI::App* command = app.add_subcommand("keys", "Print the keys of a receiver's remote control as they are pressed");
    command->footer("A board sends keys to the latest listener, whoever reads its log or serial port included.");
    const auto choice = std::make_shared<KeysChoice>();
    command->add_option("--for", choice->howLong, "End after this time")->type_name("SPAN");
    command
        ->add_option("--remote", choice->remote,
                     "Set the code of the remote that the board obeys, 01 to fe in hexadecimal, and end")
        ->type_name("CODE");
    command->callback([&session, choice] { session.run = [&session, choice] { RunKeys(session, *choice); }; });
}

}  // namespace zulctl
