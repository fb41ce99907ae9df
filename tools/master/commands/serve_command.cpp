// zulctl serve: the status page.
#include <fmt/format.h>

#include <thread>

#include "commands/commands.h"
#include "commands/plan_work.h"
#include "serve/service.h"

namespace zulctl {

namespace {

struct ServeChoice {
    std::string listen = "127.0.0.1:8410", tokenFile;
    bool control = false;
    serve::ServiceOptions service;
};

void RunServe(Session& session, const ServeChoice& choice) {
    CatchInterrupts();
    serve::ServiceOptions options = choice.service;
    const auto listen = ParseEndpoint(choice.listen);
    if (!listen) throw Failure(kUsage, "\"{}\" isn't ADDRESS:PORT", choice.listen);
    options.listen = *listen;
    options.interfaceIndex = session.InterfaceIndex();
    options.watch = {session.Discovery(), session.Names(), {}};
    if (!session.options.boards.empty()) options.watch.only = session.Boards(std::nullopt);
    if (!choice.tokenFile.empty() && !choice.control) throw Failure(kUsage, "a token is of use with --control alone");
    const bool newToken = choice.control && choice.tokenFile.empty();
    if (choice.control) options.token = newToken ? serve::NewToken() : serve::ReadToken(choice.tokenFile);
    std::vector<BoardWork> planned;
    if (!options.planPath.empty()) planned = BoardsOf(session, ReadPlan(options.planPath));
    for (const BoardWork& work : planned) options.plan.emplace(work.target.at, work.plan);
    serve::Service service(options);
    const Endpoint at{options.listen.address, service.Start()};
    const std::string address = EndpointText({at.address == 0 ? 0x7F000001 : at.address, at.port});
    session.out.Say(fmt::format("the status page is at http://{}/{}", address,
                                newToken ? "#token=" + options.token : std::string()));
    std::jthread keeper;
    if (!planned.empty()) keeper = std::jthread([&] { KeepPlan(session, options.planPath, planned, false); });
    service.Run();
    session.out.Say("stopped");
}

}  // namespace

void AddServeCommand(CLI::App& app, Session& session) {
    const auto [command, choice] =
        AddCommand(app, session, "serve", "Serve a status page, its JSON, and metrics for Prometheus", RunServe);
    command->footer(
        "It asks every board that is named or heard, or those given with --board, and joins every stream that they "
        "send. It listens on this machine alone unless told otherwise, and changes nothing without --control.");
    AddOption(command, "--listen ADDRESS:PORT", choice->listen,
              "Where to; 0.0.0.0 for all of this machine's addresses");
    AddOption(command, "--host NAME", choice->service.hosts,
              "A name that the page is called by in addresses; may be given several times. Others are refused");
    command->add_flag("--control", choice->control,
                      "Let whoever has the token start and stop streams and play them on receivers");
    AddOption(command, "--token-file FILE", choice->tokenFile,
              "Read the token from a file instead of making a new one");
    AddOption(command, "--plan FILE", choice->service.planPath,
              "Bring transmitters back to this plan, as apply --keep does; one that differs is red");
    AddOption(command, "--pictures SECONDS", choice->service.stillsEvery,
              "Make a still picture of each stream this often; 0: never")
        ->check(CLI::Range(0, 3600));
}

}  // namespace zulctl
