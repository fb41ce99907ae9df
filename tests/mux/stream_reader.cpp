// A transport stream taken apart for the tests.
#include "stream_reader.h"

#include <bitstream/mpeg/psi/psi.h>
#include <bitstream/mpeg/ts.h>

#include <algorithm>

StreamReader::StreamReader(std::span<const std::uint8_t> stream, const std::vector<std::uint16_t>& sectionPids) {
    for (; (mPackets + 1) * mux::kPacketSize <= stream.size(); ++mPackets) {
        const auto bytes = stream.subspan(mPackets * mux::kPacketSize, mux::kPacketSize);
        const std::uint8_t* const packet = bytes.data();
        if (!ts_validate(packet)) mFaults.push_back("no sync in packet " + std::to_string(mPackets));
        const std::uint16_t pid = ts_get_pid(packet);
        SeenPid& seen = mPids[pid];
        ++seen.packets;
        seen.at.push_back(mPackets);
        if (pid == mux::kPidNull) continue;
        const bool payload = ts_has_payload(packet);
        const int expected = seen.lastCounter < 0 ? (payload ? 0 : 15) : (seen.lastCounter + (payload ? 1 : 0)) & 15;
        if (ts_get_cc(packet) != expected) {
            mFaults.push_back("PID " + std::to_string(pid) + ": counter " + std::to_string(ts_get_cc(packet)) +
                              " in packet " + std::to_string(mPackets) + ", " + std::to_string(expected) + " was next");
        }
        seen.lastCounter = ts_get_cc(packet);
        if (!payload) continue;
        ++seen.payloads;
        if (std::find(sectionPids.begin(), sectionPids.end(), pid) == sectionPids.end()) continue;
        TakePayload(seen, bytes.subspan(ts_has_adaptation(packet) ? 5u + ts_get_adaptation(packet) : 4u),
                    ts_get_unitstart(packet));
    }
}

void StreamReader::TakePayload(SeenPid& seen, std::span<const std::uint8_t> payload, bool start) {
    mux::Octets& open = mOpen[&seen];
    if (!start) {
        if (!open.empty()) TakeBytes(seen, open, payload);
        return;
    }
    const std::size_t pointer = payload[0];
    payload = payload.subspan(1);
    if (!open.empty()) TakeBytes(seen, open, payload.first(pointer));
    if (!open.empty()) mFaults.push_back("a section wasn't whole at packet " + std::to_string(mPackets));
    open.clear();
    TakeBytes(seen, open, payload.subspan(pointer));
}

void StreamReader::TakeBytes(SeenPid& seen, mux::Octets& open, std::span<const std::uint8_t> bytes) {
    for (const std::uint8_t byte : bytes) {
        if (open.empty()) {
            if (byte == 0xFF) return;  // stuffing
            mOpenAt[&seen] = mPackets;
        }
        open.push_back(byte);
        if (open.size() < 3 || open.size() < psi_get_length(open.data()) + 3u) continue;
        if (!psi_check_crc(open.data())) mFaults.push_back("wrong CRC of table " + std::to_string(open[0]));
        seen.sections.push_back({mOpenAt[&seen], open});
        open.clear();
    }
}
