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

class Player {
 public:
    /// Receivers of what the player finds.
    struct Duties {
        std::function<void(std::span<std::uint8_t>)> section;  ///< called with PSI sections of the stream
        std::function<void(const std::string&)> item;          ///< called with what it plays, "" when it stops
    };

    /// \param block  where it reports programme, types and layers
    Player(StatusBlock& block, Duties duties);

    /// The orders as received, zero-filled.
    Journal<sMSG_COMMON_FORMAT>& Orders() { return mOrders; }

    /// kSilent accepts orders and executes none, kFull accepts none.
    void Set(Fault fault) { mReader.Set(fault); }

    /// \return what is shown now
    Screen Shown() const;

 private:
    void Take(const Message& message, Fault fault);
    void Obey(const sMSG_COMMON_FORMAT& record);
    void Play(const sSTART_STREAM_DISPLAY& order);
    void StopVideo();
    void TellStreams(const ProgrammeStreams& streams);

    StatusBlock& mBlock;
    const Duties mDuties;
    Journal<sMSG_COMMON_FORMAT> mOrders;
    mutable std::mutex mMutex;
    Screen mScreen;
    std::shared_ptr<StreamTap> mTap;  ///< changed only on the reader's thread
    QueueReader mReader;              ///< last: its thread uses all of the above
};

}  // namespace board
