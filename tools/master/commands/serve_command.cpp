// zulctl serve: the status page.
#include <fmt/format.h>

#include <thread>

#include "commands/commands.h"
#include "commands/plan_work.h"
#include "serve/service.h"

namespace zulctl {

namespace {

struct ServeChoice {
    std::string listen = "127.0.0.1:8410";
    std::vector<std::string> hosts;
    bool control = false;
    std::string tokenFile;
    int stillsEvery = 10;
    std::string plan;
};

serve::ServiceOptions Wanted(Session& session, const ServeChoice& choice) {
    serve::ServiceOptions options;
    const auto listen = ParseEndpoint(choice.listen);
    if (!listen) throw Failure(kUsage, "\"{}\" isn't ADDRESS:PORT", choice.listen);
    options.listen = *listen;
    options.hosts = choice.hosts;
    options.interfaceIndex = session.InterfaceIndex();
    options.stillsEvery = std::chrono::seconds(choice.stillsEvery);
    options.watch.discovery = session.Discovery();
    options.watch.names = session.Names();
    if (!session.options.boards.empty()) options.watch.only = session.Boards(std::nullopt);
    if (!choice.tokenFile.empty() && !choice.control) throw Failure(kUsage, "a token is of use with --control alone");
    if (choice.control)
        options.token = choice.tokenFile.empty() ? serve::NewToken() : serve::ReadToken(choice.tokenFile);
    return options;
}

void RunServe(Session& session, const ServeChoice& choice) {
    CatchInterrupts();
    serve::ServiceOptions options = Wanted(session, choice);
    std::vector<BoardWork> planned;
    if (!choice.plan.empty()) planned = BoardsOf(session, ReadPlan(choice.plan));
    options.planPath = choice.plan;
    for (const BoardWork& work : planned) options.plan.emplace(work.target.at, work.plan);
    serve::Service service(options);
    const Endpoint at{options.listen.address, service.Start()};
    const bool newToken = choice.control && choice.tokenFile.empty();
    const std::string address = EndpointText({at.address == 0 ? 0x7F000001 : at.address, at.port});
    session.out.Say(fmt::format("the status page is at http://{}/{}", address,
                                newToken ? "#token=" + options.token : std::string()));
    std::jthread keeper;
    if (!planned.empty()) keeper = std::jthread([&] { KeepPlan(session, choice.plan, planned, false); });
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
    command->add_option("--listen", choice->listen, "Where to; 0.0.0.0 for all of this machine's addresses")
        ->type_name("ADDRESS:PORT")
        ->capture_default_str();
    command
        ->add_option("--host", choice->hosts,
                     "A name that the page is called by in addresses; may be given several times. Others are refused")
        ->type_name("NAME")
        ->take_all()
        ->allow_extra_args(false);
    command->add_flag("--control", choice->control,
                      "Let whoever has the token start and stop streams and play them on receivers");
    command->add_option("--token-file", choice->tokenFile, "Read the token from a file instead of making a new one")
        ->type_name("FILE");
    command
        ->add_option("--plan", choice->plan,
                     "Bring transmitters back to this plan, as apply --keep does; one that differs is red")
        ->type_name("FILE");
    command->add_option("--pictures", choice->stillsEvery, "Make a still picture of each stream this often; 0: never")
        ->type_name("SECONDS")
        ->check(CLI::Range(0, 3600))
        ->capture_default_str();
}

}  // namespace zulctl
