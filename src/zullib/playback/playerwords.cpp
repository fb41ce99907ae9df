// Numbers and optional tails of the player's language.
#include "playback/playerwords.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

std::int32_t ValueOf(const char* word, Number number) {
    const long long value = std::strtoll(word, nullptr, number == Number::kHex ? 16 : 0);
    if (number == Number::kSigned) {
        return static_cast<std::int32_t>(std::clamp<long long>(value, std::numeric_limits<std::int32_t>::min(),
                                                               std::numeric_limits<std::int32_t>::max()));
    }
    return static_cast<std::int32_t>(
        static_cast<std::uint32_t>(std::min<long long>(value, std::numeric_limits<std::uint32_t>::max())));
}

int TakeTail(const Words& words, int at, std::span<const Field> fields, int* filled) {
    if (filled != nullptr) *filled = 0;
    for (const Field& field : fields) {
        if (!words.Usable(at)) return at + 1;
        *field.to = ValueOf(words[at++], field.number);
        if (filled != nullptr) ++*filled;
    }
    return at;
}
