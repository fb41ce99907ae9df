/// The board's browser controller: takes keys and status requests from queue 945602.
#pragma once

#include <mutex>
#include <string>

#include "fault.h"
#include "journal.h"
#include "queue.h"

namespace board {

/// One message to the controller, as received.
struct BrowserOrder {
    std::string text;  ///< "-k016" for a key; empty for a status request
    bool statusRequest = false;
    std::size_t size = 0;  ///< bytes of the message
};

class BrowserController {
 public:
    BrowserController();

    Journal<BrowserOrder>& Orders() { return mOrders; }

    /// Sets the answer to status requests, initially 1.
    void SetStatus(int status);

    /// kSilent answers no status request, kFull accepts nothing.
    void Set(Fault fault);

 private:
    void Take(const Message& message);

    Journal<BrowserOrder> mOrders;
    std::mutex mMutex;
    int mStatus = 1;
    Fault mFault = Fault::kNone;
    QueueReader mReader;  ///< last: its thread uses all of the above
};

}  // namespace board
