// Guide replies and language listings.
#include "protocol/guide_reply.h"

#include "protocol/text_modes.h"
#include "protocol/text_walk.h"

namespace zulctl {

namespace {

constexpr int kLongestText = 4096;
/// A board replaces bytes of a title below 0x20 by '*', whatever the mode, and cuts it at a zero byte. Characters that
/// this may have hit are shown as lost, since a wrong one is worse; with more than half of them lost, nothing is.
std::string TitleText(std::uint8_t mode, const std::string& bytes) {
    constexpr const char* kNotReadable = "(not readable)";
    if (mode == kModeScsu) {  // a '*' before a character beyond ASCII was the choice of its alphabet
        for (std::size_t n = 0; n + 1 < bytes.size(); ++n) {
            if (bytes[n] == '*' && (bytes[n + 1] & 0x80) != 0) return kNotReadable;
        }
    }
    if (mode == kModeLatin || mode == kModeScsu || !TextOfMode(mode, "")) return ShownText(mode, bytes);
    const std::string page = mode == kModeUtf16 ? "" : std::string(1, static_cast<char>(mode));
    const std::size_t size = 2 - page.size();
    std::string units;
    std::size_t lost = 0;
    for (std::size_t n = 0; n + size <= bytes.size(); n += size) {
        const std::string character = bytes.substr(n, size);
        const bool isLost = character[0] == '*' || character == std::string(size, '\0');
        units += isLost ? "\xFF\xFD" : page + character;
        lost += isLost ? 1 : 0;
    }
    return lost * 4 > units.size() ? kNotReadable : Utf16Text(units);
}

/// Takes "S4,00[News]" or the same after L.
std::string TakeText(TextWalk& walk, std::string_view letter) {
    const auto length = static_cast<std::size_t>(walk.After(letter).Small(kLongestText));
    const auto mode = static_cast<std::uint8_t>(walk.After(",").Small(255, 16));
    walk.Take("[");
    std::string text;
    if (mode == kModeLatin) {
        text = walk.Exactly(length);
    } else {
        for (std::size_t n = 0; n < length && walk.Ok(); ++n) {
            if (n > 0) walk.Take(" ");
            text += static_cast<char>(walk.Number(16, 2));
        }
    }
    walk.Take("]");
    if (!walk.Ok()) return {};
    return letter == "S" ? TitleText(mode, text) : ShownText(mode, text);
}

std::optional<GuideEvent> TakeEvent(TextWalk& reply) {
    TextWalk walk = reply;
    GuideEvent event;
    const std::uint32_t day = walk.After("EITI ").Number(16, 8);
    const std::uint32_t hhmm = walk.After(" ").Number(10, 4);
    const int duration = walk.After(" ").Small(2359);
    walk.Take(" ");
    event.title = TakeText(walk, "S");
    event.text = TakeText(walk, "L");
    walk.Take("\r\n");
    const auto start = MomentOf(day, hhmm);
    if (!walk.Ok() || !start) return std::nullopt;
    event.start = *start;
    event.duration = std::chrono::hours(duration / 100) + std::chrono::minutes(duration % 100);
    reply = walk;
    return event;
}

constexpr std::size_t kCodeSize = 3;
constexpr std::size_t kLeastTypeDigits = 2;

/// Takes an entry; its code may hold any byte but 0, a comma or a digit too, and is shorter where the broadcast had a
/// 0.
std::optional<LanguageEntry> TakeLanguage(TextWalk& line, bool typed) {
    for (std::size_t size = kCodeSize + 1; size-- > 0;) {
        TextWalk walk = line;
        LanguageEntry entry{walk.Exactly(size), 0};
        const std::size_t before = walk.Rest().size();
        if (typed) entry.type = walk.Small(255);
        if (typed && before - walk.Rest().size() < kLeastTypeDigits) continue;
        if (!walk.Ok() || !(walk.LooksAt(",") || walk.LooksAt("\r\n"))) continue;
        line = walk;
        return entry;
    }
    return std::nullopt;
}

std::optional<LanguageList> ParseLanguages(std::string_view reply, std::string_view head, bool typed) {
    LanguageList list;
    TextWalk walk(reply);
    while (walk.Skip(head)) {
        const ProgrammeId id{walk.Hex16(), walk.After(" ").Hex16()};
        walk.Take(" ");
        auto& entries = list[id];
        for (bool more = !walk.LooksAt("\r\n"); more; more = walk.Skip(",")) {
            const auto entry = TakeLanguage(walk, typed);
            if (!entry) return std::nullopt;
            entries.push_back(*entry);
        }
        walk.Take("\r\n");
    }
    walk.Take("OK\r\n");
    return walk.AtEnd() ? std::optional(list) : std::nullopt;
}

}  // namespace

std::optional<std::vector<GuideEvent>> ParseGuideReply(std::string_view text) {
    std::vector<GuideEvent> events;
    if (text == "EITI OK\r\n") return events;
    TextWalk walk(text);
    while (auto event = TakeEvent(walk)) events.push_back(*std::move(event));
    walk.Take("OK\r\n");
    return !events.empty() && walk.AtEnd() ? std::optional(events) : std::nullopt;
}

std::optional<LanguageList> ParseAudioLanguages(std::string_view reply) { return ParseLanguages(reply, "LANG ", true); }

std::optional<LanguageList> ParseCaptionLanguages(std::string_view reply) {
    return ParseLanguages(reply, "SUB ", false);
}

}  // namespace zulctl
