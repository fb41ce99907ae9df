// Names and times of faults.
#include "fault.h"

#include <charconv>
#include <string>

#include "error.h"

namespace mux {
namespace {

constexpr double kMostSeconds = 86'400;

FaultKind KindOf(std::string_view name) {
    std::string known;
    for (const FaultName& each : kFaultNames) {
        if (each.name == name) return each.kind;
        known += (known.empty() ? "" : ", ") + std::string(each.name);
    }
    throw Error("fault \"" + std::string(name) + "\" isn't known; known are " + known);
}

}  // namespace

std::vector<Fault> ParseFaults(std::string_view text) {
    const std::size_t sign = text.find('@');
    const std::string_view time = sign == std::string_view::npos ? "" : text.substr(sign + 1);
    double seconds = 0;
    const auto [end, error] =
        std::from_chars(time.data(), time.data() + time.size(), seconds, std::chars_format::fixed);
    if (error != std::errc() || end != time.data() + time.size() || !(seconds >= 0 && seconds <= kMostSeconds)) {
        throw Error("fault \"" + std::string(text) + "\": @ and a time in seconds were expected behind the names");
    }
    std::vector<Fault> faults;
    std::string_view names = text.substr(0, sign);
    while (true) {
        const std::size_t comma = names.find(',');
        faults.push_back({KindOf(names.substr(0, comma)), static_cast<std::uint32_t>(seconds * 1000 + 0.5)});
        if (comma == std::string_view::npos) return faults;
        names.remove_prefix(comma + 1);
    }
}

std::string_view NameOf(FaultKind kind) {
    for (const FaultName& each : kFaultNames) {
        if (each.kind == kind) return each.name;
    }
    return "";
}

}  // namespace mux
