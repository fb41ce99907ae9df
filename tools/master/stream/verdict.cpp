// Faults and notes from a stream's report; both as JSON.
#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "stream/probe.h"

namespace zulctl {

namespace {

using Findings = std::vector<Finding>;

constexpr double kLongestInterval = 0.5;  // seconds between two PATs, or PMTs: ETSI TR 101 290, 5.2.1, first priority

/// Adds "7 continuity errors", unless there are none. \param where  in front of it, such as "the PAT: "
void AddCount(Findings& findings, bool fault, const std::string& where, std::uint64_t count, const char* what) {
    if (count > 0) findings.push_back({fault, fmt::format("{}{} {}", where, count, what)});
}

/// A table may be missing between two of its sections, after the last one, or for the whole report.
void JudgeTable(const std::string& name, const TableReport& table, const StreamReport& report, Findings& findings) {
    AddCount(findings, true, name + ": ", table.crcErrors, "sections with a wrong CRC");
    const double gap = std::max(table.interval.Most(), std::chrono::duration<double>(report.last - table.last).count());
    if (table.sections == 0)
        findings.push_back(
            {report.seconds > kLongestInterval, fmt::format("{} never came in {:.1f} s", name, report.seconds)});
    else if (gap > kLongestInterval)
        findings.push_back({true, fmt::format("{} stayed out for {:.0f} ms, at most {:.0f} are allowed", name,
                                              gap * 1000, kLongestInterval * 1000)});
}

void JudgePids(const StreamReport& report, Findings& findings) {
    for (const auto& [pid, item] : report.pids) {
        const std::string where = fmt::format("PID 0x{:04x} ({}): ", pid, report.PidPurpose(pid));
        AddCount(findings, true, where, item.continuityErrors, "continuity errors");
        AddCount(findings, true, where, item.damaged, "packets marked as damaged");
        AddCount(findings, false, where, item.scrambled, "scrambled packets");
        AddCount(findings, false, where, item.duplicates, "packets sent twice");
    }
}

void JudgeProgrammes(const StreamReport& report, Findings& findings) {
    for (const auto& [number, programme] : report.programmes) {
        JudgeTable(fmt::format("the PMT of programme {}", number), programme.pmt, report, findings);
        for (const auto& stream : programme.streams) {
            if (report.pids.contains(stream.pid)) continue;
            // A language filter keeps audio out that the PMT still lists.
            findings.push_back({false, fmt::format("PID 0x{:04x} ({} of programme {}) is listed and carries nothing",
                                                   stream.pid, StreamTypeName(stream.type), number)});
        }
    }
}

Json JsonOf(const Spread& spread, double factor = 1) {
    if (spread.Count() == 0) return nullptr;
    return {{"least", spread.Least() * factor}, {"mean", spread.Mean() * factor}, {"most", spread.Most() * factor}};
}

Json JsonOf(const TableReport& table) {
    return {{"sections", table.sections},
            {"version", table.version < 0 ? Json() : Json(table.version)},
            {"version_changes", table.versionChanges},
            {"crc_errors", table.crcErrors},
            {"interval_ms", JsonOf(table.interval, 1000)}};
}

Json JsonOf(std::uint16_t number, const ProgrammeReport& programme) {
    Json streams = Json::array();
    for (const auto& stream : programme.streams) {
        streams.push_back({{"pid", stream.pid},
                           {"stream_type", stream.type},
                           {"kind", StreamTypeName(stream.type)},
                           {"language", stream.language.empty() ? Json() : Json(stream.language)}});
    }
    return {{"programme", number},
            {"pmt_pid", programme.pmtPid},
            {"pcr_pid", programme.pcrPid},
            {"pmt", JsonOf(programme.pmt)},
            {"streams", streams}};
}

}  // namespace

std::vector<Finding> Judge(const StreamReport& report) {
    std::vector<Finding> findings;
    if (report.datagrams == 0) return {{true, "nothing arrived"}};
    if (report.packets == 0)
        return {{true, fmt::format("{} datagrams, none of them a transport stream", report.datagrams)}};
    AddCount(findings, false, "this machine dropped ", report.lostHere,
             "datagrams itself; losses below may be its own");
    AddCount(findings, true, "", report.syncLosses, "losses of packet sync");
    JudgeTable("the PAT", report.pat, report, findings);
    if (report.pat.sections > 0 && report.programmes.empty()) findings.push_back({false, "the PAT lists no programme"});
    JudgePids(report, findings);
    JudgeProgrammes(report, findings);
    AddCount(findings, false, "", report.oddDatagrams, "datagrams don't hold whole packets");
    AddCount(findings, false, "", report.repeatedDatagrams, "datagrams came twice");
    if (report.interArrival.Most() > 1)
        findings.push_back({false, fmt::format("nothing came for {:.1f} s", report.interArrival.Most())});
    return findings;
}

Json JsonOf(const std::string& stream, const StreamReport& report, const std::vector<Finding>& findings, bool good) {
    Json pids = Json::array(), programmes = Json::array(), seconds = Json::array(), faults = Json::array(),
         notes = Json::array();
    for (const auto& [pid, item] : report.pids) {
        pids.push_back({{"pid", pid},
                        {"what", report.PidPurpose(pid)},
                        {"packets", item.packets},
                        {"continuity_errors", item.continuityErrors},
                        {"duplicates", item.duplicates},
                        {"scrambled", item.scrambled},
                        {"damaged", item.damaged}});
    }
    for (const auto& [number, programme] : report.programmes) programmes.push_back(JsonOf(number, programme));
    for (const StreamCounts& second : report.perSecond) {
        seconds.push_back({{"bits", second.bytes * 8},
                           {"packets", second.packets},
                           {"datagrams", second.datagrams},
                           {"continuity_errors", second.continuityErrors},
                           {"sync_losses", second.syncLosses}});
    }
    for (const Finding& finding : findings) (finding.fault ? faults : notes).push_back(finding.text);
    return {{"stream", stream},
            {"good", good},
            {"faults", faults},
            {"notes", notes},
            {"seconds", report.seconds},
            {"bits_per_second", report.BitRate()},
            {"datagrams", report.datagrams},
            {"bytes", report.bytes},
            {"packets", report.packets},
            {"continuity_errors", report.continuityErrors},
            {"sync_losses", report.syncLosses},
            {"repeated_datagrams", report.repeatedDatagrams},
            {"odd_datagrams", report.oddDatagrams},
            {"dropped_here", report.lostHere},
            {"datagram_bytes", JsonOf(report.datagramSize)},
            {"inter_arrival_ms", JsonOf(report.interArrival, 1000)},
            {"transport_stream_id", report.transportId},
            {"blanked_entries", report.blankedEntries},
            {"pat", JsonOf(report.pat)},
            {"programmes", programmes},
            {"pids", pids},
            {"per_second", seconds}};
}

}  // namespace zulctl
