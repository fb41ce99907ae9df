// Splits datagrams into packets; counts packets and reads tables.
#include "stream/probe.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <string_view>

#include "output/escape.h"

namespace zulctl {

using namespace common;

namespace {

double Seconds(std::chrono::steady_clock::duration span) { return std::chrono::duration<double>(span).count(); }

std::size_t HashOf(Bytes bytes) {
    return std::hash<std::string_view>{}({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

bool Discontinuity(Bytes packet) { return HasAdaptation(packet) && packet[4] > 0 && (packet[5] & 0x80) != 0; }

/// Datagrams of null packets only, which are all equal.
bool IsStuffing(Bytes datagram) {
    while (datagram.size() >= kTsPacketSize && PidOf(datagram) == kNullPid) TakeAtMost(datagram, kTsPacketSize);
    return datagram.size() < kTsPacketSize;
}

/// Steps to the next place where a packet may begin: a sync byte with another one a packet later, if that byte is known
/// yet.
std::size_t FindSync(Bytes bytes, std::size_t from) {
    while (from < bytes.size()) {
        const bool followed = from + kTsPacketSize >= bytes.size() || bytes[from + kTsPacketSize] == kSync;
        if (bytes[from] == kSync && followed) return from;
        ++from;
    }
    return from;
}

}  // namespace

std::string StreamReport::PidPurpose(std::uint16_t pid) const {
    if (pid == 0) return "PAT";
    if (pid == kNullPid) return "null";
    for (const auto& [number, programme] : programmes) {
        if (programme.pmtPid == pid) return fmt::format("PMT of {}", number);
        for (const auto& stream : programme.streams) {
            if (stream.pid != pid) continue;
            const std::string language = stream.language.empty() ? "" : fmt::format(" ({})", Escaped(stream.language));
            return fmt::format("{} of {}{}", StreamTypeName(stream.type), number, language);
        }
        if (programme.pcrPid == pid) return fmt::format("clock of {}", number);
    }
    return pid == 0x1FFB ? "PSIP" : pid == 1 ? "CAT" : "other";
}

void StreamProbe::Add(Bytes datagram, Time arrived) {
    if (mReport.datagrams == 0) mFirst = arrived;
    // Time stamps of the kernel may step back slightly when its clock is set.
    arrived = std::max(arrived, mReport.datagrams == 0 ? mFirst : mReport.last);
    if (mReport.datagrams > 0) mReport.interArrival.Note(Seconds(arrived - mReport.last));
    mReport.last = arrived;
    mReport.seconds = Seconds(mReport.last - mFirst);
    constexpr std::size_t kLongestHistory = 86400;
    const std::size_t second = std::min(static_cast<std::size_t>(mReport.seconds), kLongestHistory - 1);
    if (mReport.perSecond.size() <= second) mReport.perSecond.resize(second + 1);

    Count(&StreamCounts::datagrams);
    Count(&StreamCounts::bytes, datagram.size());
    mReport.datagramSize.Note(static_cast<double>(datagram.size()));
    if (datagram.size() % kTsPacketSize != 0) ++mReport.oddDatagrams;
    const std::size_t hash = HashOf(datagram);
    if (mReport.datagrams > 1 && hash == mLastHash && !IsStuffing(datagram)) ++mReport.repeatedDatagrams;
    mLastHash = hash;

    mBytes.insert(mBytes.end(), datagram.begin(), datagram.end());
    std::size_t at = 0;
    while (at < mBytes.size()) {
        if (mBytes[at] != kSync || !mInStep) {
            if (mInStep) Count(&StreamCounts::syncLosses);
            at = FindSync(mBytes, at);
            mInStep = at + kTsPacketSize < mBytes.size();
            if (!mInStep) break;
        }
        if (mBytes.size() - at < kTsPacketSize) break;
        Packet(Bytes(mBytes).subspan(at, kTsPacketSize));
        at += kTsPacketSize;
    }
    mBytes.erase(mBytes.begin(), mBytes.begin() + static_cast<std::ptrdiff_t>(std::min(at, mBytes.size())));
}

void StreamProbe::StartOver() {
    StreamReport next;
    next.transportId = mReport.transportId;
    next.blankedEntries = mReport.blankedEntries;
    next.pat.version = mReport.pat.version;
    next.programmes = std::move(mReport.programmes);
    for (auto& [number, programme] : next.programmes) {
        TableReport fresh;
        fresh.version = programme.pmt.version;
        programme.pmt = fresh;
    }
    mReport = std::move(next);
}

void StreamProbe::Packet(Bytes packet) {
    Count(&StreamCounts::packets);
    const std::uint16_t pid = PidOf(packet);
    PidReport& report = mReport.pids[pid];
    ++report.packets;
    if (pid == kNullPid) return;
    if (HasTransportError(packet)) {
        ++report.damaged;  // nothing else in it is reliable
        return;
    }
    if (IsScrambled(packet)) ++report.scrambled;

    PidState& state = mStates[pid];
    if (!ContinuityHolds(packet, report, state)) return;
    const auto isPmt = [&](const auto& item) { return item.second.pmtPid == pid; };
    if (pid != 0 && std::none_of(mReport.programmes.begin(), mReport.programmes.end(), isPmt)) return;
    if (!state.sections) state.sections = std::make_unique<SectionGatherer>();
    state.sections->Add(PayloadOf(packet), UnitStarts(packet),
                        [&](Bytes section) { pid == 0 ? Pat(section) : Pmt(section, pid); });
}

/// 2.4.3.3: the counter grows by one with each packet that has a payload, stays the same in one without; a packet may
/// be sent twice, and a discontinuity may be announced. \return false when the packet is a second copy, whose content
/// counts once
bool StreamProbe::ContinuityHolds(Bytes packet, PidReport& report, PidState& state) {
    const int counter = ContinuityOf(packet);
    const int before = state.continuity;
    const bool copy = before == counter && HasPayload(packet) && !state.lastWasDuplicate &&
                      std::equal(packet.begin(), packet.end(), state.last.begin());
    const int wanted = HasPayload(packet) ? (before + 1) & 0x0F : before;
    state.continuity = counter;
    state.lastWasDuplicate = copy;
    std::copy(packet.begin(), packet.end(), state.last.begin());
    if (copy) {
        ++report.duplicates;
        return false;
    }
    if (before < 0 || counter == wanted || Discontinuity(packet)) return true;
    ++report.continuityErrors;
    Count(&StreamCounts::continuityErrors);
    if (state.sections) state.sections->Drop();
    return true;
}

bool StreamProbe::NoteSection(Bytes section, TableReport& table, int version) {
    if (!CrcIsRight(section)) {
        ++table.crcErrors;
        return false;
    }
    if (table.sections > 0) table.interval.Note(Seconds(mReport.last - table.last));
    table.last = mReport.last;
    if (table.version >= 0 && table.version != version) ++table.versionChanges;
    table.version = version;
    ++table.sections;
    return true;
}

void StreamProbe::Pat(Bytes section) {
    const auto pat = ParsePat(section);
    if (!pat) return;
    if (pat->section == 0 ? !NoteSection(section, mReport.pat, pat->version) : !CrcIsRight(section)) return;
    if (!mPat.empty() &&
        (mPat.begin()->second.version != pat->version || mPat.begin()->second.transportId != pat->transportId)) {
        mPat.clear();
    }
    mPat[pat->section] = *pat;
    mReport.transportId = pat->transportId;
    mReport.blankedEntries = 0;
    std::map<std::uint16_t, ProgrammeReport> now;
    for (const auto& [number, part] : mPat) {
        for (const auto& entry : part.entries) {
            if (entry.programme == 0) {
                ++mReport.blankedEntries;
                continue;
            }
            const auto known = mReport.programmes.find(entry.programme);
            ProgrammeReport& programme = now[entry.programme];
            if (known != mReport.programmes.end() && known->second.pmtPid == entry.pid) programme = known->second;
            programme.pmtPid = entry.pid;
        }
    }
    mReport.programmes = std::move(now);
}

void StreamProbe::Pmt(Bytes section, std::uint16_t pid) {
    const auto pmt = ParsePmt(section);
    if (!pmt) return;
    const auto found = mReport.programmes.find(pmt->programme);
    if (found == mReport.programmes.end() || found->second.pmtPid != pid) return;
    ProgrammeReport& programme = found->second;
    if (!NoteSection(section, programme.pmt, pmt->version)) return;
    programme.pcrPid = pmt->pcrPid;
    programme.streams = pmt->streams;
}

}  // namespace zulctl
