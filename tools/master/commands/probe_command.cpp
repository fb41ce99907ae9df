// zulctl probe: joins a stream and judges it.
#include <fmt/format.h>

#include "commands/commands.h"
#include "commands/order.h"
#include "doctor/senders.h"
#include "output/escape.h"
#include "stream/probe.h"

namespace zulctl {

namespace {

struct ProbeChoice {
    std::string stream, howLong = "10s";
    bool seconds = false;
};

std::string SecondLine(std::size_t number, const StreamCounts& second) {
    return fmt::format(
        "{:4} s  {:>14}  {:6} packets  {:4} datagrams{}", number + 1,
        BitRateText(static_cast<double>(second.bytes) * 8), second.packets, second.datagrams,
        second.continuityErrors + second.syncLosses == 0
            ? ""
            : fmt::format("  {} continuity errors, {} sync losses", second.continuityErrors, second.syncLosses));
}

std::string Interval(const Spread& spread) {
    if (spread.Count() == 0) return "-";
    return fmt::format("{:.0f}/{:.0f}/{:.0f}", spread.Least() * 1000, spread.Mean() * 1000, spread.Most() * 1000);
}

Cell Faults(std::uint64_t count) { return {count, count == 0 ? Style::kPlain : Style::kBad}; }

std::vector<Cell> TableRow(const std::string& name, const TableReport& table) {
    return {name,
            table.sections,
            table.version < 0 ? "-" : std::to_string(table.version),
            table.versionChanges,
            Interval(table.interval),
            Faults(table.crcErrors)};
}

/// A guide has dozens of PIDs that carry almost no data.
constexpr unsigned kMostMinorPids = 4;
constexpr std::size_t kMostFaults = 3;  // listed one by one
bool IsMinor(const StreamReport& report, std::uint16_t pid, const PidReport& item) {
    return item.packets * 200 < report.packets && item.continuityErrors + item.damaged == 0 &&
           report.PidPurpose(pid) == "other";
}

std::string People(const Output& out, const StreamReport& report, const std::vector<Finding>& findings, bool good) {
    std::string text = fmt::format(
        "{} in {:.1f} s: {} datagrams of {:.0f} to {:.0f} bytes, {:.2f}/{:.2f}/{:.2f} ms apart (least/mean/most)\n\n",
        BitRateText(report.BitRate()), report.seconds, report.datagrams, report.datagramSize.Least(),
        report.datagramSize.Most(), report.interArrival.Least() * 1000, report.interArrival.Mean() * 1000,
        report.interArrival.Most() * 1000);
    Table pids({Left("PID"), Elastic("WHAT"), Right("PACKETS"), Right("SHARE"), Right("LOST"), Right("TWICE", 2),
                Right("SCRAMBLED", 1)});
    unsigned folded = 0;
    for (const auto& [pid, item] : report.pids) {
        if (IsMinor(report, pid, item) && ++folded > kMostMinorPids) continue;
        const double share = static_cast<double>(item.packets) / static_cast<double>(report.packets);
        pids.Add({fmt::format("0x{:04x}", pid), report.PidPurpose(pid), item.packets,
                  fmt::format("{:.1f} %", 100 * share), Faults(item.continuityErrors), item.duplicates,
                  item.scrambled});
    }
    if (folded > kMostMinorPids)
        pids.Add({"", Cell(fmt::format("and {} more small ones", folded - kMostMinorPids), Style::kDim)});
    Table tables(
        {Left("TABLE"), Right("SECTIONS"), Right("VERSION"), Right("CHANGES"), Right("EVERY (MS)"), Right("BAD CRC")});
    tables.Add(TableRow("PAT", report.pat));
    for (const auto& [number, programme] : report.programmes)
        tables.Add(TableRow(fmt::format("PMT of {}", number), programme.pmt));
    if (report.packets > 0) text += out.Render(pids) + "\n" + out.Render(tables) + "\n";
    std::size_t faults = 0;  // the tables have them all
    for (const Finding& finding : findings) {
        if (finding.fault && ++faults > kMostFaults) continue;
        text += out.Paint(finding.fault ? "fault: " : "note:  ", finding.fault ? Style::kBad : Style::kWarn) +
                finding.text + "\n";
    }
    if (faults > kMostFaults)
        text += out.Paint(fmt::format("fault: {} more, as the tables show\n", faults - kMostFaults), Style::kBad);
    return text + out.Paint(good ? "the stream is good" : "the stream has faults", good ? Style::kGood : Style::kBad) +
           "\n";
}

void RunProbe(Session& session, const ProbeChoice& choice) {
    const auto howLong = ParseSpan(choice.howLong);
    const auto group = ParseEndpoint(choice.stream);
    const std::string from = session.options.boards.empty() ? "" : session.options.boards.front();
    const Endpoint stream = group ? *group : *FindSent(session, choice.stream, from).stream;
    const std::string name = EndpointText(stream);
    CatchInterrupts();
    session.out.Progress("waiting for " + name + "...");
    std::size_t shown = 0;
    const auto showSeconds = [&](const StreamReport& soFar) {
        for (; shown + 1 < soFar.perSecond.size(); ++shown) {
            const std::string line = SecondLine(shown, soFar.perSecond[shown]);
            if (choice.seconds)
                session.out.Say(line);
            else
                session.out.Progress(line);
        }
    };
    const StreamReport report = Listen(stream, session.InterfaceIndex(), howLong, showSeconds).report;
    const std::vector<Finding> findings = Judge(report);
    const bool good = std::ranges::none_of(findings, &Finding::fault);
    if (report.datagrams == 0) {
        throw Failure(kNoAnswer, "nothing came to {} in {:.0f} s", name,
                      std::chrono::duration<double>(howLong).count());
    }
    session.out.Emit("zulctl.probe/1", JsonOf(name, report, findings, good),
                     [&] { return People(session.out, report, findings, good); });
    if (!good) throw Failure(kRefused, "");
}

}  // namespace

void AddProbeCommand(CLI::App& app, Session& session) {
    const auto [command, choice] =
        AddCommand(app, session, "probe",
                   "Join a stream and judge it: rates, continuity, tables; exits with 1 when it has faults", RunProbe);
    command
        ->add_option("stream", choice->stream,
                     "GROUP:PORT, or a channel by number (7.1) or name; --board names its transmitter")
        ->required();
    AddOption(command, "--for SPAN", choice->howLong, "How long to watch; Ctrl-C ends earlier");
    command->add_flag("--seconds", choice->seconds, "Show each second on a line of its own");
    command->footer(
        "An entry numbered 0 in the PAT is no fault: it is how a board blanks programmes that a stream doesn't carry.");
}

}  // namespace zulctl
