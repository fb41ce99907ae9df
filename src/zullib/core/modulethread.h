/// Threads of the module, started with a word to the log.
#pragma once

#include "core/log.h"
#include "platform/thread.h"

/// Starts a detached thread at the lowest round-robin priority; logs when the system refuses that policy.
/// \return false when there is no thread; the caller reports it in its own words
inline bool StartModuleThread(void* (*body)(void*), void* arg) {
    const platform::ThreadStart start = platform::StartThread(body, arg);
    if (start == platform::ThreadStart::kDefaultPolicy)
        LOG("No right to SCHED_RR: thread runs under the default policy\n");
    return start != platform::ThreadStart::kFailed;
}
