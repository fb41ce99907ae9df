// zulctl languages: audio languages and captions of the programmes on a board's current channel.
#include <fmt/format.h>

#include <map>

#include "commands/commands.h"
#include "output/escape.h"
#include "protocol/language_list.h"

namespace zulctl {

namespace {

struct Languages {
    std::vector<LanguageEntry> audio, captions;
};

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
    for (const auto& programme : *audio) programmes[programme.id].audio = programme.entries;
    for (const auto& programme : *captions) programmes[programme.id].captions = programme.entries;
    Json list = Json::array();
    Table table({Left("TSID:PROG"), Elastic("AUDIO"), Elastic("CAPTIONS")});
    for (const auto& [id, languages] : programmes) {
        list.push_back(JsonOf(id, languages));
        table.Add({fmt::format("{:04x}:{:04x}", id.transportId, id.programme), TextOf(languages.audio),
                   TextOf(languages.captions)});
    }
    session.out.Emit("zulctl.languages/1", {{"programmes", list}},
                     [&] { return table.Empty() ? std::string() : session.out.Render(table); });
    if (programmes.empty()) session.out.Warning("the board has no programme before it: nothing is tuned or played");
}

}  // namespace

void AddLanguagesCommand(CLI::App& app, Session& session) {
    CLI::App* command = app.add_subcommand("languages", "List audio languages and captions of what is tuned or played");
    command->callback([&session] { session.run = [&session] { RunLanguages(session); }; });
}

}  // namespace zulctl
