/// Starting the module's own threads.
#pragma once

namespace platform {

/// Result of starting a thread.
enum class ThreadStart {
    kRoundRobin,     ///< under SCHED_RR at that policy's lowest priority
    kDefaultPolicy,  ///< the system refused the policy; it runs under the default one
    kFailed,         ///< no thread was created
};

/// Starts a detached thread under SCHED_RR at its lowest priority, or under the default policy when the process lacks
/// the privilege.
/// \param body  the thread's function; its result is dropped
/// \param arg   handed to `body`
ThreadStart StartThread(void* (*body)(void*), void* arg);

}  // namespace platform
