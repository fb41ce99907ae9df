// The text of the discovery beacon.
#include "protocol/beacon.h"

#include <algorithm>
#include <cctype>

#include "protocol/requests.h"
#include "protocol/text_walk.h"

namespace zulctl {

namespace {

struct Field {
    std::string_view key;
    std::string Beacon::*value;
};
constexpr Field kFields[] = {
    {"Device-UUID=", &Beacon::uuid},
    {"Device-Make=", &Beacon::make},
    {"Device-Model=", &Beacon::model},
    {"Device-Revision=", &Beacon::revision},
};

constexpr std::size_t kMacDigits = 12;

}  // namespace

const char* RoleName(Role role) { return role == Role::kTransmitter ? "transmitter" : "receiver"; }

std::uint16_t CommandPort(Role role) { return role == Role::kTransmitter ? kTransmitterPort : kReceiverPort; }

std::optional<Beacon> ParseBeacon(std::string_view datagram) {
    TextWalk walk(datagram);
    walk.Take("ZULB");
    Beacon beacon;
    while (walk.Skip("<")) {
        const std::string item = walk.Until(">");
        for (const auto& [key, value] : kFields) {
            if (item.starts_with(key)) beacon.*value = item.substr(key.size());
        }
    }
    if (beacon.uuid.empty()) return std::nullopt;
    const std::string tail = beacon.uuid.substr(beacon.uuid.rfind('-') + 1);
    const bool digits = std::ranges::all_of(tail, [](unsigned char c) { return std::isxdigit(c); });
    if (tail.size() == kMacDigits && digits) beacon.mac = tail;
    if (beacon.model.find("_TX_") != std::string::npos) beacon.role = Role::kTransmitter;
    if (beacon.model.find("_RX_") != std::string::npos) beacon.role = Role::kReceiver;
    return beacon;
}

}  // namespace zulctl
