/// The player's command queue, as the player reads it.
#pragma once

#include <sys/msg.h>

#include <cstring>
#include <vector>

#include "kbl_interprocess.h"

/// Takes the orders that the module sends.
class PlayerQueue {
 public:
    PlayerQueue() : mId(msgget(1234, IPC_CREAT | 0666)) {}

    /// \return the pending orders, in order
    std::vector<sMSG_COMMON_FORMAT> Take() const {
        std::vector<sMSG_COMMON_FORMAT> orders;
        struct {
            long type;
            char text[400];
        } message{};
        while (msgrcv(mId, &message, sizeof message.text, 2, IPC_NOWAIT) >= 0) {
            std::memcpy(&orders.emplace_back(), message.text, sizeof(sMSG_COMMON_FORMAT));
            std::memset(&message, 0, sizeof message);
        }
        return orders;
    }

    /// \return the numbers of the pending orders, in order
    std::vector<int> TakeNumbers() const {
        std::vector<int> numbers;
        for (const sMSG_COMMON_FORMAT& order : Take()) numbers.push_back(order.cmmd.cmmdId);
        return numbers;
    }

 private:
    int mId;
};

/// Centre, size, alpha, asp and mode of a layer, for comparing.
inline std::vector<int> Geometry(const sKBL_LAYER_INFO& layer) {
    return {layer.centerX, layer.centerY, layer.width, layer.height, layer.alpha, layer.asp, layer.xyMode};
}
