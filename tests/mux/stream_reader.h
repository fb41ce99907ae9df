/// A description for tests of whole streams, and a reader of counters and sections.
#pragma once

#include <bitstream/mpeg/psi/psi.h>
#include <bitstream/mpeg/ts.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "mux/description.h"
#include "mux/packetizer.h"

/// Programmes from 1 on, each with pictures and sound. The stream starts with a window of the guide.
inline mux::Description MakeDescription(unsigned rate, std::uint16_t count) {
    mux::Description description;
    description.rate = rate;
    description.start = 1'456'002'018;
    for (std::uint16_t number = 1; number <= count; ++number) {
        const auto pid = static_cast<std::uint16_t>(0x20 + 16 * number);
        description.programmes.push_back(
            {.number = number,
             .pmtPid = pid,
             .name = "CH" + std::to_string(number),
             .major = number,
             .minor = 1,
             .sourceId = static_cast<std::uint16_t>(100 + number),
             .video = mux::Video{.pid = static_cast<std::uint16_t>(pid + 1), .bitRate = 900'000},
             .audio = {{.pid = static_cast<std::uint16_t>(pid + 4)}}});
    }
    return description;
}

/// A section and the packet that its first byte was in.
struct SeenSection {
    std::size_t packet;
    mux::Section bytes;
};

struct SeenPid {
    std::size_t payloads = 0;  ///< packets with a payload
    int lastCounter = -1;
    std::vector<SeenSection> sections;
    std::uint8_t* open = nullptr;  ///< partial section
    std::uint16_t openSize = 0;
    std::size_t openAt = 0;  ///< packet of its first byte
};

class StreamReader {
 public:
    /// \param sectionPids  those whose payload is sections, which may cross the seam of a repeated stream
    StreamReader(std::span<const std::uint8_t> stream, const std::vector<std::uint16_t>& sectionPids) {
        for (; (mPackets + 1) * mux::kPacketSize <= stream.size(); ++mPackets) {
            const auto bytes = stream.subspan(mPackets * mux::kPacketSize, mux::kPacketSize);
            const std::uint8_t* const packet = bytes.data();
            if (!ts_validate(packet)) mFaults.push_back("no sync in packet " + std::to_string(mPackets));
            const std::uint16_t pid = ts_get_pid(packet);
            SeenPid& seen = mPids[pid];
            if (pid == mux::kPidNull) continue;
            const bool payload = ts_has_payload(packet);
            const int next = seen.lastCounter < 0 ? (payload ? 0 : 15) : (seen.lastCounter + (payload ? 1 : 0)) & 15;
            seen.lastCounter = ts_get_cc(packet);
            if (seen.lastCounter != next) {
                mFaults.push_back("PID " + std::to_string(pid) + ": counter " + std::to_string(seen.lastCounter) +
                                  " in packet " + std::to_string(mPackets) + ", " + std::to_string(next) + " was next");
            }
            if (!payload) continue;
            ++seen.payloads;
            if (std::find(sectionPids.begin(), sectionPids.end(), pid) == sectionPids.end()) continue;
            TakePayload(seen, bytes.subspan(ts_has_adaptation(packet) ? 5u + ts_get_adaptation(packet) : 4u),
                        ts_get_unitstart(packet));
        }
        for (auto& [pid, seen] : mPids) psi_assemble_reset(&seen.open, &seen.openSize);
    }

    const SeenPid& Pid(std::uint16_t pid) { return mPids[pid]; }
    const std::map<std::uint16_t, SeenPid>& Pids() const { return mPids; }
    std::size_t Packets() const { return mPackets; }

    /// A line for each fault: lost sync, wrong counter, partial section, wrong CRC_32.
    const std::vector<std::string>& Faults() const { return mFaults; }

 private:
    std::string NotWhole() const { return "a section wasn't whole at packet " + std::to_string(mPackets); }

    void TakePayload(SeenPid& seen, std::span<const std::uint8_t> payload, bool start) {
        if (start) {
            const std::size_t pointer = payload[0];
            if (seen.open != nullptr) TakeBytes(seen, payload.subspan(1, pointer));
            if (seen.open != nullptr) mFaults.push_back(NotWhole());
            psi_assemble_reset(&seen.open, &seen.openSize);
            payload = payload.subspan(1 + pointer);
        }
        if (start || seen.open != nullptr) TakeBytes(seen, payload);
    }

    void TakeBytes(SeenPid& seen, std::span<const std::uint8_t> bytes) {
        const std::uint8_t* at = bytes.data();
        for (auto left = static_cast<std::uint8_t>(bytes.size()); left > 0;) {
            const bool stuffing = seen.open == nullptr && *at == 0xFF;
            if (seen.open == nullptr) seen.openAt = mPackets;
            std::uint8_t* const section = psi_assemble_payload(&seen.open, &seen.openSize, &at, &left);
            if (section == nullptr && seen.open == nullptr && !stuffing) mFaults.push_back(NotWhole() + ", too long");
            if (section == nullptr) continue;
            if (!psi_check_crc(section)) mFaults.push_back("wrong CRC of table " + std::to_string(section[0]));
            seen.sections.push_back({seen.openAt, {section, section + psi_get_length(section) + PSI_HEADER_SIZE}});
            free(section);
        }
    }

    std::map<std::uint16_t, SeenPid> mPids;
    std::vector<std::string> mFaults;
    std::size_t mPackets = 0;
};
