/// One outgoing stream: UDP datagrams of transport packets to a multicast group.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <list>
#include <memory>

#include "udpcom.h"

/// Collects the packets that the filter routes to it and sends a datagram when `mPacketSize` bytes wait. The filter lets the
/// datagrams that one host buffer completes leave together, which costs a third of sending each by itself.
/// All operations but the plain accessors run under the filter's lock.
class Streamer {
   public:
    static constexpr int kMinPacketSize = 1316;       ///< bytes, 7 packets
    static constexpr int kMaxPacketSize = 32712;      ///< bytes, 174 packets
    static constexpr int kDefaultPacketSize = 32580;  ///< bytes, for a size out of that range
    static constexpr int kMaxChunk = 32768;           ///< bytes of one send
    static constexpr int kPrivatePatSize = 1152;      ///< bytes, room for six packets

    /// \param bufferSize  bytes that can wait
    /// \param packetSize  send threshold in bytes, kMinPacketSize to kMaxPacketSize
    Streamer(int bufferSize, int packetSize);
    ~Streamer();
    Streamer(const Streamer&) = delete;
    Streamer& operator=(const Streamer&) = delete;

    /// Sets the destination; the socket is connected by the next send.
    /// \param port  host order
    /// \param ip    dotted address, at most 15 characters are taken
    /// \return true
    bool StreamSet(std::uint16_t port, const char* ip);

    int IdGet() const { return mId; }
    int IdSet(int id) { return mId = id; }
    void Activated(bool active) { mActive.store(active, std::memory_order_relaxed); }
    bool Activated() const { return mActive.load(std::memory_order_relaxed); }
    int TotalPids() const { return mTotalPids; }
    const char* MulticastIp() const { return mMulticastIp; }
    int MulticastPort() const { return mMulticastPort; }
    const std::list<std::uint16_t>& ProgramList() const { return mProgramList; }
    const std::list<std::uint16_t>& PidList() const { return mPidList; }

    /// Takes bytes, and sends when the threshold is reached. A reconnect holds up the caller for 100 ms.
    /// \return bytes sent by this call, 0 if it only stored or dropped
    int Stream(const std::uint8_t* addData, int len);

    /// Takes bytes as `Stream` does, but lets datagrams wait for `Flush`, as long as the buffer has room for them.
    void Collect(const std::uint8_t* addData, int len) {
        if (!Activated()) return;
        if (len > mRoom && !MakeRoom(len)) return;
        if (len == kTransportPacket) {
            std::memcpy(mpCurrWritePtr, addData, kTransportPacket);  // a size that the compiler knows costs half
        } else {
            std::memcpy(mpCurrWritePtr, addData, static_cast<std::size_t>(len));
        }
        mpCurrWritePtr += len;
        mRoom -= len;
        mDataCount += len;
        if (mDataCount >= mPacketSize) CompleteDatagram();
    }

    /// Sends the datagrams that wait, in order. A reconnect holds up the caller for 100 ms.
    /// \return bytes sent
    int Flush() { return mDatagrams == 0 ? 0 : SendWaiting(); }

    /// Notes a PID, and its programme if it isn't noted yet; programme 0 notes nothing.
    void AddProgramToList(std::uint16_t programId, std::uint16_t pid);

    /// Sets the send threshold, rounded down to whole packets; below 188 each call of `Stream` sends.
    /// \return true
    bool SetPacketSize(int packetSize);
    int PacketSize() const { return mPacketSize; }

    /// Keeps the stream's own PAT: a section at first, packets when it is done.
    /// \param len  0 to kPrivatePatSize; a longer one isn't taken
    void SetPrivatePat(const std::uint8_t* data, int len);

   private:
    friend class TsFilter;  // builds the private PAT in place

    static constexpr int kTransportPacket = 188;  ///< bytes
    static constexpr int kMostDatagrams = 64;     ///< that wait for `Flush`

    bool MakeRoom(int len);
    void CompleteDatagram();
    int SendWaiting();
    int SendDatagram(const std::uint8_t* data, int size);
    int SendChunk(const std::uint8_t* data, int size);
    void Fail();

    // What a packet's way touches.
    std::atomic<bool> mActive{false};
    int mRoom = 0;                           ///< bytes left in the buffer; 0 until there is a destination
    std::uint8_t* mpCurrWritePtr = nullptr;  ///< behind the datagrams that wait and the bytes of the next
    int mDataCount = 0;                      ///< bytes of the datagram that is being filled
    int mPacketSize = kDefaultPacketSize;

    int mDatagrams = 0;                   ///< that wait at the buffer's start
    int mSizes[kMostDatagrams] = {};      ///< theirs, in bytes
    std::unique_ptr<std::uint8_t[]> mpFilteredBuffer;
    int mBufferSize = 0;
    std::uint16_t mMulticastPort = 0;
    char mMulticastIp[16] = "";
    std::unique_ptr<UdpSender> mpUdp;
    bool mMulticastChanged = false;
    int mId = 0;
    int mTotalPids = 0;
    std::unique_ptr<std::uint8_t[]> mpPrivatePatBuffer;
    int mPrivatePatBufferLen = 0;
    int mPrivatePatContinuity = 0;
    bool mPrivatePatCrcInvalid = false;
    std::list<std::uint16_t> mProgramList;
    std::list<std::uint16_t> mPidList;
};
