// Faults of whole tables. Versions and PIDs are changed in the coded sections, and their CRC_32 written anew.
#include "table_faults.h"

#include <bitstream/mpeg/psi/pat.h>

#include <algorithm>
#include <random>
#include <set>

#include "error.h"
#include "packetizer.h"

namespace mux {
namespace {

constexpr std::uint8_t kIdPat = 0x00;
constexpr std::uint8_t kIdPmt = 0x02;
constexpr std::uint8_t kIdMgt = 0xC7;
constexpr std::uint8_t kIdEit = 0xCB;
constexpr std::uint8_t kIdEtt = 0xCC;
constexpr std::uint8_t kIdStt = 0xCD;

// First PID that a moved PMT may have.
constexpr std::uint16_t kFirstFreePid = 0x100;

std::uint8_t IdOf(const Table& table) {
    for (const Edition& edition : table.editions) {
        if (!edition.sections.empty()) return edition.sections.front()[0];
    }
    return 0xFF;
}

unsigned Be16(const Section& section, std::size_t at) {
    return static_cast<unsigned>(section[at] << 8 | section[at + 1]);
}

// The edition that begins at that moment: a copy of the one in force, where none does.
std::size_t SplitAt(Table& table, std::uint32_t at) {
    std::size_t i = 0;
    while (i < table.editions.size() && table.editions[i].from < at) ++i;
    if (i < table.editions.size() && table.editions[i].from == at) return i;
    Edition copy = i == 0 ? Edition{} : table.editions[i - 1];
    copy.from = at;
    table.editions.insert(table.editions.begin() + static_cast<std::ptrdiff_t>(i), std::move(copy));
    return i;
}

const Edition* InForce(const Table& table, std::uint32_t at) {
    const Edition* found = nullptr;
    for (const Edition& edition : table.editions) {
        if (edition.from <= at) found = &edition;
    }
    return found != nullptr && !found->sections.empty() ? found : nullptr;
}

unsigned VersionOf(const Edition& edition) { return psi_get_version(edition.sections.front().data()); }

void AddToVersion(Edition& edition, unsigned step) {
    for (Section& section : edition.sections) {
        psi_set_version(section.data(), static_cast<std::uint8_t>((psi_get_version(section.data()) + step) & 31));
        SealSection(section);
    }
}

void AddToVersionsFrom(Table& table, std::size_t first, unsigned step) {
    for (std::size_t i = first; i < table.editions.size(); ++i) AddToVersion(table.editions[i], step);
}

// The table that an entry of the MGT is about. PIDs are those of one table, but for the PSIP PID, where only the VCT is
// told.
const Table* FindTold(const std::vector<Table>& tables, std::uint16_t pid) {
    const auto found = std::find_if(tables.begin(), tables.end(), [&](const Table& table) {
        const std::uint8_t id = IdOf(table);
        return table.pid == pid && id != kIdMgt && id != kIdStt;
    });
    return found == tables.end() ? nullptr : &*found;
}

// Writes the versions and sizes into the MGT that its tables have at each of its moments. An entry:
//     bytes 0-1   table_type
//     bytes 2-3   PID
//     byte  4     version
//     bytes 5-8   number_bytes
//     bytes 9-10  descriptors_length
void CorrectMgt(std::vector<Table>& tables) {
    const auto mgt = std::find_if(tables.begin(), tables.end(), [](const Table& t) { return IdOf(t) == kIdMgt; });
    if (mgt == tables.end()) return;
    for (Edition& edition : mgt->editions) {
        Section& section = edition.sections.front();
        std::size_t at = kSectionOverhead - 4 + 3;  // behind protocol_version and tables_defined
        for (unsigned left = Be16(section, at - 2); left > 0; --left) {
            const Table* const table = FindTold(tables, static_cast<std::uint16_t>(Be16(section, at + 2) & 0x1FFF));
            const Edition* const told = table == nullptr ? nullptr : InForce(*table, edition.from);
            if (told != nullptr) {
                section[at + 4] = static_cast<std::uint8_t>(0xE0u | VersionOf(*told));
                std::uint32_t bytes = 0;
                for (const Section& each : told->sections) bytes += static_cast<std::uint32_t>(each.size());
                for (std::size_t i = 0; i < 4; ++i)
                    section[at + 5 + i] = static_cast<std::uint8_t>(bytes >> (24 - 8 * i));
            }
            at += 11 + (Be16(section, at + 9) & 0x0FFF);
        }
        SealSection(section);
    }
}

// Later changes of a table go on counting from 0, earlier ones lead to 31.
void WrapVersions(std::vector<Table>& tables, std::uint32_t at) {
    for (Table& table : tables) {
        if (IdOf(table) == kIdStt) continue;
        const std::size_t split = SplitAt(table, at);
        if (table.editions[split].sections.empty()) continue;
        const unsigned now = VersionOf(table.editions[split]);
        // Where the table changes at this very moment, the edition in front of it has the version before already.
        const Edition* const before = split == 0 ? nullptr : &table.editions[split - 1];
        const bool same = before != nullptr && !before->sections.empty() && VersionOf(*before) == now;
        AddToVersionsFrom(table, split, 32 - now);
        for (std::size_t i = 0; i < split; ++i) AddToVersion(table.editions[i], 32 - now - (same ? 1 : 0));
    }
    CorrectMgt(tables);
}

std::uint16_t FindFreePid(const std::vector<Table>& tables, const Description& description, std::minstd_rand& random) {
    std::set<unsigned> taken;
    for (const Table& table : tables) taken.insert(table.pid);
    for (const Programme& programme : description.programmes) {
        if (programme.video) taken.insert(programme.video->pid);
        for (const Audio& audio : programme.audio) taken.insert(audio.pid);
    }
    // Below the guide's PIDs, and there are more of these than a PAT has programmes for in use.
    auto pid = static_cast<std::uint16_t>(kFirstFreePid + random() % (kPidEit0 - kFirstFreePid));
    while (taken.contains(pid)) pid = pid + 1 < kPidEit0 ? static_cast<std::uint16_t>(pid + 1) : kFirstFreePid;
    return pid;
}

void TellPid(Edition& pat, std::uint16_t from, std::uint16_t to) {
    for (Section& section : pat.sections) {
        for (std::uint8_t i = 0; std::uint8_t* const entry = pat_get_program(section.data(), i); ++i) {
            if (patn_get_program(entry) != 0 && patn_get_pid(entry) == from) patn_set_pid(entry, to);
        }
        SealSection(section);
    }
}

void MovePmt(std::vector<Table>& tables, const Description& description, std::uint32_t at, std::minstd_rand& random) {
    std::vector<std::size_t> pmts;
    for (std::size_t i = 0; i < tables.size(); ++i) {
        if (InForce(tables[i], at) != nullptr && IdOf(tables[i]) == kIdPmt) pmts.push_back(i);
    }
    if (pmts.empty()) throw Error("fault pmt-move: there is no programme");
    const std::uint16_t pid = FindFreePid(tables, description, random);
    Table& old = tables[pmts[random() % pmts.size()]];
    const std::uint16_t oldPid = old.pid;
    const std::size_t split = SplitAt(old, at);
    Table moved = old;
    moved.pid = pid;
    for (std::size_t i = 0; i < split; ++i) moved.editions[i].sections.clear();
    for (std::size_t i = split; i < old.editions.size(); ++i) old.editions[i].sections.clear();
    for (Table& table : tables) {
        if (IdOf(table) != kIdPat) continue;
        const std::size_t first = SplitAt(table, at);
        for (std::size_t i = first; i < table.editions.size(); ++i) TellPid(table.editions[i], oldPid, pid);
        AddToVersionsFrom(table, first, 1);
    }
    tables.push_back(std::move(moved));
}

// Makes a multiple string structure's compressed bytes random. \return whether there were any
bool GarbleText(Section& section, std::size_t at, std::minstd_rand& random) {
    bool found = false;
    unsigned strings = section[at++];
    for (; strings > 0; --strings) {
        unsigned segments = section[at + 3];
        at += 4;
        for (; segments > 0; --segments) {
            const std::size_t size = section[at + 2];
            const bool compressed = section[at] != 0;
            at += 3;
            for (std::size_t i = 0; compressed && i < size; ++i)
                section[at + i] = static_cast<std::uint8_t>(random() >> 8);
            found = found || (compressed && size > 0);
            at += size;
        }
    }
    return found;
}

// Where the texts of an EIT or ETT section begin.
std::vector<std::size_t> TextsOf(const Section& section) {
    std::size_t at = kSectionOverhead - 4 + 1;  // behind protocol_version
    if (section[0] == kIdEtt) return {at + 4};
    std::vector<std::size_t> texts;
    unsigned events = section[at++];
    for (; events > 0; --events) {
        if (section[at + 9] > 0) texts.push_back(at + 10);
        at += 10 + std::size_t{section[at + 9]};
        at += 2 + (Be16(section, at) & 0x0FFF);
    }
    return texts;
}

void BreakTexts(std::vector<Table>& tables, std::uint32_t at, std::minstd_rand& random) {
    bool any = false;
    for (Table& table : tables) {
        if (IdOf(table) != kIdEit && IdOf(table) != kIdEtt) continue;
        const std::size_t first = SplitAt(table, at);
        bool found = false;
        for (std::size_t i = first; i < table.editions.size(); ++i) {
            for (Section& section : table.editions[i].sections) {
                for (const std::size_t text : TextsOf(section)) found = GarbleText(section, text, random) || found;
            }
        }
        if (found) AddToVersionsFrom(table, first, 1);
        any = any || found;
    }
    if (!any) throw Error("fault bad-huffman: the guide has no compressed text");
    for (Table& table : tables) {
        if (IdOf(table) == kIdMgt) AddToVersionsFrom(table, SplitAt(table, at), 1);
    }
    CorrectMgt(tables);
}

}  // namespace

void ApplyTableFaults(std::vector<Table>& tables, const Description& description, std::span<const Fault> faults,
                      std::uint64_t seed) {
    std::minstd_rand random(static_cast<std::minstd_rand::result_type>(seed));
    for (const Fault& fault : faults) {
        switch (fault.kind) {
            case FaultKind::kVersionWrap: WrapVersions(tables, fault.at); break;
            case FaultKind::kPmtMove: MovePmt(tables, description, fault.at, random); break;
            case FaultKind::kBadHuffman: BreakTexts(tables, fault.at, random); break;
            default: break;
        }
    }
}

}  // namespace mux
