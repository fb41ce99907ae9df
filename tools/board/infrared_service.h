/// The board's infrared service: puts the remote control's keys on queue 1250.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "journal.h"
#include "queue.h"

namespace board {

/// \return code of a key by its name, such as "UP", "NUM_1", "VOL_DOWN" or "MENU"; nothing for a name that the remote
/// lacks
std::optional<int> KeyCode(std::string_view name);

/// \return a key's name, or its number for a code that the remote lacks
std::string KeyName(int code);

class InfraredService {
 public:
    InfraredService();

    /// Sends one key. \param code  -128 to 127, including codes that the remote lacks
    void Press(int code);

    /// Sends a key repeatedly, as a held button does; returns when it is released.
    void Hold(int code, Milliseconds time);

    /// The codes that were sent.
    Journal<int>& Keys() { return mKeys; }

 private:
    const Queue mQueue;
    Journal<int> mKeys;
};

}  // namespace board
