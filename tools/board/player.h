/// The board's player: takes the module's orders from queue 1234, plays multicast streams, and keeps the screen.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "journal.h"
#include "kbl_interprocess.h"
#include "queue.h"
#include "screen.h"
#include "status_block.h"
#include "stream_tap.h"

namespace board {

/// One order, as received.
struct PlayerOrder {
    std::int32_t command = 0;
    sMSG_COMMON_FORMAT record{};  ///< the command number and its parameters, zero-filled
};

class Player {
 public:
    /// Receivers of what the player finds.
    struct Duties {
        std::function<void(std::span<std::uint8_t>)> section;  ///< called with PSI sections of the stream
        std::function<void(const std::string&)> item;          ///< called with what it plays, "" when it stops
    };

    /// \param block  where it reports programme, types and layers
    Player(StatusBlock& block, Duties duties);

    Journal<PlayerOrder>& Orders() { return mOrders; }

    /// kSilent accepts orders and executes none, kFull accepts none.
    void Set(Fault fault) { mReader.Set(fault); }

    /// \return what is shown now
    Screen Shown() const;

 private:
    void Take(const Message& message, Fault fault);
    void Obey(const sMSG_COMMON_FORMAT& record);
    void Play(const sSTART_STREAM_DISPLAY& order);
    void Switch(const sCMMD_DBG& order);
    void StopVideo();
    void ShowFile(Layer& layer, const sSTART_FILE_PLAY& order);
    void TellStreams(const ProgrammeStreams& streams);

    StatusBlock& mBlock;
    const Duties mDuties;
    Journal<PlayerOrder> mOrders;
    mutable std::mutex mMutex;
    Screen mScreen;
    std::shared_ptr<StreamTap> mTap;  ///< changed only on the reader's thread
    QueueReader mReader;              ///< last: its thread uses all of the above
};

}  // namespace board
