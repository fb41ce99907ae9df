// Playlists: extended M3U, as IPTV players read it.
#include <fmt/format.h>

#include <algorithm>

#include "export/lineup.h"
#include "output/escape.h"
#include "protocol/channels.h"

namespace zulctl {

namespace {

/// A text in double quotes, for which the format has no escape.
std::string Quoted(const std::string& text) {
    std::string quoted = Blanked(text);
    std::ranges::replace(quoted, '"', '\'');
    return '"' + quoted + '"';
}

/// Some players take the first comma of the line, even between quotes, as the end of its attributes.
std::string Attribute(std::string text) {
    std::ranges::replace(text, ',', ' ');
    return Quoted(text);
}

std::string EntryText(const LineupEntry& entry, Player player) {
    const std::string name = CallName(entry.channel);
    std::string text = fmt::format("#EXTINF:-1 tvg-id={} tvg-name={}", Quoted(entry.Id()), Attribute(name));
    if (entry.channel.number != 0) text += fmt::format(" tvg-chno={}", Quoted(entry.channel.NumberText()));
    text += fmt::format(" group-title={}", Attribute(entry.board));
    if (entry.channel.videoType == 0) text += " radio=\"true\"";
    text += "," + Blanked(name) + "\n";
    const std::string at = EndpointText(*entry.stream);
    if (player == Player::kVlc) {
        if (entry.shares) text += fmt::format("#EXTVLCOPT:program={}\n", entry.channel.id.programme);
        return text + "udp://@" + at + "\n";
    }
    text +=
        "#KODIPROP:inputstream=inputstream.ffmpegdirect\n"
        "#KODIPROP:mimetype=video/mp2t\n"
        "#KODIPROP:inputstream.ffmpegdirect.is_realtime_stream=true\n";
    if (entry.shares) {
        text += fmt::format("#KODIPROP:inputstream.ffmpegdirect.program_number={}\n", entry.channel.id.programme);
    }
    return text + "udp://" + at + "\n";
}

}  // namespace

std::string M3uText(const Lineup& lineup, Player player, const std::string& guide) {
    std::string text = "#EXTM3U";
    if (!guide.empty()) text += fmt::format(" {}={}", player == Player::kKodi ? "x-tvg-url" : "url-tvg", Quoted(guide));
    text += "\n";
    for (const LineupEntry& entry : lineup) {
        if (entry.stream) text += EntryText(entry, player);
    }
    return text;
}

}  // namespace zulctl
