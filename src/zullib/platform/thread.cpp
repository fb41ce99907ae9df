// Detached threads under SCHED_RR (POSIX.1-2017, 2.9.4).
#include "platform/thread.h"

#include <pthread.h>
#include <sched.h>

#include <cerrno>

namespace platform {

ThreadStart StartThread(void* (*body)(void*), void* arg) {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) return ThreadStart::kFailed;
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setschedpolicy(&attributes, SCHED_RR);
    const sched_param lowest{sched_get_priority_min(SCHED_RR)};
    pthread_attr_setschedparam(&attributes, &lowest);
    // Without this the policy is ignored, here and below, and the thread inherits its creator's.
    pthread_attr_setinheritsched(&attributes, PTHREAD_EXPLICIT_SCHED);

    pthread_t thread{};
    ThreadStart start = ThreadStart::kRoundRobin;
    int result = pthread_create(&thread, &attributes, body, arg);
    if (result == EPERM) {
        const sched_param none{0};
        pthread_attr_setschedpolicy(&attributes, SCHED_OTHER);
        pthread_attr_setschedparam(&attributes, &none);
        result = pthread_create(&thread, &attributes, body, arg);
        start = ThreadStart::kDefaultPolicy;
    }
    pthread_attr_destroy(&attributes);
    return result == 0 ? start : ThreadStart::kFailed;
}

}  // namespace platform
