/// How a process of the simulated board misbehaves. An absent process isn't created.
#pragma once

namespace board {

enum class Fault {
    kNone,
    kSilent,  ///< accepts requests, answers none
    kSlow,    ///< answers late
    kLying,   ///< answers wrongly
    kFull,    ///< accepts no requests, and its queue is full
};

}  // namespace board
