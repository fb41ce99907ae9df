// The infrared service: the remote's keys and their message.
#include "infrared_service.h"

#include <algorithm>
#include <iterator>
#include <thread>

namespace board {

namespace {

constexpr int kQueueKey = 1250;
constexpr long kKeyType = 1;
constexpr std::size_t kMessageSize = 16;
constexpr std::size_t kCodeAt = 4;
constexpr Milliseconds kRepeat{108};  ///< of a held key

struct Key {
    std::string_view name;
    int code;
};

// clang-format off
constexpr Key kKeys[] = {
    {"NUM_0", 1}, {"NUM_1", 2}, {"NUM_2", 3}, {"NUM_3", 4}, {"NUM_4", 5},
    {"NUM_5", 6}, {"NUM_6", 7}, {"NUM_7", 8}, {"NUM_8", 9}, {"NUM_9", 10},
    {"UP", 11}, {"DOWN", 12}, {"RIGHT", 13}, {"LEFT", 14}, {"ENTER", 15}, {"MENU", 16},
    {"FF", 26}, {"OFF", 33}, {"ZUL", 34}, {"RED", 35}, {"GREEN", 36}, {"YELLOW", 37}, {"BLUE", 38}, {"F1", 39},
    {"CHAN_UP", 40}, {"CHAN_DOWN", 41}, {"GUIDE", 42}, {"INFO", 43}, {"VOL_UP", 44}, {"VOL_DOWN", 45}, {"MUTE", 46},
};
// clang-format on

}  // namespace

std::optional<int> KeyCode(std::string_view name) {
    const auto* const key = std::ranges::find(kKeys, name, &Key::name);
    return key == std::end(kKeys) ? std::nullopt : std::optional(key->code);
}

std::string KeyName(int code) {
    const auto* const key = std::ranges::find(kKeys, code, &Key::code);
    return key == std::end(kKeys) ? std::to_string(code) : std::string(key->name);
}

InfraredService::InfraredService() : mQueue(kQueueKey) {}

void InfraredService::Press(int code) {
    std::string text(kMessageSize, '\0');
    text[kCodeAt] = static_cast<char>(code);
    mQueue.Send({kKeyType, text});
    mKeys.Add(code);
}

void InfraredService::Hold(int code, Milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    for (auto next = std::chrono::steady_clock::now(); next < end; next += kRepeat) {
        std::this_thread::sleep_until(next);
        Press(code);
    }
}

}  // namespace board
