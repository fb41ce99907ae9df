// Texts of requests.
#include "protocol/requests_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "output/escape.h"
#include "output/failure.h"
#include "protocol/requests.h"
#include "protocol/text_walk.h"

namespace zulctl {

namespace {

template <typename... Args>
[[noreturn]] void Wrong(fmt::format_string<Args...> format, Args&&... args) {
    throw Failure(kUsage, format, std::forward<Args>(args)...);
}

struct FieldRange {
    const char* name;
    int least, most;
};
/// Outside these ranges a board silently keeps its value.
constexpr FieldRange kPageFields[] = {{"x", -1280, 1280}, {"y", -768, 768},       {"width", 0, 1280},
                                      {"height", 0, 768}, {"page alpha", 0, 255}, {"video alpha", 0, 255}};
constexpr std::size_t kLongestUrl = 255;  // what the player's message holds
constexpr std::size_t kLanguageSize = 3;
/// A board keeps this much of a request's text for its next start; a longer one would come back in pieces.
constexpr std::size_t kLongestSaved = 254;

/// "eng:3" as "eng,3".
std::string LanguageFields(const std::string& text) {
    TextWalk walk(text);
    const std::string code = walk.Exactly(kLanguageSize);
    const int type = walk.Skip(":") ? walk.Small(255, 16) : 0;
    const bool plain =
        std::ranges::all_of(code, [](unsigned char c) { return c > 0x20 && c < 0x7F && c != ',' && c != ':'; });
    if (!walk.AtEnd() || !plain) {
        Wrong("\"{}\" isn't a language of three characters, with :TYPE in hexadecimal behind it or not", Escaped(text));
    }
    return fmt::format("{},{:x}", code, type);
}

std::uint32_t Address(const std::string& text, const char* what) {
    const auto address = ParseAddress(text);
    if (!address) Wrong("\"{}\" isn't an IPv4 address ({})", Escaped(text), what);
    return *address;
}

}  // namespace

std::string StartText(const StreamRequest& request) {
    if (!IsMulticast(request.to.address)) {
        Wrong("{} isn't a multicast group (224.0.0.0 to 239.255.255.255)", AddressText(request.to.address));
    }
    std::string text = request.slot ? fmt::format("UNIT4,{},", *request.slot) : "UNIT1,";
    text += fmt::format("{},{},{:x}", AddressText(request.to.address), request.to.port, request.channel);
    for (const ProgrammeId& id : request.programmes) text += fmt::format(",{:x},{:x}", id.transportId, id.programme);
    if (text.size() > kLongestSaved) {
        Wrong("{} programmes are too many for one stream; leave them out to send the whole channel",
              request.programmes.size());
    }
    return text;
}

std::string StopText(std::optional<int> slot) { return slot ? fmt::format("UNIT5,{}", *slot) : "UNIT0"; }

std::string PlayText(const Endpoint& stream, std::optional<std::uint16_t> programme) {
    if (!IsMulticast(stream.address)) Wrong("{} isn't a multicast group", AddressText(stream.address));
    const std::string target = fmt::format("{},{}", AddressText(stream.address), stream.port);
    return programme ? fmt::format("UNIT1,{},0,{:x}", target, *programme) : "UNIT3," + target;
}

std::string PageText(const PageRequest& request) {
    if (request.url.find(',') != std::string::npos) Wrong("a board cuts addresses at commas; write %2C");
    if (request.url.size() > kLongestUrl)
        Wrong("an address has at most {} characters, not {}", kLongestUrl, request.url.size());
    if (BeginsWith(request.url, "key")) Wrong("a board takes an address that begins with \"key\" for a key");
    if (std::ranges::any_of(request.url, [](unsigned char c) { return c <= 0x20 || c == 0x7F; })) {
        Wrong("an address has no blanks or control characters; write %20");
    }
    std::string text = "URL" + request.url;
    std::string pending;
    for (std::size_t n = 0; n < request.fields.size(); ++n) {
        pending += ',';
        if (!request.fields[n]) continue;
        const FieldRange& range = kPageFields[n];
        if (*request.fields[n] < range.least || *request.fields[n] > range.most) {
            Wrong("{} goes from {} to {}, not {}", range.name, range.least, range.most, *request.fields[n]);
        }
        text += pending + std::to_string(*request.fields[n]);
        pending.clear();
    }
    return text;
}

std::string CaptionsText(const std::string& service) {
    if (service == "off") return "SUBSOFF";
    const auto number = ParseNumber(service, 10, 6);
    if (!number || *number == 0) Wrong("captions are off or a service from 1 to 6, not \"{}\"", Escaped(service));
    return fmt::format("SUBS{}", *number);
}

std::string LanguageText(const std::string& primary, const std::string& secondary) {
    return "LANG" + LanguageFields(primary) + (secondary.empty() ? "" : "," + LanguageFields(secondary));
}

std::string FixedAddressText(const std::string& address, const std::string& gateway, const std::string& netmask) {
    const std::uint32_t own = Address(address, "address"), exit = Address(gateway, "gateway"),
                        mask = Address(netmask, "netmask");
    const std::uint32_t host = ~mask;
    if ((host & (host + 1)) != 0 || mask == 0) Wrong("{} isn't a netmask", netmask);
    const bool usable = own >> 24 != 0 && own >> 24 != 127 && own >> 24 < 224;
    if (!usable || (host > 1 && ((own & host) == 0 || (own & host) == host)))
        Wrong("{} can't be a board's address", address);
    if (exit != 0 && ((exit ^ own) & mask) != 0)
        Wrong("the gateway {} isn't in the network of {} with {}", gateway, address, netmask);
    if (exit == own) Wrong("a board can't be its own gateway");
    return fmt::format("DHCP0,{},{},{}", AddressText(own), AddressText(exit), AddressText(mask));
}

std::string SerialText(const std::string& settings) {
    constexpr int kFastest = 4000000;
    TextWalk walk(settings);
    const int baud = walk.Small(kFastest), bits = walk.After(",").Small(8);
    const char parity = static_cast<char>(std::toupper(static_cast<unsigned char>(walk.After(",").Exactly(1)[0])));
    const int stop = walk.After(",").Small(2);
    const bool known = parity == 'N' || parity == 'E' || parity == 'O';
    if (!walk.AtEnd() || baud == 0 || bits < 5 || !known || stop == 0) {
        Wrong("\"{}\" isn't BAUD,BITS,PARITY,STOPBITS such as 9600,8,N,1", Escaped(settings));
    }
    return fmt::format("SUART{},{},{},{}", baud, bits, parity, stop);
}

std::string RemoteText(const std::string& code) {
    const auto value = ParseNumber(code, 16, 0xFE);
    if (!value || *value == 0)
        Wrong("a remote control's code goes from 01 to fe in hexadecimal, not \"{}\"", Escaped(code));
    return fmt::format("REMOTE{:02x}", *value);
}

}  // namespace zulctl
