// Findings.
#include "doctor/diagnosis.h"

#include <fmt/format.h>
#include <net/if.h>

#include <algorithm>
#include <fstream>
#include <numeric>
#include <sstream>
#include <utility>

#include "output/escape.h"
#include "output/failure.h"

namespace zulctl {

namespace {

using enum Diagnosis::Level;

constexpr double kSlowReply = 0.25;                  // seconds; a version request needs no work from the board
constexpr std::chrono::seconds kQueryInterval{125};  // RFC 2236, 8.2
constexpr const char* kSetRoute = "ip route add 224.0.0.0/4 dev INTERFACE, or --interface";

/// \return interfaces other than loopback
std::ptrdiff_t InterfaceCount() { return std::ranges::count(Interfaces(), false, &Interface::loopback); }

/// \return a number of /proc/sys; 0 where it isn't known
std::uint32_t SystemNumber(const std::string& name) {
    std::uint32_t number = 0;
    std::ifstream("/proc/sys/" + name) >> number;
    return number;
}

Diagnosis ExamineJoin(std::uint32_t group, int chosen, const std::optional<std::string>& interfaceName) {
    if (!interfaceName)
        return {"join", kFault, fmt::format("no interface takes a join of {}", AddressText(group)),
                "There is no route for it. Give the interface with --interface, or set a route: ip route add "
                "224.0.0.0/4 dev INTERFACE"};
    return {"join", kGood,
            fmt::format("a join of {} takes {}{}", AddressText(group), Escaped(*interfaceName),
                        chosen != 0 ? ", as --interface wants" : "")};
}

Diagnosis ExamineSend(std::uint32_t group, int chosen) {
    const auto source = SourceTowards(group, chosen);
    if (!source)
        return {"send", kFault, fmt::format("nothing can be sent to {}: the system has no route", AddressText(group)),
                kSetRoute};
    std::string name = "an interface that is down";
    for (const Interface& item : Interfaces()) {
        if (item.address == *source) name = item.name;
    }
    Diagnosis finding{"send", kGood,
                      fmt::format("what is sent to {} leaves by {} from {}", AddressText(group), Escaped(name),
                                  AddressText(*source))};
    if (name == "lo") {
        finding.level = kFault;
        finding.advice = "That never leaves this machine. Give the interface towards the boards with --interface.";
    }
    return finding;
}

Diagnosis ExamineRoute(std::uint32_t group, int chosen) {
    const auto route = RouteFor(SystemText("/proc/net/route"), group);
    if (!route && chosen == 0)
        return {"route", kFault, "there is no route for multicast, and no default route", kSetRoute};
    if (!route) return {"route", kGood, "there is no route for multicast, and --interface does without"};
    const auto others = InterfaceCount();
    if (route->mask == 0 && others > 1 && chosen == 0)
        return {"route", kNote,
                fmt::format("multicast follows the default route by {}, and there are {} interfaces",
                            Escaped(route->interfaceName), others),
                std::string("Where that isn't the boards' network: ") + kSetRoute};
    return {"route", kGood,
            fmt::format("{} leads to {}", route->mask == 0 ? "the default route" : "a route for multicast",
                        Escaped(route->interfaceName))};
}

/// The strict reverse path filter drops streams whose source isn't routed through the receiving interface.
std::optional<Diagnosis> ExamineFilter(const std::string& interfaceName) {
    const auto value = [](const std::string& name) { return SystemNumber("net/ipv4/conf/" + name + "/rp_filter"); };
    const auto others = InterfaceCount();
    if (std::max(value("all"), value(interfaceName)) != 1 || others < 2) return std::nullopt;
    return Diagnosis{
        "filter", kNote,
        fmt::format(
            "the strict reverse path filter is on for {}: streams from networks that are routed elsewhere are dropped",
            Escaped(interfaceName)),
        fmt::format("sysctl -w net.ipv4.conf.all.rp_filter=2 net.ipv4.conf.{}.rp_filter=2", Escaped(interfaceName))};
}

Diagnosis ExaminePort(std::uint16_t port) {
    try {
        UdpSocket socket;
        socket.ShareAddress();
        socket.Bind(port);
        return {"port", kGood, fmt::format("local port {} is free for all that is asked", port)};
    } catch (const Failure& failure) {
        return {"port", kFault, Escaped(failure.what()),
                "Another program has it. Choose another with --local-port or local_port in boards.toml; boards must be "
                "restarted to follow."};
    }
}

Diagnosis ExamineBuffer() {
    const std::uint32_t most = SystemNumber("net/core/rmem_max");
    if (most == 0 || most >= kStreamBuffer)
        return {"buffer", kGood, "a judge of streams gets the receive buffer that it wants"};
    return {
        "buffer", kNote,
        fmt::format(
            "a receive buffer has {} kB at most: \"zulctl probe\" by an ordinary user may lose datagrams of its own",
            most / 1024),
        fmt::format("sysctl -w net.core.rmem_max={}", kStreamBuffer)};
}

Diagnosis ExamineBeacon(const BoardHealth& board) {
    if (!board.beaconTtl) {
        return {"beacon", kNote, fmt::format("{} was asked to send its beacon, and that wasn't heard", board.name),
                "Multicast from the board doesn't arrive here: look for a switch that snoops IGMP without a querier, a "
                "firewall here (UDP port 52428), a router in between, or the wrong --interface."};
    }
    const int routers = kBoardTtl - *board.beaconTtl;
    if (routers <= 0)
        return {"beacon", kGood,
                fmt::format("{} is heard, with no router in between (TTL {})", board.name, *board.beaconTtl)};
    return {"beacon", kNote,
            fmt::format("{} is heard through {} router{} (TTL {} of {})", board.name, routers, routers == 1 ? "" : "s",
                        *board.beaconTtl, kBoardTtl),
            fmt::format("Its streams get no farther than {} more router{} from here.", *board.beaconTtl - 1,
                        *board.beaconTtl == 2 ? "" : "s")};
}

Diagnosis ExamineReplies(const BoardHealth& board) {
    if (!board.silence.empty()) {
        return {"reply", kFault, Escaped(board.silence),
                "Is the board on, is that its address and its role (transmitters listen on 5000, receivers on 2008), "
                "and does a firewall pass UDP?"};
    }
    const double mean =
        std::accumulate(board.replies.begin(), board.replies.end(), 0.0) / static_cast<double>(board.replies.size());
    const std::string finding =
        fmt::format("{} answers at {} in {:.1f} ms", board.name, EndpointText(board.at), mean * 1000);
    if (mean < kSlowReply) return {"reply", kGood, finding};
    return {
        "reply", kNote, finding + ", which is slow",
        "A board serves one request after the other: another master may keep it busy, or the network loses datagrams."};
}

std::vector<std::string> WrappedLines(const std::string& text, std::size_t width) {
    std::vector<std::string> lines(1);
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        if (!lines.back().empty() && DisplayWidth(lines.back()) + 1 + DisplayWidth(word) > width) lines.emplace_back();
        lines.back() += (lines.back().empty() ? "" : " ") + word;
    }
    return lines;
}

}  // namespace

