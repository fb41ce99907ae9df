/// Starts the module's threads.
#pragma once

#include "core/log.h"
#include "platform/thread.h"

/// Starts a detached thread at the lowest round-robin priority; logs when the system refuses that policy.
/// \return false when the thread can't be created; the caller reports it
inline bool StartModuleThread(void* (*body)(void*), void* arg) {
    const platform::ThreadStart start = platform::StartThread(body, arg);
    if (start == platform::ThreadStart::kDefaultPolicy)
        LOG("No right to SCHED_RR: thread runs under the default policy\n");
    return start != platform::ThreadStart::kFailed;
}
