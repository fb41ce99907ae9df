/// A transport stream taken apart for the tests: packets, counters, sections.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "mux/packetizer.h"

/// A section and the packet that its first byte was in.
struct SeenSection {
    std::size_t packet;
    mux::Section bytes;
};

struct SeenPid {
    std::size_t packets = 0;
    std::size_t payloads = 0;  ///< packets with a payload
    int lastCounter = -1;
    std::vector<std::size_t> at;  ///< index of each packet
    std::vector<SeenSection> sections;
};

class StreamReader {
 public:
    /// \param sectionPids  those whose payload is sections; they may lie across the seam of a stream read twice
    StreamReader(std::span<const std::uint8_t> stream, const std::vector<std::uint16_t>& sectionPids);

    const SeenPid& Pid(std::uint16_t pid) { return mPids[pid]; }
    const std::map<std::uint16_t, SeenPid>& Pids() const { return mPids; }
    std::size_t Packets() const { return mPackets; }

    /// Each fault as a line: lost sync, counter out of step, a section whose CRC_32 is wrong.
    const std::vector<std::string>& Faults() const { return mFaults; }

 private:
    void TakePayload(SeenPid& seen, std::span<const std::uint8_t> payload, bool start);
    void TakeBytes(SeenPid& seen, mux::Octets& open, std::span<const std::uint8_t> bytes);

    std::map<std::uint16_t, SeenPid> mPids;
    std::map<const SeenPid*, mux::Octets> mOpen;    ///< section in progress
    std::map<const SeenPid*, std::size_t> mOpenAt;  ///< packet of its first byte
    std::vector<std::string> mFaults;
    std::size_t mPackets = 0;
};
