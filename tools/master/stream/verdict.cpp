// Derives faults and notes from a stream's report.
#include <fmt/format.h>

#include <algorithm>

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

}  // namespace zulctl
