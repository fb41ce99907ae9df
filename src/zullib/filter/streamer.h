/// One outgoing stream: UDP datagrams of transport packets to a multicast group.
#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>

#include "core/udpcom.h"
#include "psip/packet.h"

/// Collects the packets that the filter routes to it and sends a datagram when `mPacketSize` bytes wait. The datagrams
/// that one host buffer completes leave together, which costs less than half of sending each by itself, and from the
/// host's buffer, without a copy of ours: only what the next buffer completes is kept in the streamer's own. All
/// operations but the plain accessors run under the filter's lock.
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

    /// Takes a copy of bytes, and sends what is complete. A reconnect holds up the caller for 100 ms.
    /// \return bytes sent by this call, 0 if it only stored or dropped
    int Stream(const std::uint8_t* addData, int len);

    /// Takes bytes that stay where they are, and unchanged, until `Flush`; so long complete datagrams may wait.
    void Collect(const std::uint8_t* addData, int len) {
        if (!Activated()) return;
        if (len > mRoom) return Refuse(len);
        mRoom -= len;
        if (addData == mpNextByte) {
            mPieces[mPieceCount - 1].iov_len += static_cast<std::size_t>(len);
        } else {
            AddPiece(addData, len);
        }
        mpNextByte = addData + len;
        mDataCount += len;
        if (mDataCount >= mPacketSize) CompleteDatagram();
    }

    /// Sends the datagrams that wait, in order, and keeps a copy of the bytes of the next. A reconnect holds up the
    /// caller for 100 ms. \return bytes sent
    int Flush();

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

    static constexpr int kMostDatagrams = 64;  ///< that wait for `Flush`
    static constexpr int kMostPieces = 512;    ///< of them and of the datagram that is being filled

    void Refuse(int len);
    void AddPiece(const std::uint8_t* data, int len) {
        if (mPieceCount == kMostPieces) Flush();
        __builtin_prefetch(data +
                           64);  // the rest of a packet, of which the walk read only the head: the send will want it
        __builtin_prefetch(data + 128);
        mPieces[mPieceCount++] = {const_cast<std::uint8_t*>(data), static_cast<std::size_t>(len)};
    }
    void BeginDatagram();
    void CompleteDatagram();
    int SendWaiting();
    int SendCopied(const UdpSender::Datagram& datagram);
    int SendChunk(const std::uint8_t* data, int size);
    void Gather(const iovec* pieces, int count);
    void KeepRest();
    void Fail();

    // What a packet's way touches.
    std::atomic<bool> mActive{false};
    int mRoom = 0;  ///< bytes that the buffer could still keep; 0 until there is a destination
    const std::uint8_t* mpNextByte =
        nullptr;         ///< where bytes begin that lengthen the last piece; null where there is none
    int mDataCount = 0;  ///< bytes of the datagram that is being filled
    int mPacketSize = kDefaultPacketSize;
    int mPieceCount = 0;
    int mFirstPiece = 0;  ///< of the datagram that is being filled
    int mDatagrams = 0;   ///< that wait

    iovec mPieces[kMostPieces];  ///< bytes of the host, but the first may be of the buffer
    UdpSender::Datagram mWaiting[kMostDatagrams];
    std::unique_ptr<std::uint8_t[]> mpFilteredBuffer;  ///< what was kept of the datagram that is being filled
    std::uint8_t* mpCurrWritePtr = nullptr;            ///< behind it
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
