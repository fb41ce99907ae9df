// Follows a stream from its receiver to its sender.
#include "doctor/screen.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <map>

#include "output/escape.h"
#include "output/failure.h"

namespace zulctl {

namespace {

using enum Diagnosis::Level;

std::string Names(const std::map<std::uint32_t, std::string>& names) {
    std::string text;
    for (const auto& [address, name] : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

/// \return a group with the same address and another port that a transmitter sends to
std::optional<Endpoint> OtherPort(const ScreenView& view, const Endpoint& group) {
    for (const Sender& sender : view.transmitters) {
        if (!sender.status) continue;
        for (const StreamStatus& stream : sender.status->streams) {
            if (stream.active && stream.group.address == group.address && stream.group.port != group.port)
                return stream.group;
        }
    }
    return std::nullopt;
}

Diagnosis ExamineReceiver(const ScreenView& view) {
    if (!view.silence.empty())
        return {"receiver", kFault, fmt::format("{} doesn't answer: {}", view.receiver, view.silence),
                "Is it on, on this network, and a receiver? \"zulctl discover\" lists the boards that are."};
    if (view.status.Group())
        return {"receiver", kGood, fmt::format("{} plays {}", view.receiver, EndpointText(*view.status.Group()))};
    return {"receiver", kFault,
            fmt::format("{} {}plays no stream", view.receiver, view.status.browserUp ? "shows a web page and " : ""),
            fmt::format("zulctl -b {} play GROUP:PORT", ShellWord(view.receiver))};
}

/// Nothing arrives, and no transmitter reports sending.
Diagnosis ExplainNoSender(const ScreenView& view, const Endpoint& group) {
    if (const auto other = OtherPort(view, group)) {
        return {
            "port", kFault,
            fmt::format("{} plays port {}, and that group is sent to port {}", view.receiver, group.port, other->port),
            fmt::format("zulctl -b {} play {}", ShellWord(view.receiver), EndpointText(*other))};
    }
    std::map<std::uint32_t, std::string> silent;
    for (const Sender& sender : view.transmitters) {
        if (!sender.status) silent.emplace(sender.address, sender.name);
    }
    if (!silent.empty()) {
        return {
            "transmitter", kFault,
            fmt::format("nothing comes to {}, and {} {} answer", EndpointText(group), Names(silent),
                        silent.size() == 1 ? "doesn't" : "don't"),
            "Is it on? After a restart a board sends its last stream alone: \"zulctl apply\" starts what a plan has."};
    }
    return {"sender", kFault, fmt::format("nobody sends to {}", EndpointText(group)),
            fmt::format("zulctl -b TRANSMITTER stream start CHANNEL --to {}", EndpointText(group))};
}

/// One transmitter reports sending, and nothing arrives.
Diagnosis ExplainSilence(const Sender& sender, const Endpoint& group) {
    if (!sender.status->locked) {
        return {"signal", kFault,
                fmt::format("{} sends to {}, but its tuner has no signal", sender.name, EndpointText(group)),
                fmt::format("Check its cable and the channel: zulctl -b {} status", ShellWord(sender.name))};
    }
    return {
        "network", kFault,
        fmt::format("{} says that it sends to {}, and nothing comes to this machine", sender.name, EndpointText(group)),
        "Look for what stops multicast on the way here, as on the receiver's: zulctl doctor"};
}

Diagnosis ExamineSenders(const ScreenView& view, const Endpoint& group) {
    std::map<std::uint32_t, std::string> names;  // of transmitters that report sending, or are heard
    const Sender* sender = nullptr;
    for (const Sender& transmitter : view.transmitters) {
        const bool sends = transmitter.SendsTo(group);
        if (sends) sender = &transmitter;
        if (sends || view.heard.sources.contains(transmitter.address))
            names.emplace(transmitter.address, transmitter.name);
    }
    for (const std::uint32_t source : view.heard.sources) names.emplace(source, AddressText(source));
    if (names.size() > 1) {
        return {"senders", kFault, fmt::format("{} send to {} at the same time", Names(names), EndpointText(group)),
                "Stop all but one, as with: zulctl -b TRANSMITTER stream stop --slot SLOT"};
    }
    if (view.heard.sources.empty())
        return sender == nullptr ? ExplainNoSender(view, group) : ExplainSilence(*sender, group);
    return {"sender", kGood, fmt::format("{} sends it, {}", Names(names), BitRateText(view.heard.report.BitRate()))};
}

/// \return the sums over a programme's streams
PidReport TotalOf(const StreamReport& report, const ProgrammeReport& programme) {
    PidReport total;
    for (const auto& stream : programme.streams) {
        const auto pid = report.pids.find(stream.pid);
        if (pid == report.pids.end()) continue;
        total.packets += pid->second.packets, total.scrambled += pid->second.scrambled;
    }
    return total;
}

bool IsScrambled(const PidReport& total) { return total.scrambled * 2 > total.packets; }

Diagnosis Scrambled(int programme) {
    return {"scrambled", kFault, fmt::format("programme {:04x} is scrambled", programme),
            "Boards send what is scrambled as it is; \"zulctl channels\" marks the channels that are."};
}

/// A receiver reports the programme that its player decodes, 0 if it finds none.
Diagnosis ExamineProgramme(const ScreenView& view) {
    const auto& programmes = view.heard.report.programmes;
    const auto found = programmes.find(static_cast<std::uint16_t>(view.status.programme));
    if (found == programmes.end()) {
        if (programmes.size() == 1 && IsScrambled(TotalOf(view.heard.report, programmes.begin()->second)))
            return Scrambled(programmes.begin()->first);
        std::string carried;
        for (const auto& [number, programme] : programmes)
            carried += fmt::format("{}{:04x}", carried.empty() ? "" : ", ", number);
        return {"programme", kFault,
                fmt::format("{} {}, and the stream carries {}", view.receiver,
                            view.status.programme == 0 ? "finds no programme"
                                                       : fmt::format("plays programme {:04x}", view.status.programme),
                            carried.empty() ? "none" : carried),
                programmes.empty() ? "Is the programme still on the air? zulctl -b TRANSMITTER scan"
                                   : fmt::format("zulctl -b {} play {} --programme {:04x}", ShellWord(view.receiver),
                                                 EndpointText(*view.status.Group()), programmes.begin()->first)};
    }
    const PidReport total = TotalOf(view.heard.report, found->second);
    if (total.packets == 0)
        return {"programme", kFault,
                fmt::format("programme {:04x} is listed, and carries neither picture nor sound", found->first),
                "The broadcaster sends nothing in it now; try another channel."};
    if (IsScrambled(total)) return Scrambled(found->first);
    return {"programme", kGood, fmt::format("programme {:04x} is in it, in the clear", found->first)};
}

Diagnosis ExamineStream(const ScreenView& view) {
    for (const Finding& finding : Judge(view.heard.report)) {
        if (!finding.fault) continue;
        return {"stream", view.heard.report.lostHere > 0 ? kNote : kFault, "the stream has faults: " + finding.text,
                view.heard.report.lostHere > 0
                    ? "This machine lost datagrams itself: look again with less to do, or as root."
                    : fmt::format("Where are they from? Compare with the signal, and with: zulctl probe {}",
                                  EndpointText(*view.status.Group()))};
    }
    return {"stream", kGood, "the stream has no fault"};
}

}  // namespace

ScreenView LookAtScreen(const Session& session, const Target& receiver, std::vector<Sender> transmitters,
                        std::chrono::milliseconds howLong) {
    ScreenView view{Escaped(receiver.name), ""};
    view.transmitters = std::move(transmitters);
    const auto ask = [&] {
        Client client = session.Connect(receiver);
        const auto status = ParseReceiverStatus(client.Ask("STATUS"));
        if (!status) throw Failure(kNoAnswer, "it gives no status of a receiver");
        return *status;
    };
    try {
        view.status = ask();
    } catch (const Failure& failure) {
        view.silence = Escaped(failure.what());
    }
    const auto group = view.status.Group();
    if (!group) return view;
    view.heard = Listen(*group, session.InterfaceIndex(), howLong);
    if (Interrupted()) return view;
    try {  // it may have found its programme meanwhile
        const ReceiverStatus later = ask();
        if (later.Group() == group) view.status.programme = later.programme;
    } catch (const Failure&) {
    }
    return view;
}

std::vector<Diagnosis> ExamineScreen(const ScreenView& view) {
    std::vector<Diagnosis> findings;
    const auto isFault = [&](Diagnosis finding) {
        findings.push_back(std::move(finding));
        return findings.back().IsFault();
    };
    if (isFault(ExamineReceiver(view)) || isFault(ExamineSenders(view, *view.status.Group())) ||
        isFault(ExamineProgramme(view)) || isFault(ExamineStream(view)))
        return findings;
    findings.insert(findings.end(), view.surroundings.begin(), view.surroundings.end());
    return findings;
}

void WarnOfStream(Session& session, const Endpoint& group, std::set<std::uint16_t> programmes) {
    StreamReport report;
    try {
        session.out.Progress("looking at the stream...");
        report = Listen(group, session.InterfaceIndex(), std::chrono::seconds(1)).report;
    } catch (const Failure&) {  // this machine may have no route for groups
        return;
    }
    if (report.packets == 0)
        return session.out.Warning(fmt::format("nothing comes from {} to this machine now", EndpointText(group)));
    if (programmes.empty() && !report.programmes.empty()) programmes = {report.programmes.begin()->first};
    for (const std::uint16_t number : programmes) {
        const auto found = report.programmes.find(number);
        if (found == report.programmes.end())
            session.out.Warning(fmt::format("programme {:04x} isn't in the stream", number));
        else if (IsScrambled(TotalOf(report, found->second)))
            session.out.Warning(fmt::format("programme {:04x} is scrambled, and boards don't descramble", number));
    }
}

}  // namespace zulctl
