// Language listings.
#include "protocol/language_list.h"

#include <algorithm>

#include "protocol/text_walk.h"

namespace zulctl {

namespace {

constexpr std::size_t kCodeSize = 3;
constexpr std::size_t kLeastTypeDigits = 2;

/// Takes an entry; its code may hold any byte but 0, a comma or a digit too, and is shorter where the broadcast had a
/// 0.
std::optional<LanguageEntry> TakeEntry(TextWalk& line, bool typed) {
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

std::optional<std::vector<ProgrammeLanguages>> Parse(std::string_view reply, std::string_view head, bool typed) {
    std::vector<ProgrammeLanguages> list;
    TextWalk walk(reply);
    while (walk.LooksAt(head)) {
        ProgrammeLanguages programme;
        programme.id.transportId = walk.After(head).Hex16();
        programme.id.programme = walk.After(" ").Hex16();
        walk.Take(" ");
        bool more = !walk.LooksAt("\r\n");
        while (more) {
            const auto entry = TakeEntry(walk, typed);
            if (!entry) return std::nullopt;
            programme.entries.push_back(*entry);
            more = walk.LooksAt(",") && walk.Take(",");
        }
        if (!walk.Take("\r\n")) return std::nullopt;
        list.push_back(std::move(programme));
    }
    walk.Take("OK\r\n");
    if (!walk.AtEnd()) return std::nullopt;
    return list;
}

}  // namespace

std::optional<std::vector<ProgrammeLanguages>> ParseAudioLanguages(std::string_view reply) {
    return Parse(reply, "LANG ", true);
}

std::optional<std::vector<ProgrammeLanguages>> ParseCaptionLanguages(std::string_view reply) {
    return Parse(reply, "SUB ", false);
}

std::string AudioTypeName(int type) {
    constexpr const char* kNames[] = {"undefined", "clean effects", "hearing impaired", "visual impaired commentary"};
    return type >= 0 && type < 4 ? kNames[type] : std::to_string(type);
}

}  // namespace zulctl
