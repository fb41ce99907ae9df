// zulctl page, captions, language, languages: a receiver's screen and sound settings.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <map>
#include <set>

#include "commands/commands.h"
#include "commands/order.h"
#include "output/escape.h"
#include "protocol/guide_reply.h"
#include "protocol/requests_text.h"

namespace zulctl {

namespace {

struct PageChoice {
    PageRequest request;
    bool blank = false, show = false, hide = false;
};

struct LanguageChoice {
    std::string primary, secondary;
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
    std::set<std::string> known;
    try {
        const auto programmes = ParseAudioLanguages(Client(board.Board(), options).Ask("LAN?"));
        if (!programmes) return;
        for (const auto& [id, entries] : *programmes) {
            for (const LanguageEntry& entry : entries)
                known.insert(entry.type == 0 ? entry.code : fmt::format("{}:{:x}", entry.code, entry.type));
        }
    } catch (const Failure&) {
        return;  // it can't be checked where the answer goes to another master
    }
    if (known.empty() || std::ranges::any_of(wanted, [&](const auto& text) { return known.contains(text); })) return;
    throw Failure(kRefused, "nothing on {} is in {}, so it was left as it is; there is {}", EndpointText(board.Board()),
                  Escaped(wanted.front()), Escaped(fmt::format("{}", fmt::join(known, ", "))));
}

void RunCaptions(Session& session, const std::string& service) {
    RunOrder(session, Role::kReceiver, CaptionsText(service), "the captions", "captions " + service);
}

void RunLanguage(Session& session, const LanguageChoice& choice) {
    RunOrder(session, std::nullopt, LanguageText(choice.primary, choice.secondary), "the language",
             "language " + choice.primary, [&](const Client& client) {
                 RequireLanguage(client, {choice.primary, choice.secondary});
             });
}

struct Languages {
    std::vector<LanguageEntry> audio, captions;
};

std::string AudioTypeName(int type) {
    constexpr const char* kNames[] = {"undefined", "clean effects", "hearing impaired", "visual impaired commentary"};
    return type >= 0 && type < 4 ? kNames[type] : std::to_string(type);
}

/// Captions have type 0.
std::string TextOf(const std::vector<LanguageEntry>& entries) {
    std::string text;
    for (const LanguageEntry& entry : entries) {
        text += (text.empty() ? "" : ", ") + Escaped(entry.code) +
                (entry.type == 0 ? "" : " (" + AudioTypeName(entry.type) + ")");
    }
    return text;
}

Json JsonOf(const ProgrammeId& id, const Languages& languages) {
    Json audio = Json::array(), captions = Json::array();
    for (const LanguageEntry& entry : languages.audio) {
        audio.push_back({{"language", entry.code}, {"type", entry.type}, {"kind", AudioTypeName(entry.type)}});
    }
    for (const LanguageEntry& entry : languages.captions) captions.push_back(entry.code);
    return {
        {"transport_stream_id", id.transportId}, {"programme", id.programme}, {"audio", audio}, {"captions", captions}};
}

void RunLanguages(Session& session) {
    Client client = session.Connect(std::nullopt);
    const std::string audioReply = client.Ask("LAN?"), captionReply = client.Ask("SUB?");
    if (IsKo(audioReply) || IsKo(captionReply))
        throw Failure(kRefused, EndpointText(client.Board()) + " refuses to list languages");
    const auto audio = ParseAudioLanguages(audioReply);
    const auto captions = ParseCaptionLanguages(captionReply);
    if (!audio || !captions) throw Failure(kNoAnswer, EndpointText(client.Board()) + " sends a damaged listing");
    std::map<ProgrammeId, Languages> programmes;
    for (const auto& [id, entries] : *audio) programmes[id].audio = entries;
    for (const auto& [id, entries] : *captions) programmes[id].captions = entries;
    Json list = Json::array();
    Table table({Left("TSID:PROG"), Elastic("AUDIO"), Elastic("CAPTIONS")});
    for (const auto& [id, languages] : programmes) {
        list.push_back(JsonOf(id, languages));
        table.Add({ProgrammeText(id), TextOf(languages.audio), TextOf(languages.captions)});
    }
    session.out.Emit("zulctl.languages/1", {{"programmes", list}}, [&] { return session.out.Render(table); });
    if (programmes.empty()) session.out.Warning("the board has no programme before it: nothing is tuned or played");
}

}  // namespace

void AddPageCommand(CLI::App& app, Session& session) {
    const auto [command, choice] =
        AddCommand(app, session, "page", "Show a web page on a receiver, or place it", RunPage);
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
}

void AddCaptionsCommand(CLI::App& app, Session& session) {
    const auto [command, service] =
        AddCommand(app, session, "captions", "Choose a receiver's caption service, or none", RunCaptions);
    command->add_option("service", *service, "off, or 1 to 6")->required();
}

void AddLanguageCommand(CLI::App& app, Session& session) {
    const auto [command, choice] =
        AddCommand(app, session, "language",
                   "Choose the audio: what a receiver plays, or what a transmitter's streams carry", RunLanguage);
    command->footer(
        "A language that what is tuned or played doesn't have is refused. On a transmitter, all other audio is left "
        "out of all streams until \"zulctl stream start\" tunes it anew; the board doesn't report what it leaves out.");
    command->add_option("primary", choice->primary, "Language as in \"zulctl languages\": eng, or eng:3 with its type")
        ->required();
    command->add_option("secondary", choice->secondary, "A second one, where the first isn't there");
}

void AddLanguagesCommand(CLI::App& app, Session& session) {
    app.add_subcommand("languages", "List audio languages and captions of what is tuned or played")->callback([&] {
        RunLanguages(session);
    });
}

}  // namespace zulctl
