// Replies of one line.
#include "protocol/status.h"

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
    walk.Take(" ");
    group.stream.id = walk.Small(7);
    walk.Take(" ");
    const auto address = ParseAddress(walk.Until(":"));
    group.stream.group = {address.value_or(0), static_cast<std::uint16_t>(walk.Small(65535))};
    walk.Take(" 0:");
    group.lock = walk.Small(1) == 1;
    walk.Take(":");
    group.signal = walk.Small(255, 16);
    walk.Take(":[");
    while (walk.Ok() && !walk.LooksAt("]")) {
        if (!group.stream.programmes.empty()) walk.Take(":");
        group.stream.programmes.push_back(static_cast<std::uint16_t>(walk.Small(0xFFFF, 16)));
    }
    walk.Take("] ");
    if (!walk.Ok() || !address) return std::nullopt;
    line = walk;
    return group;
}

constexpr std::size_t kLongestReply = 1023;  ///< characters; a board cuts the text there

}  // namespace

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
    walk.Take("F:");
    status.tunerMode = walk.Until(" E:0 C:\"NO CAM\" ");
    status.load = walk.Small(1000);
    walk.Take("% OK\r\n");
    status.cut = !walk.Ok();
    if (status.cut && reply.size() < kLongestReply) return std::nullopt;
    return status;
}

std::optional<Endpoint> ReceiverStatus::Group() const {
    const auto group = ParseAddress(address);
    if (!playsStream || !group || *group == 0 || port < 1 || port > 0xFFFF) return std::nullopt;
    return Endpoint{*group, static_cast<std::uint16_t>(port)};
}

std::optional<ReceiverStatus> ParseReceiverStatus(std::string_view reply) {
    TextWalk walk(reply);
    ReceiverStatus status;
    walk.Take("STATUS ");
    status.lastUnit = walk.Small(1000000);
    walk.Take(" ");
    status.address = walk.Until(":");
    status.port = walk.Small(65535);
    walk.Take(" ");
    status.playsStream = walk.Small(5) == 5;
    walk.Take(":");
    status.programme = walk.Small(0x7FFFFFFF, 16);
    walk.Take(" ");
    status.video = walk.Small(1000);
    walk.Take(" ");
    status.audio = walk.Small(1000);
    walk.Take(" ");
    status.browserUp = walk.Small(2) == 2;
    walk.Take(" 0 ");
    status.load = walk.Small(1000);
    walk.Take("%OK\r\n");
    if (!walk.Ok() || status.address.size() > 15) return std::nullopt;
    return status;
}

std::optional<AddressSettings> ParseAddressSettings(std::string_view reply) {
    TextWalk walk(reply);
    AddressSettings settings;
    walk.Take("DHCP:");
    settings.dhcp = walk.Small(0x7FFFFFFF);
    walk.Take(" MAC:");
    settings.mac = walk.Until(" IP:");
    settings.address = walk.Until(" GW:");
    settings.gateway = walk.Until(" NM:");
    settings.netmask = walk.Until(" OK\r\n");
    return walk.Ok() ? std::optional(settings) : std::nullopt;
}

std::optional<std::string> ParseVersion(std::string_view reply) {
    TextWalk walk(reply);
    walk.Take("VERS");
    std::string version = walk.Until("OK\r\n");
    if (!walk.Ok() || version.find_first_not_of("0123456789.") != std::string::npos || version.empty())
        return std::nullopt;
    return version;
}

std::optional<Minutes> ParseBroadcastTime(std::string_view reply) {
    TextWalk walk(reply);
    walk.Take("TIME ");
    const std::uint32_t day = walk.Number(16, 8);
    walk.Take(" ");
    const std::uint32_t hhmm = walk.Number(10, 4);
    walk.Take(" OK\r\n");
    return walk.Ok() ? MomentOf(day, hhmm) : std::nullopt;
}

ChannelRange ChannelsOf(const std::string& tunerMode) {
    return tunerMode == "ATSC" ? ChannelRange{2, 69} : ChannelRange{};
}

std::optional<ScanState> ParseScanState(std::string_view reply) {
    if (reply.size() != 4 || reply[0] != 0) return std::nullopt;
    ScanState state{static_cast<unsigned char>(reply[1]), static_cast<unsigned char>(reply[2]),
                    ScanState::State::kUnknown};
    switch (static_cast<unsigned char>(reply[3])) {
        case 0: state.state = ScanState::State::kIdle; break;
        case 2: state.state = ScanState::State::kRunning; break;
        case 5: state.state = ScanState::State::kDone; break;
        case 0xFF: state.state = ScanState::State::kError; break;
        default: break;
    }
    return state;
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
    walk.Take("UPGRSTATUS");
    const int state = walk.Small(4);
    walk.Take(" OK\r\n");
    return walk.Ok() ? std::optional(state) : std::nullopt;
}

const char* UpgradeStateName(int state) {
    constexpr const char* kNames[] = {"idle", "downloading", "burning", "download failed", "burn failed"};
    return state >= 0 && state < 5 ? kNames[state] : "unknown";
}

}  // namespace zulctl
