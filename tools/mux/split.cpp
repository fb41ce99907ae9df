// Tables whose entries are distributed over sections.
#include "split.h"

#include <string>

#include "error.h"

namespace mux {

std::vector<Section> MakeCountedSections(SectionHead head, std::span<const Octets> entries, OctetView tail,
                                         std::size_t most) {
    // protocol_version and the count precede the entries.
    const std::size_t room = most - kSectionOverhead - 2 - tail.size();
    std::vector<std::span<const Octets>> shares(1);
    std::size_t used = 0;
    for (std::size_t i = 0, first = 0; i < entries.size(); ++i) {
        used += entries[i].size();
        if (i > first && (used > room || i - first == 255)) {
            shares.emplace_back();
            first = i;
            used = entries[i].size();
        }
        shares.back() = entries.subspan(first, i + 1 - first);
    }
    if (shares.size() > 256) {
        throw Error("table " + std::to_string(head.tableId) + ": " + std::to_string(shares.size()) +
                    " sections, at most 256 are allowed");
    }
    std::vector<Section> sections;
    head.last = static_cast<std::uint8_t>(shares.size() - 1);
    for (const auto& share : shares) {
        head.number = static_cast<std::uint8_t>(sections.size());
        ByteWriter body;
        body.U8(static_cast<std::uint8_t>(share.size()));
        for (const Octets& entry : share) body.Raw(entry);
        sections.push_back(MakePsipSection(head, body.Raw(tail).Bytes(), most));
    }
    return sections;
}

}  // namespace mux