std::vector<Diagnosis> ExamineMachine(std::uint32_t group, int chosen, std::uint16_t localPort) {
    const auto joined = InterfaceOfJoin(group, chosen);
    std::vector<Diagnosis> findings = {ExamineJoin(group, chosen, joined), ExamineSend(group, chosen),
                                       ExamineRoute(group, chosen)};
    if (const auto filter = joined ? ExamineFilter(*joined) : std::nullopt) findings.push_back(*filter);
    findings.push_back(ExaminePort(localPort));
    findings.push_back(ExamineBuffer());
    return findings;
}

Diagnosis ExamineQuerier(bool mayListen, const std::optional<std::uint32_t>& querier, const std::string& interfaceName,
                         std::chrono::seconds listened) {
    const std::string cure =
        "Switch the IGMP querier on in one switch or router of this network, or IGMP snooping off in all. A switch "
        "that snoops without a querier forgets who watches, and streams stop after some 260 s.";
    if (querier)
        return {"querier", kGood,
                fmt::format("an IGMP querier speaks on {}, at {}", Escaped(interfaceName), AddressText(*querier))};
    if (!mayListen)
        return {"querier", kNote, "whether there is an IGMP querier can't be told: only root may listen for it",
                "Run as root, or with the capability CAP_NET_RAW. " + cure};
    if (listened < kQueryInterval) {
        return {"querier", kNote,
                fmt::format("no IGMP querier was heard on {} in {} s; it isn't certain that there is none",
                            Escaped(interfaceName), listened.count()),
                "A querier speaks every 125 s: doctor --for 130s is certain. " + cure};
    }
    return {
        "querier", kFault,
        fmt::format("there is no IGMP querier on {}: none was heard in {} s", Escaped(interfaceName), listened.count()),
        cure};
}

