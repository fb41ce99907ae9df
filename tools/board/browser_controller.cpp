// The browser controller: text commands of type 1, status requests of type 2.
#include "browser_controller.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "kbl_interprocess.h"

namespace board {

namespace {

constexpr int kQueueKey = 945602;
constexpr long kTextType = 1;
constexpr long kStatusType = 2;
constexpr std::int32_t kStatus = 1;  // answer to each request

/// Request and answer alike, native 32-bit integers.
struct StatusRecord {
    std::int32_t command;
    std::int32_t param[7];  ///< request: queue for the answer, 2; answer: nothing, the status
};

}  // namespace

BrowserController::BrowserController()
    : mReader(kQueueKey, [this](const Message& message, Fault fault) { Take(message, fault); }) {}

void BrowserController::Take(const Message& message, Fault fault) {
    BrowserOrder order;
    order.size = message.bytes.size();
    if (message.type == kTextType) order.text = message.bytes.c_str();
    StatusRecord record{};
    std::memcpy(&record, message.bytes.data(), std::min(message.bytes.size(), sizeof record));
    order.statusRequest = message.type == kStatusType && record.command == BROWSER_STATUS_REQ;
    mOrders.Add(order);
    if (!order.statusRequest) return;

    const auto reply = Queue::Find(record.param[0]);
    if (!reply || fault == Fault::kSilent) return;
    record.param[1] = kStatus;
    reply->Send({kStatusType, std::string(reinterpret_cast<const char*>(&record), sizeof record)});
}

}  // namespace board
