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
#include <bitstream/mpeg/ts.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>

#include "mux/ett_writer.h"
#include "mux/multiplexer.h"

namespace {

mux::Description MakeDescription() {
    mux::Description description;
    description.rate = 6'000'000;
    description.transportStreamId = 0x0811;
    description.start = 1'456'000'018;
    for (std::uint16_t number = 1; number <= 40; ++number) {  // more than one section of the VCT
        mux::Programme programme;
        programme.number = number;
        programme.pmtPid = static_cast<std::uint16_t>(0x20 + 16 * number);
        programme.name = "CH " + std::to_string(number);
        programme.major = number;
        programme.minor = 1;
        programme.sourceId = static_cast<std::uint16_t>(100 + number);
        programme.audio = {{.pid = static_cast<std::uint16_t>(programme.pmtPid + 4),
                            .language = "spa",
                            .audioType = 2,
                            .bitRate = 32'000}};
        if (number < 4)
            programme.events = {{.id = 9,
                                 .start = -600,
                                 .seconds = 3600,
                                 .title = {{.text = "Now"}},
                                 .text = {{.text = "What is on"}}}};
        description.programmes.push_back(std::move(programme));
    }
    return description;
}

// What came out of the decoders.
struct Seen {
    std::map<int, int> pat;                ///< programme, PID
    std::map<int, std::string> languages;  ///< PMT's programme, descriptor bytes
    std::map<int, int> mgt;                ///< table_type, PID
    std::map<int, std::string> channels;   ///< programme, name
    std::set<std::uint32_t> times;
    std::map<int, std::string> events;  ///< source_id, id, start, seconds
    std::set<std::uint32_t> texts;      ///< ETM_id
    dvbpsi_t* psip = nullptr;
};

void OnPat(void* data, dvbpsi_pat_t* pat) {
    for (auto* entry = pat->p_first_program; entry != nullptr; entry = entry->p_next)
        static_cast<Seen*>(data)->pat[entry->i_number] = entry->i_pid;
    dvbpsi_pat_delete(pat);
}

void OnPmt(void* data, dvbpsi_pmt_t* pmt) {
    const auto* const descriptor = pmt->p_first_es->p_first_descriptor;
    static_cast<Seen*>(data)->languages[pmt->i_program_number] =
        std::string(descriptor->p_data, descriptor->p_data + descriptor->i_length);
    dvbpsi_pmt_delete(pmt);
}

void OnMgt(void* data, dvbpsi_atsc_mgt_t* mgt) {
    for (auto* table = mgt->p_first_table; table != nullptr; table = table->p_next)
        static_cast<Seen*>(data)->mgt[table->i_table_type] = table->i_table_type_pid;
    dvbpsi_atsc_DeleteMGT(mgt);
}

void OnVct(void* data, dvbpsi_atsc_vct_t* vct) {
    for (auto* channel = vct->p_first_channel; channel != nullptr; channel = channel->p_next) {
        std::string name;
        for (int i = 1; i < 14 && channel->i_short_name[i] != 0; i += 2)
            name += static_cast<char>(channel->i_short_name[i]);
        static_cast<Seen*>(data)->channels[channel->i_program_number] =
            name + "/" + std::to_string(channel->i_major_number) + "." + std::to_string(channel->i_minor_number);
    }
    dvbpsi_atsc_DeleteVCT(vct);
}

void OnStt(void* data, dvbpsi_atsc_stt_t* stt) {
    static_cast<Seen*>(data)->times.insert(stt->i_system_time);
    dvbpsi_atsc_DeleteSTT(stt);
}

void OnEit(void* data, dvbpsi_atsc_eit_t* eit) {
    std::string& all = static_cast<Seen*>(data)->events[eit->i_source_id];
    for (auto* event = eit->p_first_event; event != nullptr; event = event->p_next) {
        all += std::to_string(event->i_event_id) + "@" + std::to_string(event->i_start_time) + "+" +
               std::to_string(event->i_length_seconds);
    }
    dvbpsi_atsc_DeleteEIT(eit);
}

void OnEtt(void* data, dvbpsi_atsc_ett_t* ett) {
    static_cast<Seen*>(data)->texts.insert(ett->i_etm_id);
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
    for (const mux::Packing packing : {mux::Packing::kAligned, mux::Packing::kDense}) {
        mux::Description description = MakeDescription();
        description.packing = packing;
        const Seen seen = Read(description, mux::MakeMultiplex(description, {.milliseconds = 4'000}));
        for (const auto& programme : description.programmes) {
            EXPECT_EQ(seen.pat.at(programme.number), programme.pmtPid);
            EXPECT_EQ(seen.languages.at(programme.number), "spa\x02");
            EXPECT_EQ(seen.channels.at(programme.number),
                      programme.name + "/" + std::to_string(programme.number) + ".1");
        }
        EXPECT_EQ(seen.mgt.at(0x0000), mux::kPidPsip);
        EXPECT_EQ(seen.mgt.at(0x0100), mux::kPidEit0);
        EXPECT_EQ(seen.mgt.at(0x0200), mux::kPidEtt0);
        EXPECT_EQ(seen.mgt.at(0x0103), mux::kPidEit0 + 3);
        EXPECT_EQ(seen.mgt.count(0x0203), 0u) << "no event has a text there";
        EXPECT_EQ(seen.times, (std::set{description.start}))
            << "later ones are repetitions to it: the version is always 0";
        EXPECT_EQ(seen.events.at(101), "9@" + std::to_string(description.start - 600) + "+3600");
        EXPECT_EQ(seen.events.at(110), "");
        EXPECT_EQ(seen.texts, (std::set{mux::EventEtmId(101, 9), mux::EventEtmId(102, 9), mux::EventEtmId(103, 9)}));
    }
}

}  // namespace
