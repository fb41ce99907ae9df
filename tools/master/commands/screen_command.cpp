// zulctl page, captions, language: a receiver's screen and sound settings.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <memory>
#include <set>

#include "commands/commands.h"
#include "commands/order.h"
#include "output/escape.h"
#include "protocol/language_list.h"
#include "protocol/requests_text.h"

namespace zulctl {

namespace {

struct PageChoice {
    PageRequest request;
    bool blank = false, show = false, hide = false;
};

void RunPage(Session& session, PageChoice choice) {
    auto& [x, y, width, height, pageAlpha, videoAlpha] = choice.request.fields;
    if (choice.blank) choice.request.url = "blank";
    if (choice.show) pageAlpha = 255, videoAlpha = 0;
    if (choice.hide) pageAlpha = 0, videoAlpha = 255;
    const bool nothing = choice.request.url.empty() && PageText(choice.request) == "URL";
    if (nothing) throw Failure(kUsage, "which page? give an address, --blank, --show, --hide or a place");
    RunOrder(session, Role::kReceiver, PageText(choice.request), "the page", "page set");
}

/// Throws Failure where what is tuned or played has other languages only.
void RequireLanguage(const Client& board, const std::vector<std::string>& wanted) {
    ClientOptions options = board.Options();
    if (!options.timeout) options.timeout = std::chrono::milliseconds(1500);
    std::optional<std::vector<ProgrammeLanguages>> programmes;
    try {
        programmes = ParseAudioLanguages(Client(board.Board(), options).Ask("LAN?"));
    } catch (const Failure&) {  // it can't be checked where the answer goes to another master
    }
    std::set<std::string> known;
    for (const auto& programme : programmes.value_or(std::vector<ProgrammeLanguages>{})) {
        for (const LanguageEntry& entry : programme.entries)
            known.insert(entry.type == 0 ? entry.code : fmt::format("{}:{:x}", entry.code, entry.type));
    }
    if (known.empty() || std::ranges::any_of(wanted, [&](const auto& text) { return known.contains(text); })) return;
    throw Failure(kRefused, "nothing on {} is in {}, so it was left as it is; there is {}", EndpointText(board.Board()),
                  Escaped(wanted.front()), Escaped(fmt::format("{}", fmt::join(known, ", "))));
}

}  // namespace

void AddPageCommand(CLI::App& app, Session& session) {
    CLI::App* command = app.add_subcommand("page", "Show a web page on a receiver, or place it");
    const auto choice = std::make_shared<PageChoice>();
    command->footer(
        "What isn't given stays as the board has it. The plane is 1280 by 768; a page of alpha 255 over a video of "
        "alpha 0 is opaque, and gets the remote's keys.");
    command->add_option("url", choice->request.url, "Address of the page, without commas, 255 characters at most");
    constexpr const char* kOptions[] = {"--x", "--y", "--width", "--height", "--page-alpha", "--video-alpha"};
    constexpr const char* kHelp[] = {
        "Left edge, -1280 to 1280", "Upper edge, -768 to 768",     "Width, 0 to 1280",
        "Height, 0 to 768",         "Alpha of the page, 0 to 255", "Alpha of the video behind it, 0 to 255"};
    for (std::size_t n = 0; n < choice->request.fields.size(); ++n)
        command->add_option(kOptions[n], choice->request.fields[n], kHelp[n]);
    command->add_flag("--blank", choice->blank, "The blank page");
    command->add_flag("--show", choice->show, "The page opaque, the video hidden");
    command->add_flag("--hide", choice->hide, "The page hidden, the video opaque");
    command->callback([&session, choice] { session.run = [&session, choice] { RunPage(session, *choice); }; });
}

void AddCaptionsCommand(CLI::App& app, Session& session) {
    CLI::App* command = app.add_subcommand("captions", "Choose a receiver's caption service, or none");
    const auto service = std::make_shared<std::string>();
    command->add_option("service", *service, "off, or 1 to 6")->required();
    command->callback([&session, service] {
        session.run = [&session, service] {
            RunOrder(session, Role::kReceiver, CaptionsText(*service), "the captions", "captions " + *service);
        };
    });
}

void AddLanguageCommand(CLI::App& app, Session& session) {
    struct Choice {
        std::string primary, secondary;
    };
    CLI::App* command = app.add_subcommand(
        "language", "Choose the audio: what a receiver plays, or what a transmitter's streams carry");
    command->footer(
        "A language that what is tuned or played doesn't have is refused. On a transmitter, all other audio is left "
        "out of "
        "all streams until \"zulctl stream start\" tunes it anew; the board doesn't report what it leaves out.");
    const auto choice = std::make_shared<Choice>();
    command->add_option("primary", choice->primary, "Language as in \"zulctl languages\": eng, or eng:3 with its type")
        ->required();
    command->add_option("secondary", choice->secondary, "A second one, where the first isn't there");
    command->callback([&session, choice] {
        session.run = [&session, choice] {
            RunOrder(session, std::nullopt, LanguageText(choice->primary, choice->secondary), "the language",
                     "language " + choice->primary, [&](Client& client) {
                         RequireLanguage(client, {choice->primary, choice->secondary});
                     });
        };
    });
}

}  // namespace zulctl
