// The cost of a section from packets to the store, table by table, compared with libdvbpsi on the same packets; and of
// a coded text, which libdvbpsi doesn't decode, compared with libucsi.
#include <benchmark/benchmark.h>

#include "core/log.h"
#include "core/udpcom.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "psip/crc32.h"
#include "psip/multiplestring.h"
#include "psip/tablecollector.h"
#include "psip_sections.h"
#include "tables.h"

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

using namespace bench;

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
    // Another packet follows the last one, which is analysed only then.
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
            benchmark::DoNotOptimize(collector.CollectPsipSection(
                static_cast<std::uint16_t>(Pid(table)), packet.subspan(start ? 5 : 4), start, packet[3] & 0x0F));
        }
    }
    Report(state, table);
}

/// The maximum number of section objects, and a stream that always needs another.
void BM_Hostile(benchmark::State& state) {
    global_debug_flag = 0;
    TableCollector collector;
    Blob section = Section(kStt, 1);
    unsigned next = 0;
    for (auto _ : state) {
        section[6] = static_cast<std::uint8_t>(next);
        const auto pid = static_cast<std::uint16_t>(next++ >> 8 & 0x1FFF);
        benchmark::DoNotOptimize(collector.CollectPsipSection(pid, section, true, 0));
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
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

#endif

#ifdef ZUL_HAS_DVBPSI

/// Attaches the decoder of a table when it appears, and drops its results.
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
