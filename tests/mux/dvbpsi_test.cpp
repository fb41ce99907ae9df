// Multiplexes read by libdvbpsi, packet by packet.
#include <dvbpsi/dvbpsi.h>
//
#include <dvbpsi/demux.h>
#include <dvbpsi/descriptor.h>
#include <dvbpsi/pat.h>
#include <dvbpsi/pmt.h>
#include <dvbpsi/psi.h>
//
#include <dvbpsi/atsc_eit.h>
#include <dvbpsi/atsc_ett.h>
#include <dvbpsi/atsc_mgt.h>
#include <dvbpsi/atsc_stt.h>
#include <dvbpsi/atsc_vct.h>
//
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "line.h"
#include "mux/ett_writer.h"
#include "mux/multiplexer.h"
#include "stream_reader.h"

namespace {

/// What came out of the decoders, a line each.
using Seen = std::set<std::string>;

template <class... Parts>
void Note(void* seen, const Parts&... parts) {
    static_cast<Seen*>(seen)->insert(Line(parts...));
}

void OnPat(void* seen, dvbpsi_pat_t* pat) {
    for (auto* entry = pat->p_first_program; entry != nullptr; entry = entry->p_next)
        Note(seen, "PAT", entry->i_number, entry->i_pid);
    dvbpsi_pat_delete(pat);
}

void OnPmt(void* seen, dvbpsi_pmt_t* pmt) {
    const auto* const descriptor = pmt->p_first_es->p_first_descriptor;
    Note(seen, "PMT", pmt->i_program_number,
         std::string(descriptor->p_data, descriptor->p_data + descriptor->i_length));
    dvbpsi_pmt_delete(pmt);
}

void OnMgt(void* seen, dvbpsi_atsc_mgt_t* mgt) {
    for (auto* table = mgt->p_first_table; table != nullptr; table = table->p_next)
        Note(seen, "MGT", table->i_table_type, table->i_table_type_pid);
    dvbpsi_atsc_DeleteMGT(mgt);
}

void OnVct(void* seen, dvbpsi_atsc_vct_t* vct) {
    for (auto* channel = vct->p_first_channel; channel != nullptr; channel = channel->p_next) {
        std::string name;
        for (int i = 1; i < 14 && channel->i_short_name[i] != 0; i += 2)
            name += static_cast<char>(channel->i_short_name[i]);
        Note(seen, "VCT", channel->i_program_number, name, channel->i_major_number, channel->i_minor_number);
    }
    dvbpsi_atsc_DeleteVCT(vct);
}

void OnStt(void* seen, dvbpsi_atsc_stt_t* stt) {
    Note(seen, "STT", stt->i_system_time);
    dvbpsi_atsc_DeleteSTT(stt);
}

void OnEit(void* seen, dvbpsi_atsc_eit_t* eit) {
    Note(seen, "EIT", eit->i_source_id);
    for (auto* event = eit->p_first_event; event != nullptr; event = event->p_next)
        Note(seen, "EIT", eit->i_source_id, event->i_event_id, event->i_start_time, event->i_length_seconds);
    dvbpsi_atsc_DeleteEIT(eit);
}

void OnEtt(void* seen, dvbpsi_atsc_ett_t* ett) {
    Note(seen, "ETT", ett->i_etm_id);
    dvbpsi_atsc_DeleteETT(ett);
}

void OnSubtable(dvbpsi_t* handle, std::uint8_t tableId, std::uint16_t extension, void* data) {
    switch (tableId) {
        case 0xC7: dvbpsi_atsc_AttachMGT(handle, tableId, extension, OnMgt, data); break;
        case 0xC8: dvbpsi_atsc_AttachVCT(handle, tableId, extension, OnVct, data); break;
        case 0xCB: dvbpsi_atsc_AttachEIT(handle, tableId, extension, OnEit, data); break;
        case 0xCC: dvbpsi_atsc_AttachETT(handle, tableId, extension, OnEtt, data); break;
        case 0xCD: dvbpsi_atsc_AttachSTT(handle, tableId, extension, OnStt, data); break;
        default: ADD_FAILURE() << "table " << int{tableId};
    }
}

void OnMessage(dvbpsi_t*, dvbpsi_msg_level_t, const char* message) { ADD_FAILURE() << message; }

void Detach(dvbpsi_t* handle, std::uint16_t pid) {
    if (handle->p_decoder != nullptr) {
        if (pid == mux::kPidPat)
            dvbpsi_pat_detach(handle);
        else if (pid < mux::kPidEit0)
            dvbpsi_pmt_detach(handle);
        else
            dvbpsi_DetachDemux(handle);
    }
    dvbpsi_delete(handle);
}

Seen Read(const mux::Description& description, mux::Octets stream) {
    Seen seen;
    std::map<std::uint16_t, dvbpsi_t*> handles;
    const auto make = [&](std::uint16_t pid) { return handles[pid] = dvbpsi_new(OnMessage, DVBPSI_MSG_WARN); };
    dvbpsi_pat_attach(make(mux::kPidPat), OnPat, &seen);
    for (const auto& programme : description.programmes)
        dvbpsi_pmt_attach(make(programme.pmtPid), programme.number, OnPmt, &seen);
    for (const std::uint16_t pid : {mux::kPidPsip, mux::kPidEit0, mux::kPidEtt0})
        dvbpsi_AttachDemux(make(pid), OnSubtable, &seen);
    for (std::size_t at = 0; at < stream.size(); at += mux::kPacketSize) {
        const auto handle = handles.find(ts_get_pid(&stream[at]));
        if (handle != handles.end()) dvbpsi_packet_push(handle->second, &stream[at]);
    }
    for (const auto& [pid, handle] : handles) Detach(handle, pid);
    return seen;
}

TEST(Libdvbpsi, ReadsEveryTableOfAMultiplex) {
    mux::Description description = MakeDescription(6'000'000, 40);  // more than one section of the VCT
    Seen expected{Line("MGT", 0x0000, mux::kPidPsip), Line("STT", description.start),  // later ones: the same version
                  Line("MGT", 0x0200, mux::kPidEtt0)};  // no text behind the first window
    for (int k = 0; k < 4; ++k) expected.insert(Line("MGT", 0x0100 + k, mux::kPidEit0 + k));
    for (mux::Programme& programme : description.programmes) {
        programme.video.reset();
        programme.audio[0] = {.pid = programme.audio[0].pid, .language = "spa", .audioType = 2, .bitRate = 32'000};
        expected.insert({Line("PAT", programme.number, programme.pmtPid), Line("PMT", programme.number, "spa\x02"),
                         Line("VCT", programme.number, programme.name, programme.number, 1),
                         Line("EIT", programme.sourceId)});
        if (programme.number >= 4) continue;
        programme.events = {
            {.id = 9, .start = -600, .seconds = 3600, .title = {{.text = "Now"}}, .text = {{.text = "What is on"}}}};
        expected.insert({Line("EIT", programme.sourceId, 9, description.start - 600, 3600),
                         Line("ETT", mux::EventEtmId(programme.sourceId, 9))});
    }
    for (const mux::Packing packing : {mux::Packing::kAligned, mux::Packing::kDense}) {
        description.packing = packing;
        EXPECT_EQ(Read(description, mux::MakeMultiplex(description, {.milliseconds = 4'000})), expected);
    }
}

}  // namespace
