// The lines that tell what happens on a board.
#include "story.h"

#include <fmt/format.h>

namespace board {

std::string Describe(const SettingsRequest& request) {
    const std::string& name = request.name.empty() ? request.oid : request.name;
    return request.set ? fmt::format("set {} to {}", name, request.value) : fmt::format("get {}", name);
}

std::string Describe(const Burn& burn) {
    if (burn.copy.empty()) return fmt::format("can't burn {}", burn.image);
    return fmt::format("burnt {} into {}", burn.image, burn.copy);
}

std::string Describe(const RemountRequest& request) {
    return fmt::format("/mnt/hd{} is to be {}", request.part, request.writable ? "writable" : "read-only");
}

std::string Describe(const Tuning& tuning) {
    if (tuning.channel == 0) return "stopped";
    return fmt::format("channel {}, strength {} of 5", tuning.channel, tuning.strength);
}

}  // namespace board
