// zulctl why: why a television is dark.
#include <fmt/format.h>

#include <algorithm>

#include "commands/commands.h"
#include "doctor/screen.h"
#include "output/escape.h"

namespace zulctl {

namespace {

using namespace std::chrono_literals;

struct WhyChoice {
    std::string receiver, howLong = "5s";
};

/// A board sends its scan, guide and language messages to the first master that it heard.
void AddOtherMaster(const Session& session, const Target& receiver, ScreenView& view) {
    ClientOptions options = session.Options();
    if (!options.timeout) options.timeout = 1500ms;
    try {
        Client(receiver.at, options).Ask("LAN?");
    } catch (const Failure& failure) {
        if (std::string_view(failure.what()).find("went elsewhere") == std::string_view::npos) return;
        view.surroundings.push_back(
            {"master", Diagnosis::Level::kNote, fmt::format("{} sends its messages to another master", view.receiver),
             "Two masters undo each other's orders: let one of them alone give any. A restart of the board frees it: "
             "zulctl -b " +
                 ShellWord(view.receiver) + " reset"});
    }
}

Json JsonOf(const ScreenView& view, const std::vector<Diagnosis>& findings) {
    Json sources = Json::array();
    const auto bad = std::ranges::find(findings, false, &Diagnosis::IsGood);
    for (const std::uint32_t source : view.heard.sources) sources.push_back(AddressText(source));
    const auto group = view.status.Group();
    return {{"board", view.receiver},
            {"cause", bad != findings.end() ? Json(bad->check) : Json()},
            {"certain", std::ranges::any_of(findings, &Diagnosis::IsFault)},
            {"group", group ? Json(AddressText(group->address)) : Json()},
            {"port", group ? Json(group->port) : Json()},
            {"sources", sources},
            {"findings", findings}};
}

std::string Verdict(const ScreenView& view, const std::vector<Diagnosis>& findings) {
    const auto fault = std::ranges::find_if(findings, &Diagnosis::IsFault);
    if (fault != findings.end()) return fault->finding;
    const auto note = std::ranges::find(findings, false, &Diagnosis::IsGood);
    if (note != findings.end()) return fmt::format("{} gets a stream, but {}", view.receiver, note->finding);
    return view.receiver + " gets a good stream: look at the television, its input and its cable";
}

void RunWhy(Session& session, const WhyChoice& choice) {
    const auto howLong = ParseSpan(choice.howLong);
    const Target receiver =
        choice.receiver.empty() ? session.OneBoard(Role::kReceiver) : session.Named(choice.receiver, Role::kReceiver);
    CatchInterrupts();
    session.out.Progress("asking transmitters...");
    auto transmitters = AskSenders(session, session.Everybody(Role::kTransmitter));
    session.out.Progress("listening to the stream...");
    const QuerierSearch search(kBeaconGroup, session.InterfaceIndex());
    ScreenView view = LookAtScreen(session, receiver, std::move(transmitters), howLong);
    if (view.status.Group()) {
        if (const auto querier = search.Finish(howLong, [](std::chrono::seconds) {}))
            view.surroundings.push_back(*querier);
        AddOtherMaster(session, receiver, view);
    }
    const auto findings = ExamineScreen(view);
    session.out.Emit("zulctl.why/1", JsonOf(view, findings), [&] {
        return Findings(findings, session.out.Width(), session.out.Colour()) + "\n" + Verdict(view, findings) + "\n";
    });
    if (!view.silence.empty()) throw Failure(kNoAnswer, "");
    if (std::ranges::any_of(findings, &Diagnosis::IsFault)) throw Failure(kRefused, "");
}

}  // namespace

void AddWhyCommand(CLI::App& app, Session& session) {
    const auto [command, choice] =
        AddCommand(app, session, "why", "Find out why a receiver's television is dark", RunWhy);
    command->footer(
        "Goes from the receiver to the transmitter and stops at the first fault: does it answer, what does it play, "
        "who sends that, is there a signal, is the programme in it and in the clear, is the stream whole. Exits with 1 "
        "when something is wrong, with 3 when the receiver doesn't answer. Listening for an IGMP querier needs root.");
    AddOption(command, "receiver NAME|ADDRESS", choice->receiver, "The receiver, in place of --board");
    AddOption(command, "--for SPAN", choice->howLong, "How long to listen to the stream; 130s is certain of a querier");
}

}  // namespace zulctl
