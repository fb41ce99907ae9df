/// The requests to a process of the simulated board, in order, for tests to query and wait on.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace board {

using Milliseconds = std::chrono::milliseconds;

/// Longest wait of a test for something expected.
inline constexpr Milliseconds kPatience{20'000};

/// A list that threads append to, read, wait on and watch. Thread-safe.
template <typename Entry>
class Journal {
 public:
    void Add(Entry entry) {
        std::function<void(const Entry&)> watcher;
        {
            const std::lock_guard lock(mMutex);
            mEntries.push_back(entry);
            watcher = mWatcher;
        }
        mChanged.notify_all();
        if (watcher) watcher(entry);
    }

    /// \return all entries since the start or the last Clear
    std::vector<Entry> All() const {
        const std::lock_guard lock(mMutex);
        return mEntries;
    }

    void Clear() {
        const std::lock_guard lock(mMutex);
        mEntries.clear();
    }

    /// Waits until an entry satisfies `wanted`; existing entries count.
    /// \return the oldest such entry, or nothing after `limit`
    template <typename Predicate>
    std::optional<Entry> WaitFor(Predicate wanted, Milliseconds limit = kPatience) const {
        std::unique_lock lock(mMutex);
        std::optional<Entry> found;
        std::size_t next = 0;
        mChanged.wait_for(lock, limit, [&] {
            if (next > mEntries.size()) next = 0;  // cleared in the meantime
            for (; next < mEntries.size() && !found; ++next) {
                if (wanted(mEntries[next])) found = mEntries[next];
            }
            return found.has_value();
        });
        return found;
    }

    /// Waits until there are `count` entries or more. \return all entries then, or after `limit`
    std::vector<Entry> WaitForCount(std::size_t count, Milliseconds limit = kPatience) const {
        std::unique_lock lock(mMutex);
        mChanged.wait_for(lock, limit, [&] { return mEntries.size() >= count; });
        return mEntries;
    }

    /// Calls `watcher` with each future entry, on the thread that adds it.
    void Watch(std::function<void(const Entry&)> watcher) {
        const std::lock_guard lock(mMutex);
        mWatcher = std::move(watcher);
    }

 private:
    mutable std::mutex mMutex;
    mutable std::condition_variable mChanged;
    std::vector<Entry> mEntries;
    std::function<void(const Entry&)> mWatcher;
};

}  // namespace board
