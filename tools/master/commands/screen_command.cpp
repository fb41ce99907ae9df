// zulctl page, scale, resolution, captions, language: a receiver's screen and sound settings.
#include <fmt/format.h>

#include <memory>

#include "commands/commands.h"
#include "commands/order.h"
#include "protocol/requests_text.h"
#include "protocol/status.h"

namespace zulctl {

namespace {

struct PageChoice {
    PageRequest request;
    std::optional<int> key;
    bool blank = false, show = false, hide = false;
};

void RunPage(Session& session, PageChoice choice) {
    if (choice.key)
        return RunOrder(session, Role::kReceiver, PageKeyText(*choice.key), "the key", "key passed to the browser");
    auto& [x, y, width, height, pageAlpha, videoAlpha] = choice.request.fields;
    if (choice.blank) choice.request.url = "blank";
    if (choice.show) pageAlpha = 255, videoAlpha = 0;
    if (choice.hide) pageAlpha = 0, videoAlpha = 255;
    const bool nothing = choice.request.url.empty() && PageText(choice.request) == "URL";
    if (nothing) throw Failure(kUsage, "which page? give an address, --blank, --show, --hide, a place or a key");
    RunOrder(session, Role::kReceiver, PageText(choice.request), "the page", "page set");
}

void RunResolution(Session& session, std::optional<int> number) {
    if (number) {
        session.out.Progress("changing the resolution, some 6 s...");
        return RunOrder(session, Role::kReceiver, fmt::format("RESOLUTION{}", *number), "the resolution",
                        fmt::format("resolution {}", *number));
    }
    const Target target = session.OneBoard(Role::kReceiver);
    const auto current = ParseResolution(session.Connect(target).Ask("RESOLUTION?"));
    if (!current) throw Failure(kRefused, target.name + " doesn't tell its resolution");
    session.out.Emit("zulctl.resolution/1", {{"board", target.name}, {"resolution", *current}},
                     [&] { return fmt::format("{}\n", *current); });
}

}  // namespace

void AddPageCommand(CLI::App& app, Session& session) {
    CLI::App* command = app.add_subcommand("page", "Show a web page on a receiver, place it, or press a browser key");
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
    command->add_option("--key", choice->key, "Press a key of the browser, 0 to 65534");
    command->callback([&session, choice] { session.run = [&session, choice] { RunPage(session, *choice); }; });
}

void AddScaleCommand(CLI::App& app, Session& session) {
    struct Choice {
        int x = 0, y = 0, width = 100, height = 100, alpha = 255;
    };
    CLI::App* command = app.add_subcommand(
        "scale", "Place a receiver's video and browser on the screen; without arguments: full screen");
    const auto choice = std::make_shared<Choice>();
    command->add_option("x", choice->x, "Left edge in percent")->capture_default_str();
    command->add_option("y", choice->y, "Upper edge in percent")->capture_default_str();
    command->add_option("width", choice->width, "Width in percent")->capture_default_str();
    command->add_option("height", choice->height, "Height in percent")->capture_default_str();
    command->add_option("--alpha", choice->alpha, "0 hidden to 255 opaque")->capture_default_str();
    command->callback([&session, choice] {
        session.run = [&session, choice] {
            RunOrder(session, Role::kReceiver,
                     ScaleText(choice->x, choice->y, choice->width, choice->height, choice->alpha), "the scale",
                     fmt::format("{}x{} % at {},{} %", choice->width, choice->height, choice->x, choice->y));
        };
    });
}

void AddResolutionCommand(CLI::App& app, Session& session) {
    CLI::App* command =
        app.add_subcommand("resolution", "Tell or set a receiver's output resolution; the number is the board's own");
    const auto number = std::make_shared<std::optional<int>>();
    command->add_option("number", *number, "Resolution to set; without it, the present one is told")
        ->check(CLI::Range(0, 1000000));
    command->callback([&session, number] { session.run = [&session, number] { RunResolution(session, *number); }; });
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
        "On a receiver a language that isn't there takes the board 3 s to find out. On a transmitter, all other audio "
        "is left out of all streams; where nothing matches, nothing changes.");
    const auto choice = std::make_shared<Choice>();
    command->add_option("primary", choice->primary, "Language as in \"zulctl languages\": eng, or eng:3 with its type")
        ->required();
    command->add_option("secondary", choice->secondary, "A second one, where the first isn't there");
    command->callback([&session, choice] {
        session.run = [&session, choice] {
            RunOrder(session, std::nullopt, LanguageText(choice->primary, choice->secondary), "the language",
                     "language " + choice->primary);
        };
    });
}

}  // namespace zulctl
