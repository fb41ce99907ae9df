/// The machine's limit of message queues, reached on purpose.
#pragma once

#include <sys/ipc.h>
#include <sys/msg.h>

#include <vector>

/// Creates queues up to the machine's limit; removes them in the destructor.
class QueueHog {
 public:
    QueueHog() {
        for (int id; (id = msgget(IPC_PRIVATE, 0600)) != -1;) mQueues.push_back(id);
    }
    ~QueueHog() {
        while (!mQueues.empty()) GiveOne();
    }
    QueueHog(const QueueHog&) = delete;
    QueueHog& operator=(const QueueHog&) = delete;

    /// Makes room for one queue.
    void GiveOne() {
        msgctl(mQueues.back(), IPC_RMID, nullptr);
        mQueues.pop_back();
    }

 private:
    std::vector<int> mQueues;
};
