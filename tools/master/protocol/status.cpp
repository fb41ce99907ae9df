// Replies of one line.
#include "protocol/status.h"

#include <algorithm>

#include "protocol/text_walk.h"

namespace zulctl {

namespace {

/// One group of a transmitter's line: "1 0 239.1.1.1:5000 0:1:ff:[0a03:0b04] ".
struct Group {
    StreamStatus stream;
    bool lock = false;
    int signal = 0;
};

std::optional<Group> TakeGroup(TextWalk& line) {
    TextWalk walk = line;
    Group group;
    group.stream.active = walk.Small(1) == 1;
    group.stream.id = walk.After(" ").Small(7);
    const auto address = ParseAddress(walk.After(" ").Until(":"));
    group.stream.group = {address.value_or(0), static_cast<std::uint16_t>(walk.Small(65535))};
    group.lock = walk.After(" 0:").Small(1) == 1;
    group.signal = walk.After(":").Small(255, 16);
    walk.Take(":[");
    while (walk.Ok() && !walk.LooksAt("]")) {
        if (!group.stream.programmes.empty()) walk.Take(":");
        group.stream.programmes.push_back(walk.Hex16());
    }
    walk.Take("] ");
    if (!walk.Ok() || !address) return std::nullopt;
    line = walk;
    return group;
}

constexpr std::size_t kLongestReply = 1023;  ///< characters; a board cuts the text there

}  // namespace

bool TransmitterStatus::SendsTo(const Endpoint& group) const {
    return std::ranges::any_of(streams,
                               [&](const StreamStatus& stream) { return stream.active && stream.group == group; });
}

std::optional<TransmitterStatus> ParseTransmitterStatus(std::string_view reply) {
    TextWalk walk(reply);
    if (!walk.Take("STATUS ")) return std::nullopt;
    TransmitterStatus status;
    bool any = false;
    while (const auto group = TakeGroup(walk)) {
        any = true;
        status.locked = group->lock;
        status.signal = group->signal;
        // The group of a board without streams has no address.
        if (group->stream.group != Endpoint{} || group->stream.active) status.streams.push_back(group->stream);
    }
    if (!any) return std::nullopt;
    if (!walk.LooksAt("F:")) {
        // Only a line of the largest size can end in the middle of a group.
        status.cut = reply.size() >= kLongestReply;
        return status.cut ? std::optional(status) : std::nullopt;
    }
    status.tunerMode = walk.After("F:").Until(" E:0 C:\"NO CAM\" ");
    status.load = walk.Small(1000);
    walk.Take("% OK\r\n");
    status.cut = !walk.Ok();
    if (status.cut && reply.size() < kLongestReply) return std::nullopt;
    return status;
}

std::optional<Endpoint> ReceiverStatus::Group() const {
    const auto group = ParseAddress(address);
    if (!playsStream || !group || port == 0) return std::nullopt;
    return Endpoint{*group, port};
}

std::optional<ReceiverStatus> ParseReceiverStatus(std::string_view reply) {
    TextWalk walk(reply);
    ReceiverStatus status;
    status.lastUnit = walk.After("STATUS ").Small(1000000);
    status.address = walk.After(" ").Until(":");
    status.port = static_cast<std::uint16_t>(walk.Small(65535));
    status.playsStream = walk.After(" ").Small(5) == 5;
    status.programme = walk.After(":").Small(0x7FFFFFFF, 16);
    status.video = walk.After(" ").Small(1000);
    status.audio = walk.After(" ").Small(1000);
    status.browserUp = walk.After(" ").Small(2) == 2;
    status.load = walk.After(" 0 ").Small(1000);
    walk.Take("%OK\r\n");
    if (!walk.Ok() || status.address.size() > 15) return std::nullopt;
    if (status.address == "0.0.0.0") status.address.clear();  // after a stop
    return status;
}

std::optional<AddressSettings> ParseAddressSettings(std::string_view reply) {
    TextWalk walk(reply);
    AddressSettings settings;
    settings.dhcp = walk.After("DHCP:").Small(0x7FFFFFFF);
    settings.mac = walk.After(" MAC:").Until(" IP:");
    settings.address = walk.Until(" GW:");
    settings.gateway = walk.Until(" NM:");
    settings.netmask = walk.Until(" OK\r\n");
    return walk.Ok() ? std::optional(settings) : std::nullopt;
}

std::optional<std::string> ParseVersion(std::string_view reply) {
    TextWalk walk(reply);
    std::string version = walk.After("VERS").Until("OK\r\n");
    if (!walk.Ok() || version.find_first_not_of("0123456789.") != std::string::npos || version.empty())
        return std::nullopt;
    return version;
}

std::optional<Minutes> ParseBroadcastTime(std::string_view reply) {
    TextWalk walk(reply);
    const std::uint32_t day = walk.After("TIME ").Number(16, 8);
    const std::uint32_t hhmm = walk.After(" ").Number(10, 4);
    walk.Take(" OK\r\n");
    return walk.Ok() ? MomentOf(day, hhmm) : std::nullopt;
}

ChannelRange ChannelsOf(const std::string& tunerMode) {
    return tunerMode == "ATSC" ? ChannelRange{2, 69} : ChannelRange{};
}

std::optional<ScanState> ParseScanState(std::string_view reply) {
    if (reply.size() != 4 || reply[0] != 0) return std::nullopt;
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(reply[at]); };
    return ScanState{byte(1), byte(2), ScanState::State{byte(3)}};
}

const char* ScanStateName(ScanState::State state) {
    switch (state) {
        case ScanState::State::kIdle: return "idle";
        case ScanState::State::kRunning: return "running";
        case ScanState::State::kDone: return "done";
        case ScanState::State::kError: return "error";
        default: return "unknown";
    }
}

std::optional<int> ParseUpgradeState(std::string_view reply) {
    TextWalk walk(reply);
    const int state = walk.After("UPGRSTATUS").Small(4);
    walk.Take(" OK\r\n");
    return walk.Ok() ? std::optional(state) : std::nullopt;
}

}  // namespace zulctl