QuerierSearch::QuerierSearch(std::uint32_t group, int interfaceIndex)
    : mInterfaceName(InterfaceOfJoin(group, interfaceIndex).value_or("")) {
    const unsigned index = if_nametoindex(mInterfaceName.c_str());
    if (index != 0) mEar = QuerierEar::Open(static_cast<int>(index));
}

std::optional<Diagnosis> QuerierSearch::Finish(std::chrono::milliseconds howLong,
                                               const std::function<void(std::chrono::seconds)>& progress) const {
    if (mInterfaceName.empty()) return std::nullopt;
    std::optional<std::uint32_t> querier;
    // What came meanwhile is read in any case.
    const auto end = std::max(mStart + howLong, Clock::now() + std::chrono::milliseconds(100));
    while (mEar && !querier && !Interrupted() && Clock::now() < end) {
        progress(std::chrono::ceil<std::chrono::seconds>(end - Clock::now()));
        querier = mEar->Wait(std::min(end, Clock::now() + std::chrono::seconds(1)));
    }
    return ExamineQuerier(mEar != nullptr, querier, mInterfaceName,
                          std::chrono::floor<std::chrono::seconds>(Clock::now() - mStart));
}

std::vector<Diagnosis> ExamineBoards(const std::vector<BoardHealth>& boards, bool askedForNone) {
    std::vector<Diagnosis> findings;
    if (boards.empty() && askedForNone) {
        findings.push_back({"boards", kFault, "no board is heard, though all were asked to send their beacon",
                            "Are boards on, and on this network? Name one with --board to try it directly, or \"zulctl "
                            "discover --broadcast\" where multicast doesn't pass."});
    }
    for (const BoardHealth& board : boards) {
        // One finding is enough for a completely silent board.
        if (board.beaconTtl || board.silence.empty()) findings.push_back(ExamineBeacon(board));
        findings.push_back(ExamineReplies(board));
        if (!board.silence.empty()) continue;
        if (board.messages.empty())
            findings.push_back(
                {"messages", kGood, fmt::format("scan, guide and language messages of {} come here", board.name)});
        else
            findings.push_back(
                {"messages", kFault, Escaped(board.messages),
                 "Until then scans can be followed by questions only, and \"guide\" and \"languages\" stay silent."});
    }
    return findings;
}

void to_json(Json& json, const Diagnosis& finding) {
    constexpr const char* kLevels[] = {"good", "note", "fault"};
    json = {{"check", finding.check},
            {"level", kLevels[static_cast<std::size_t>(finding.level)]},
            {"finding", finding.finding},
            {"advice", finding.advice.empty() ? Json() : Json(finding.advice)}};
}

std::string Findings(const std::vector<Diagnosis>& findings, std::size_t width, bool colour) {
    constexpr std::size_t kIndent = 14;
    constexpr std::pair<const char*, Style> kMarks[] = {{"✓", Style::kGood}, {"!", Style::kWarn}, {"✗", Style::kBad}};
    const std::size_t room = width > kIndent + 20 ? width - kIndent : 20;
    std::string text;
    for (const Diagnosis& item : findings) {
        const auto& [mark, style] = kMarks[static_cast<std::size_t>(item.level)];
        std::string head = fmt::format("{} {:<12}", Styled(mark, style, colour), item.check);
        for (const std::string& line : WrappedLines(EscapedMessage(item.finding), room))
            text += std::exchange(head, std::string(kIndent, ' ')) + line + "\n";
        if (item.advice.empty()) continue;
        for (const std::string& line : WrappedLines("→ " + item.advice, room))
            text += std::string(kIndent, ' ') + Styled(line, Style::kDim, colour) + "\n";
    }
    return text;
}

}  // namespace zulctl
