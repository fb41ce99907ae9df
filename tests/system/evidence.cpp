// Multicast streams: how they are received, and how they are compared with what went in.
#include "evidence.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include "common/psi.h"
#include "common/ts_packet.h"
#include "mux/description_json.h"
#include "mux/multiplexer.h"

namespace board {

namespace {

constexpr int kMostTries = 10;
constexpr int kReceiveBuffer = 16 << 20;

std::vector<PatEntries> ReadPats(const std::vector<Packet>& packets) {
    std::vector<PatEntries> pats;
    common::SectionGatherer gatherer;
    for (const Packet& packet : packets) {
        gatherer.Add(common::PayloadOf(packet), common::UnitStarts(packet), [&](Bytes section) {
            const auto pat = common::ParsePat(section);
            if (!pat || !common::CrcIsRight(section)) return;
            pats.emplace_back();
            for (const auto& entry : pat->entries) pats.back().emplace_back(entry.programme, entry.pid);
        });
    }
    return pats;
}

/// \return whether `part` is `whole`, played over and over, from index `start` on
bool Continues(const std::vector<Packet>& part, const std::vector<Packet>& whole, std::size_t start) {
    return std::ranges::all_of(part, [&](const Packet& packet) { return packet == whole[start++ % whole.size()]; });
}

}  // namespace

PacketsByPid SortPackets(const std::vector<std::uint8_t>& stream) {
    PacketsByPid pids;
    for (std::size_t at = 0; at + common::kTsPacketSize <= stream.size(); at += common::kTsPacketSize) {
        if (stream[at] != 0x47) throw std::runtime_error("no packet begins at byte " + std::to_string(at));
        const Bytes packet(&stream[at], common::kTsPacketSize);
        pids[common::PidOf(packet)].emplace_back(packet.begin(), packet.end());
    }
    return pids;
}

GroupListener::GroupListener(const std::string& group, std::uint16_t port)
    : mSocket(zulctl::StreamSocket({*zulctl::ParseAddress(group), port}, 0, kReceiveBuffer)) {}

std::vector<zulctl::Datagram> GroupListener::Gather(std::size_t bytes, Milliseconds limit) {
    while (mSocket.Take()) continue;  // what came before
    std::vector<zulctl::Datagram> datagrams;
    for (std::size_t size = 0; size < bytes;) {
        auto datagram = mSocket.Next(zulctl::Clock::now() + limit);
        if (!datagram) break;
        size += datagram->bytes.size();
        datagrams.push_back(std::move(*datagram));
    }
    return datagrams;
}

Evidence GroupListener::Collect(std::size_t bytes) {
    std::vector<zulctl::Datagram> datagrams;
    for (int turn = 0; turn < kMostTries; ++turn) {
        datagrams = Gather(bytes, kPatience);
        if (datagrams.empty() || datagrams.front().lost == datagrams.back().lost) break;
    }
    Evidence evidence;
    zulctl::StreamProbe probe;
    std::vector<std::uint8_t> stream;
    for (const auto& datagram : datagrams) {
        const std::vector<std::uint8_t> content(datagram.bytes.begin(), datagram.bytes.end());
        probe.Add(content, datagram.arrived);
        evidence.datagramSizes.insert(content.size());
        stream.insert(stream.end(), content.begin(), content.end());
    }
    evidence.report = probe.Report();
    evidence.pids = SortPackets(stream);
    evidence.pats = ReadPats(evidence.pids[0]);
    return evidence;
}

std::string Difference(const PacketsByPid& received, const std::vector<std::uint8_t>& played) {
    const PacketsByPid source = SortPackets(played);
    for (const auto& [pid, packets] : received) {
        if (pid == 0) continue;
        const auto found = source.find(pid);
        if (found == source.end()) return "PID " + std::to_string(pid) + " isn't in the stream that was played";
        bool same = false;
        for (std::size_t start = 0; start < found->second.size() && !same; ++start) {
            same = Continues(packets, found->second, start);
        }
        if (!same) return "PID " + std::to_string(pid) + " lacks packets, or has others";
    }
    return "";
}

mux::Description SmallMultiplex() { return mux::LoadDescription(ZUL_EXAMPLES "/small.json"); }

std::vector<std::uint8_t> WriteStream(const std::string& file, const mux::Description& description,
                                      std::uint32_t milliseconds) {
    const auto stream = mux::MakeMultiplex(description, {.milliseconds = milliseconds});
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(stream.data()), static_cast<std::streamsize>(stream.size()));
    return stream;
}

std::set<int> PidsOf(const mux::Programme& programme) {
    std::set<int> pids{programme.pmtPid};
    if (programme.video) pids.insert(programme.video->pid);
    for (const auto& audio : programme.audio) pids.insert(audio.pid);
    return pids;
}

}  // namespace board
