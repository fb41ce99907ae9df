/// How a process of the simulated board misbehaves. A process that is absent altogether is simply not made.
#pragma once

namespace board {

enum class Fault {
    kNone,
    kSilent,  ///< takes requests, answers none
    kSlow,    ///< answers late
    kLying,   ///< answers something else than it did
    kFull,    ///< takes no requests, and its queue has no room for more
};

}  // namespace board
