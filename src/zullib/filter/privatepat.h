/// The PAT that a stream sends in place of the broadcast's.
#pragma once

#include <array>

#include "bytes.h"
#include "psip/packet.h"

/// The PAT of one stream: the broadcast's, in which the programmes that the stream doesn't carry are blanked. Built
/// from a whole section by Begin, Blank and Finish; sent by Next at the rate of the broadcast's.
class PrivatePat {
 public:
    static constexpr std::size_t kMaxSection = kSectionHead + kMaxPsiSectionLength;  ///< bytes

    /// Starts from a copy of the broadcast's PAT.
    /// \param section  whole, 8 to kMaxSection bytes; more are truncated
    void Begin(Bytes section);

    /// Sets program_number of an entry to 0; its place and its PID stay.
    /// \param offset  of the entry in the section
    void Blank(std::size_t offset);

    /// Ends the edit: updates the CRC_32 once an entry was blanked, and cuts the section into packets.
    /// \param continuity  counter of the packet before, shared by the streams of a filter
    void Finish(int& continuity);

    /// \return the packets, the first one with the next value of the stream's own continuity counter; valid until the
    /// next call. Empty before the first Finish
    Bytes Next();

 private:
    static constexpr std::size_t kMaxPackets = 6;  ///< for kMaxSection bytes

    std::array<std::uint8_t, kMaxSection> mSection{};
    std::size_t mSectionSize = 0;
    bool mEdited = false;  ///< an entry was blanked, in this section or in one before
    std::array<std::uint8_t, kMaxPackets * kPacketSize> mPackets{};
    std::size_t mPacketsSize = 0;
    int mContinuity = 0;
};
