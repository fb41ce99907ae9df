// Numbers of the player's language.
#include "playback/playerwords.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

std::int32_t ValueOf(const char* word, Number number) {
    // In 64 bits, so that the limits are those of the board's 32-bit strtol and strtoul on every machine.
    const long long value = std::strtoll(word, nullptr, number == Number::kHex ? 16 : 0);
    if (number == Number::kSigned) {
        return static_cast<std::int32_t>(std::clamp<long long>(value, std::numeric_limits<std::int32_t>::min(),
                                                               std::numeric_limits<std::int32_t>::max()));
    }
    return static_cast<std::int32_t>(
        static_cast<std::uint32_t>(std::min<long long>(value, std::numeric_limits<std::uint32_t>::max())));
}
