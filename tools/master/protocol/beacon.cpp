// The text of the discovery beacon.
#include "protocol/beacon.h"

#include <algorithm>
#include <cctype>

#include "protocol/requests.h"

namespace zulctl {

namespace {

struct Field {
    std::string_view key;
    std::string Beacon::*value;
};
constexpr Field kFields[] = {
    {"Device-UUID", &Beacon::uuid},
    {"Device-Make", &Beacon::make},
    {"Device-Model", &Beacon::model},
    {"Device-Revision", &Beacon::revision},
};

constexpr std::size_t kMacDigits = 12;

}  // namespace

const char* RoleName(Role role) { return role == Role::kTransmitter ? "transmitter" : "receiver"; }

std::uint16_t CommandPort(Role role) { return role == Role::kTransmitter ? kTransmitterPort : kReceiverPort; }

std::optional<Beacon> ParseBeacon(std::string_view rest) {
    if (!rest.starts_with("ZULB<")) return std::nullopt;
    Beacon beacon;
    for (rest.remove_prefix(4); rest.starts_with('<');) {
        const std::size_t end = rest.find('>');
        if (end == std::string_view::npos) break;
        const std::string_view item = rest.substr(1, end - 1);
        const std::size_t equals = item.find('=');
        for (const Field& field : kFields) {
            if (equals != std::string_view::npos && item.substr(0, equals) == field.key) {
                beacon.*field.value = std::string(item.substr(equals + 1));
            }
        }
        rest.remove_prefix(end + 1);
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
