// Derives faults and notes from a stream's report.
#include <fmt/format.h>

#include <algorithm>

#include "stream/probe.h"

namespace zulctl {

namespace {

/// A table may be missing between two of its sections, after the last one, or for the whole report.
void JudgeTable(const std::string& name, const TableReport& table, double limit, const StreamReport& report,
                std::vector<Finding>& findings) {
    if (table.crcErrors > 0)
        findings.push_back({true, fmt::format("{}: {} sections with a wrong CRC", name, table.crcErrors)});
    if (table.sections == 0) {
        findings.push_back({report.seconds > limit, fmt::format("{} never came in {:.1f} s", name, report.seconds)});
        return;
    }
    const double gap = std::max(table.interval.Most(), std::chrono::duration<double>(report.last - table.last).count());
    if (gap > limit) {
        findings.push_back({true, fmt::format("{} stayed out for {:.0f} ms, at most {:.0f} are allowed", name,
                                              gap * 1000, limit * 1000)});
    }
}

void JudgePids(const StreamReport& report, std::vector<Finding>& findings) {
    for (const auto& [pid, item] : report.pids) {
        const auto add = [&, pid = pid](bool fault, std::uint64_t count, const char* what) {
            if (count == 0) return;
            findings.push_back(
                {fault, fmt::format("PID 0x{:04x} ({}): {} {}", pid, report.PidPurpose(pid), count, what)});
        };
        add(true, item.continuityErrors, "continuity errors");
        add(true, item.damaged, "packets marked as damaged");
        add(false, item.scrambled, "scrambled packets");
        add(false, item.duplicates, "packets sent twice");
    }
}

void JudgeProgrammes(const StreamReport& report, std::vector<Finding>& findings) {
    for (const auto& [number, programme] : report.programmes) {
        JudgeTable(fmt::format("the PMT of programme {}", number), programme.pmt, kLongestPmtInterval, report,
                   findings);
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
    if (report.lostHere > 0) {
        findings.push_back({false, fmt::format("this machine dropped {} datagrams itself; losses below may be its own",
                                               report.lostHere)});
    }
    if (report.syncLosses > 0) findings.push_back({true, fmt::format("{} losses of packet sync", report.syncLosses)});
    JudgeTable("the PAT", report.pat, kLongestPatInterval, report, findings);
    if (report.pat.sections > 0 && report.programmes.empty()) findings.push_back({false, "the PAT lists no programme"});
    JudgePids(report, findings);
    JudgeProgrammes(report, findings);
    if (report.oddDatagrams > 0) {
        findings.push_back({false, fmt::format("{} datagrams don't hold whole packets", report.oddDatagrams)});
    }
    if (report.repeatedDatagrams > 0) {
        findings.push_back({false, fmt::format("{} datagrams came twice", report.repeatedDatagrams)});
    }
    if (report.interArrival.Most() > 1) {
        findings.push_back({false, fmt::format("nothing came for {:.1f} s", report.interArrival.Most())});
    }
    return findings;
}

}  // namespace zulctl
