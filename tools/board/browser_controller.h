/// The board's browser controller: takes keys and status requests from queue 945602.
#pragma once

#include <string>

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

    /// kSilent answers no status request, kFull accepts nothing.
    void Set(Fault fault) { mReader.Set(fault); }

 private:
    void Take(const Message& message, Fault fault);

    Journal<BrowserOrder> mOrders;
    QueueReader mReader;  ///< last: its thread uses all of the above
};

}  // namespace board
