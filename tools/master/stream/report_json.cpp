// The judge's report as JSON.
#include <nlohmann/json.hpp>

#include "stream/probe.h"

namespace zulctl {

namespace {

Json JsonOf(const Spread& spread, double factor = 1) {
    if (spread.Count() == 0) return nullptr;
    return {{"least", spread.Least() * factor}, {"mean", spread.Mean() * factor}, {"most", spread.Most() * factor}};
}

Json JsonOf(const TableReport& table) {
    return {{"sections", table.sections},
            {"version", table.version < 0 ? Json() : Json(table.version)},
            {"version_changes", table.versionChanges},
            {"crc_errors", table.crcErrors},
            {"interval_ms", JsonOf(table.interval, 1000)}};
}

Json JsonOf(std::uint16_t number, const ProgrammeReport& programme) {
    Json streams = Json::array();
    for (const auto& stream : programme.streams) {
        streams.push_back({{"pid", stream.pid},
                           {"stream_type", stream.type},
                           {"kind", StreamTypeName(stream.type)},
                           {"language", stream.language.empty() ? Json() : Json(stream.language)}});
    }
    return {{"programme", number},
            {"pmt_pid", programme.pmtPid},
            {"pcr_pid", programme.pcrPid},
            {"pmt", JsonOf(programme.pmt)},
            {"streams", streams}};
}

}  // namespace

Json JsonOf(const std::string& stream, const StreamReport& report, const std::vector<Finding>& findings, bool good) {
    Json pids = Json::array(), programmes = Json::array(), seconds = Json::array(), faults = Json::array(),
         notes = Json::array();
    for (const auto& [pid, item] : report.pids) {
        pids.push_back({{"pid", pid},
                        {"what", report.PidPurpose(pid)},
                        {"packets", item.packets},
                        {"continuity_errors", item.continuityErrors},
                        {"duplicates", item.duplicates},
                        {"scrambled", item.scrambled},
                        {"damaged", item.damaged}});
    }
    for (const auto& [number, programme] : report.programmes) programmes.push_back(JsonOf(number, programme));
    for (const StreamCounts& second : report.perSecond) {
        seconds.push_back({{"bits", second.bytes * 8},
                           {"packets", second.packets},
                           {"datagrams", second.datagrams},
                           {"continuity_errors", second.continuityErrors},
                           {"sync_losses", second.syncLosses}});
    }
    for (const Finding& finding : findings) (finding.fault ? faults : notes).push_back(finding.text);
    return {{"stream", stream},
            {"good", good},
            {"faults", faults},
            {"notes", notes},
            {"seconds", report.seconds},
            {"bits_per_second", report.BitRate()},
            {"datagrams", report.datagrams},
            {"bytes", report.bytes},
            {"packets", report.packets},
            {"continuity_errors", report.continuityErrors},
            {"sync_losses", report.syncLosses},
            {"repeated_datagrams", report.repeatedDatagrams},
            {"odd_datagrams", report.oddDatagrams},
            {"dropped_here", report.lostHere},
            {"datagram_bytes", JsonOf(report.datagramSize)},
            {"inter_arrival_ms", JsonOf(report.interArrival, 1000)},
            {"transport_stream_id", report.transportId},
            {"blanked_entries", report.blankedEntries},
            {"pat", JsonOf(report.pat)},
            {"programmes", programmes},
            {"pids", pids},
            {"per_second", seconds}};
}

}  // namespace zulctl
