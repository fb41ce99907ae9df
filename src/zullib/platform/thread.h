/// Starting the module's own threads.
#pragma once

namespace platform {

/// How a thread came to run.
enum class ThreadStart {
    kRoundRobin,     ///< under SCHED_RR at that policy's lowest priority
    kDefaultPolicy,  ///< the system refused the policy; it runs under the default one
    kFailed,         ///< there is no thread
};

/// Starts a detached thread under SCHED_RR at its lowest priority, or under the default policy where the
/// process has no right to that one.
/// \param body  the thread's function; its result is dropped
/// \param arg   handed to `body`
ThreadStart StartThread(void* (*body)(void*), void* arg);

}  // namespace platform
