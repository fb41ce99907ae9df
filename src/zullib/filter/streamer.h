/// One outgoing stream: UDP datagrams of transport packets to a multicast group.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <list>
#include <memory>

#include "core/udpcom.h"
#include "filter/privatepat.h"

/// Collects the packets that the filter routes to it and sends a datagram for every `mPacketSize` bytes. The datagrams
/// that one host buffer completes are sent in one batch: runs of packets directly from the host's buffer, scattered
/// packets from a copy, if the buffer has room for it. The bytes of the datagram that the next buffer completes are
/// copied. All operations but the plain accessors run under the filter's lock.
class Streamer {
 public:
    /// State of a stream, for the status reply.
    struct Status {
        bool active;
        int id;
        char address[16];
        int port;
        std::list<std::uint16_t> programs;
    };

    static constexpr int kMinPacketSize = 1316;       ///< bytes, 7 packets
    static constexpr int kMaxPacketSize = 32712;      ///< bytes, 174 packets
    static constexpr int kDefaultPacketSize = 32580;  ///< bytes, for a size out of that range
    static constexpr int kMaxChunk = 32768;           ///< bytes of one send

    /// \param bufferSize  bytes of a datagram in progress that can be kept
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

    /// Copies bytes, and sends the datagrams that are complete. A reconnect blocks the caller for 100 ms.
    /// \return bytes sent by this call, 0 if it only stored or dropped
    int Stream(const std::uint8_t* addData, int len);

    /// Adds bytes without copying them. REQUIRES: they stay in place, unchanged, until `Flush`.
    void Collect(const std::uint8_t* addData, int len) {
        if (!Activated()) return;
        if (len > mRoom) return Refuse(len);
        mRoom -= len;
        // The walk read only the head of the packet; the send will read the rest.
        __builtin_prefetch(addData + 64);
        __builtin_prefetch(addData + 128);
        if (addData == mpNextByte) {
            mPieces[mPieceCount - 1].iov_len += static_cast<std::size_t>(len);
        } else {
            AddPiece(addData, len);
        }
        mpNextByte = addData + len;
        mDataCount += len;
        if (mDataCount >= mPacketSize) CompleteDatagram();
    }

    /// Sends pending datagrams in order, and copies the bytes of the next one. A reconnect blocks for 100 ms.
    /// \return bytes sent
    int Flush();

    /// Adds a PID to the list, and its programme once; does nothing for programme 0.
    void AddProgramToList(std::uint16_t programId, std::uint16_t pid);

    /// Sets the send threshold, rounded down to whole packets; below 188 each call of `Stream` sends.
    /// \return true
    bool SetPacketSize(int packetSize);
    int PacketSize() const { return mPacketSize; }

    /// Writes to a file in place of the network, or to the network again with null. \param file  not owned
    void SetOutputFile(FILE* file) { mpOutputFile = file; }

    /// The stream's own PAT, for the PAT analysis.
    PrivatePat& OwnPat() { return mPrivatePat; }
    /// Sends the stream's own PAT. \return bytes sent
    int SendPrivatePat();

 private:
    static constexpr int kMostDatagrams = 64;  ///< pending
    static constexpr int kMostPieces = 512;    ///< of the pending datagrams and the one in progress

    void Refuse(int len);
    void AddPiece(const std::uint8_t* data, int len) {
        if (mPieceCount == kMostPieces) Flush();
        mPieces[mPieceCount++] = {const_cast<std::uint8_t*>(data), static_cast<std::size_t>(len)};
    }
    void BeginDatagram();
    void CompleteDatagram();
    int SendWaiting();
    int CountBatch(int first) const;
    int SendCopied(const UdpSender::Datagram& datagram);
    int SendChunk(const std::uint8_t* data, int size);
    static std::uint8_t* Gather(std::uint8_t* to, const iovec* pieces, int count);
    void JoinPieces(UdpSender::Datagram* datagrams, int count);
    void KeepRest();
    void Fail();

    // Used for every packet.
    std::atomic<bool> mActive{false};
    int mRoom = 0;  ///< bytes that mpFilteredBuffer could still keep; 0 until there is a destination
    const std::uint8_t* mpNextByte = nullptr;  ///< end of the last piece, which bytes from there extend; or null
    int mDataCount = 0;                        ///< bytes of the datagram in progress
    int mPacketSize = kDefaultPacketSize;
    int mPieceCount = 0;
    int mFirstPiece = 0;  ///< of the datagram in progress
    int mDatagrams = 0;   ///< pending

    iovec mPieces[kMostPieces];  ///< in the host's buffer; the first, and joined ones, in mpFilteredBuffer
    UdpSender::Datagram mWaiting[kMostDatagrams];
    std::unique_ptr<std::uint8_t[]> mpFilteredBuffer;  ///< kept bytes of the datagram in progress; copies to be sent
    std::uint8_t* mpCurrWritePtr = nullptr;            ///< end of the kept bytes, between flushes
    int mBufferSize = 0;
    std::uint16_t mMulticastPort = 0;
    char mMulticastIp[16] = "";
    std::unique_ptr<UdpSender> mpUdp;
    bool mMulticastChanged = false;
    int mId = 0;
    int mTotalPids = 0;
    FILE* mpOutputFile = nullptr;
    PrivatePat mPrivatePat;
    std::list<std::uint16_t> mProgramList;
    std::list<std::uint16_t> mPidList;
};
