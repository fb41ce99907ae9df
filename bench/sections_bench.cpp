// What a section costs on its way from packets to the store, table by table, beside libdvbpsi on the same packets; and
// a coded text by itself, which libdvbpsi leaves as it is, beside libucsi.
#include <benchmark/benchmark.h>

#include "core/log.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "psip/multiplestring.h"
#include "psip/tablecollector.h"
#include "psip_sections.h"

#ifdef ZUL_HAS_UCSI
#include <libucsi/atsc/types.h>
#endif

#ifdef ZUL_HAS_DVBPSI
// Each of these needs those above it.
// clang-format off
#include <dvbpsi/dvbpsi.h>
#include <dvbpsi/psi.h>
#include <dvbpsi/descriptor.h>
#include <dvbpsi/demux.h>
#include <dvbpsi/atsc_eit.h>
#include <dvbpsi/atsc_ett.h>
#include <dvbpsi/atsc_mgt.h>
#include <dvbpsi/atsc_stt.h>
#include <dvbpsi/atsc_vct.h>
// clang-format on
#endif

namespace {

using transport::Blob;

constexpr unsigned kGuidePid = 0x1D00;
constexpr std::uint16_t kSource = 1;
constexpr unsigned kVersions = 32;

/// "The Evening News and Sports Tonight" by C.5.
const Blob kTitle{0x42, 0xD4, 0xF4, 0x55, 0xB2, 0xF2, 0xCC, 0x7D, 0x25, 0x81, 0x63, 0x78, 0xC3, 0xD0};
/// 128 characters by C.7.
const Blob kDescription{0xD7, 0xF1, 0xD1, 0xE7, 0xBD, 0x5B, 0x4F, 0xD1, 0xF6, 0xCC, 0x8D, 0xDE, 0x03, 0xFF,
                        0x53, 0xF1, 0x64, 0xD7, 0x3A, 0xEE, 0x6F, 0xF5, 0x6D, 0x3F, 0x44, 0x8B, 0xBE, 0x10,
                        0x13, 0xEF, 0x88, 0x90, 0xF4, 0xF7, 0x66, 0xAE, 0xB1, 0x9D, 0xEC, 0xC5, 0x5F, 0x7D,
                        0x3F, 0x3B, 0x7B, 0xB2, 0xDB, 0x77, 0xA7, 0xED, 0x8E, 0x42, 0xFF, 0x4F, 0x53, 0x40};

/// \param mode  makes a text another one for the store
Blob Coded(std::uint8_t compression, unsigned mode, const Blob& bytes) {
    Blob structure{
        1, 'e', 'n', 'g', 1, compression, static_cast<std::uint8_t>(mode), static_cast<std::uint8_t>(bytes.size())};
    transport::Append(structure, bytes);
    return structure;
}

enum Table { kMgt, kVct, kStt, kEit, kEttPlain, kEttCoded };
constexpr const char* kNames[] = {"MGT", "VCT", "STT", "EIT", "ETT plain", "ETT coded"};

constexpr unsigned Pid(Table table) { return table >= kEit ? kGuidePid : 0x1FFB; }

/// A table as broadcasts have it. Each version brings something new.
Blob Section(Table table, unsigned version) {
    std::vector<Blob> entries;
    switch (table) {
        case kMgt:
            for (unsigned i = 0; i < 24; ++i) {
                entries.push_back(transport::MgtTable(i < 12 ? 0x100 + i : 0x200 + i - 12, kGuidePid + i));
            }
            return transport::Mgt(entries, version);
        case kVct:
            for (unsigned i = 1; i <= 6; ++i) entries.push_back(transport::VctChannel(i, 7, i, i, Blob(20, 0)));
            return transport::Vct(0xC8, 1, entries, version);
        case kStt: return transport::Stt(1400000000, 18, version);
        case kEit:
            for (unsigned i = 1; i <= 12; ++i) {
                entries.push_back(
                    transport::EitEvent(i, 1400000000 + i * 1800, 1800, Coded(1, version, kTitle), Blob(16, 0)));
            }
            return transport::Eit(kSource, entries, version);
        case kEttPlain:
            return transport::Ett(kSource, 1 << 2 | 2,
                                  transport::Plain(std::string(500, static_cast<char>('@' + version))), version);
        case kEttCoded: return transport::Ett(kSource, 2 << 2 | 2, Coded(2, version, kDescription), version);
    }
    return {};
}

/// kVersions sections in packets; played in a circle the continuity counter stays in step.
/// \param newVersions  each is a new version, else all are the same
Blob Packets(Table table, bool newVersions) {
    Blob packets;
    unsigned continuity = 0;
    for (unsigned i = 0; i < kVersions; ++i) {
        transport::Append(packets,
                          transport::SectionPackets(Pid(table), continuity, Section(table, newVersions ? i : 1)));
    }
    return packets;
}

void Report(benchmark::State& state, Table table) {
    const auto sections = static_cast<std::int64_t>(state.iterations()) * kVersions;
    state.SetItemsProcessed(sections);
    state.SetBytesProcessed(sections * static_cast<std::int64_t>(Section(table, 1).size()));
}

void BM_Filter(benchmark::State& state, Table table, bool newVersions) {
    global_debug_flag = 0;
    TunerManager tuner('T');
    TsFilter filter('T', &tuner);
    filter.FilterActive(true);
    for (std::uint16_t program = 1; program <= 6; ++program) tuner.AddProgramToScanResults(1, program);
    // Behind the last packet another, which alone isn't analysed.
    const auto feed = [&](Blob packets) {
        transport::Append(packets, transport::Filled(0x1FFF, 0, 0xFF));
        filter.Filter(packets.data(), static_cast<int>(packets.size()));
    };
    feed(Packets(kMgt, true));
    feed(Packets(kVct, true));
    Blob packets = Packets(table, newVersions);
    transport::Append(packets, transport::Filled(0x1FFF, 0, 0xFF));
    for (auto _ : state) filter.Filter(packets.data(), static_cast<int>(packets.size()));
    Report(state, table);
}

/// The collector alone: no walk, no analysis.
void BM_Collector(benchmark::State& state, Table table, bool newVersions) {
    global_debug_flag = 0;
    TableCollector collector;
    const Blob packets = Packets(table, newVersions);
    for (auto _ : state) {
        for (std::size_t at = 0; at < packets.size(); at += transport::kPacket) {
            const Bytes packet(&packets[at], transport::kPacket);
            const bool start = (packet[1] & 0x40) != 0;
            int tableId = 0;
            benchmark::DoNotOptimize(collector.CollectPsipSection(static_cast<std::uint16_t>(Pid(table)),
                                                                  packet.subspan(start ? 5 : 4), start,
                                                                  packet[3] & 0x0F, &tableId));
        }
    }
    Report(state, table);
}

/// As many section objects as there may be, and a stream that always wants another.
void BM_Hostile(benchmark::State& state) {
    global_debug_flag = 0;
    TableCollector collector;
    Blob section = Section(kStt, 1);
    unsigned next = 0;
    for (auto _ : state) {
        section[6] = static_cast<std::uint8_t>(next);
        const auto pid = static_cast<std::uint16_t>(next++ >> 8 & 0x1FFF);
        int tableId = 0;
        benchmark::DoNotOptimize(collector.CollectPsipSection(pid, section, true, 0, &tableId));
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}

void BM_Crc32(benchmark::State& state) {
    const Blob bytes(static_cast<std::size_t>(state.range(0)), 0xA5);
    for (auto _ : state) benchmark::DoNotOptimize(crc32(bytes.data(), static_cast<std::uint32_t>(bytes.size())));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}

void BM_Text(benchmark::State& state) {
    char text[1024];
    std::uint32_t size = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(atsc_huffman1_to_string(kDescription, text, sizeof text - 1, &size, 2));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * (size - 1));
}

#ifdef ZUL_HAS_UCSI

void BM_LibucsiText(benchmark::State& state) {
    Blob segment{2, 0, static_cast<std::uint8_t>(kDescription.size())};
    transport::Append(segment, kDescription);
    std::uint8_t* text = nullptr;
    std::size_t room = 0, size = 0;
    for (auto _ : state) {
        size = 0;
        atsc_text_segment_decode(reinterpret_cast<atsc_text_string_segment*>(segment.data()), &text, &room, &size);
        benchmark::DoNotOptimize(text);
    }
    std::free(text);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}

#endif

#ifdef ZUL_HAS_DVBPSI

/// Asks for the decoder of a table as it turns up, and drops what it decodes.
void Attach(dvbpsi_t* handle, std::uint8_t tableId, std::uint16_t extension, void*) {
    switch (tableId) {
        case 0xC7:
            dvbpsi_atsc_AttachMGT(
                handle, tableId, extension, [](void*, dvbpsi_atsc_mgt_t* t) { dvbpsi_atsc_DeleteMGT(t); }, nullptr);
            break;
        case 0xC8:
            dvbpsi_atsc_AttachVCT(
                handle, tableId, extension, [](void*, dvbpsi_atsc_vct_t* t) { dvbpsi_atsc_DeleteVCT(t); }, nullptr);
            break;
        case 0xCB:
            dvbpsi_atsc_AttachEIT(
                handle, tableId, extension, [](void*, dvbpsi_atsc_eit_t* t) { dvbpsi_atsc_DeleteEIT(t); }, nullptr);
            break;
        case 0xCC:
            dvbpsi_atsc_AttachETT(
                handle, tableId, extension, [](void*, dvbpsi_atsc_ett_t* t) { dvbpsi_atsc_DeleteETT(t); }, nullptr);
            break;
        case 0xCD:
            dvbpsi_atsc_AttachSTT(
                handle, tableId, extension, [](void*, dvbpsi_atsc_stt_t* t) { dvbpsi_atsc_DeleteSTT(t); }, nullptr);
            break;
        default: break;
    }
}

void BM_Dvbpsi(benchmark::State& state, Table table, bool newVersions) {
    dvbpsi_t* const handle = dvbpsi_new(nullptr, DVBPSI_MSG_NONE);
    dvbpsi_AttachDemux(handle, Attach, nullptr);
    Blob packets = Packets(table, newVersions);
    for (auto _ : state) {
        for (std::size_t at = 0; at < packets.size(); at += transport::kPacket)
            dvbpsi_packet_push(handle, &packets[at]);
    }
    Report(state, table);
    dvbpsi_DetachDemux(handle);
    dvbpsi_delete(handle);
}

#endif

void Register() {
    for (const Table table : {kMgt, kVct, kStt, kEit, kEttPlain, kEttCoded}) {
        for (const bool newVersions : {true, false}) {
            const std::string name = std::string(kNames[table]) + (newVersions ? "/new/" : "/repeats/");
            benchmark::RegisterBenchmark((name + "collector").c_str(), BM_Collector, table, newVersions);
            benchmark::RegisterBenchmark((name + "packet to store").c_str(), BM_Filter, table, newVersions);
#ifdef ZUL_HAS_DVBPSI
            benchmark::RegisterBenchmark((name + "libdvbpsi").c_str(), BM_Dvbpsi, table, newVersions);
#endif
        }
    }
    benchmark::RegisterBenchmark("objects/all in use, another wanted", BM_Hostile);
    benchmark::RegisterBenchmark("text/ours", BM_Text);
#ifdef ZUL_HAS_UCSI
    benchmark::RegisterBenchmark("text/libucsi", BM_LibucsiText);
#endif
    benchmark::RegisterBenchmark("crc32", BM_Crc32)->Arg(16)->Arg(180)->Arg(1020)->Arg(4092);
}

}  // namespace

int main(int argc, char** argv) {
    Register();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
