/// The peer that gets the progress of a scan and the replies to queries.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "core/udpcom.h"
#include "platform/mutex.h"

/// The first client that asked for messages; it stays the peer until it is removed.
class MessagePeer {
 public:
    /// Makes the last client of `pUdp` the peer if there is none; null removes the peer.
    void Set(UdpServer* pUdp) EXCLUDES(mMutex);

    /// Sends a text as one datagram, if there is a peer.
    void Send(std::string_view text) EXCLUDES(mMutex);

 private:
    platform::Mutex mMutex;  ///< held over a send, so that the sender can't be destroyed meanwhile
    std::unique_ptr<UdpSender> mpUdp GUARDED_BY(mMutex);
};
