/// A mutex that Clang's thread-safety analysis understands, and the annotation macros.
#pragma once

#include <pthread.h>

#include <new>

#if defined(__clang__)
#define ZUL_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define ZUL_THREAD_ANNOTATION(x)
#endif

#define CAPABILITY(x) ZUL_THREAD_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY ZUL_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(x) ZUL_THREAD_ANNOTATION(guarded_by(x))
#define PT_GUARDED_BY(x) ZUL_THREAD_ANNOTATION(pt_guarded_by(x))
#define REQUIRES(...) ZUL_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) ZUL_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) ZUL_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) ZUL_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define RETURN_CAPABILITY(x) ZUL_THREAD_ANNOTATION(lock_returned(x))
#define NO_THREAD_SAFETY_ANALYSIS ZUL_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace platform {

/// A plain, non-recursive mutex with default attributes.
class CAPABILITY("mutex") Mutex {
 public:
    Mutex() : mInitResult(pthread_mutex_init(&mHandle, nullptr)) {}
    ~Mutex() { pthread_mutex_destroy(&mHandle); }
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void Lock() ACQUIRE() { pthread_mutex_lock(&mHandle); }
    void Unlock() RELEASE() { pthread_mutex_unlock(&mHandle); }

    /// \return result of the initialisation: 0, or an error number
    int InitResult() const { return mInitResult; }

 private:
    pthread_mutex_t mHandle;
    int mInitResult;
};

/// A mutex for static storage. It needs no heap, and is never destroyed: detached threads may use it until the process
/// ends.
class StaticMutex {
 public:
    Mutex& Get() { return *mMutex; }

 private:
    alignas(Mutex) unsigned char mRoom[sizeof(Mutex)];
    Mutex* mMutex = new (mRoom) Mutex;
};

/// A mutex that serves its waiters: a thread that releases it and takes it again lets a waiting one pass first.
class CAPABILITY("mutex") FairMutex {
 public:
    void Lock() ACQUIRE() NO_THREAD_SAFETY_ANALYSIS {
        mTurn.Lock();
        mMutex.Lock();
        mTurn.Unlock();
    }
    void Unlock() RELEASE() NO_THREAD_SAFETY_ANALYSIS { mMutex.Unlock(); }

 private:
    Mutex mTurn;  ///< held by the thread that waits for mMutex
    Mutex mMutex;
};

/// Holds a mutex for the life of a scope.
template <typename Lockable>
class SCOPED_CAPABILITY MutexLock {
 public:
    explicit MutexLock(Lockable& mutex) ACQUIRE(mutex) : mMutex(mutex) { mMutex.Lock(); }
    ~MutexLock() RELEASE() { mMutex.Unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

 private:
    Lockable& mMutex;
};

}  // namespace platform
