// Replies and streams of boards, as zulctl reads them: every parser of replies, and the judge of streams.
#include "target.h"

#ifdef ZUL_MASTER
#include "output/escape.h"
#include "protocol/beacon.h"
#include "protocol/board_messages.h"
#include "protocol/channels.h"
#include "protocol/guide_reply.h"
#include "protocol/requests_text.h"
#include "protocol/status.h"
#include "stream/probe.h"

namespace {

using namespace zulctl;

void PromiseShown(const std::string& text) {
    for (const char c : Escaped(text))
        fuzz::Promise(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F, "a terminal gets no control character");
}

void Parse(std::string_view reply) {
    if (const auto beacon = ParseBeacon(reply)) PromiseShown(beacon->model);
    if (const auto line = ParseLogLine(reply)) PromiseShown(line->text);
    if (const auto guide = ParseGuideReply(reply)) {
        for (const GuideEvent& event : *guide) PromiseShown(event.title), PromiseShown(event.text);
    }
    if (const auto channels = ParseScalReport(reply)) {
        for (const Channel& channel : *channels) {
            PromiseShown(channel.name);
            fuzz::Promise(channel.tunerChannel >= 0 && channel.tunerChannel <= kHighestChannel,
                          "a channel of the tuner");
        }
    }
    if (const auto status = ParseTransmitterStatus(reply)) {
        for (const StreamStatus& stream : status->streams)
            fuzz::Promise(stream.id >= 0 && stream.id < kStreamSlots, "a slot of a board");
    }
    ParseReceiverStatus(reply), ParseAddressSettings(reply), ParseVersion(reply), ParseBroadcastTime(reply);
    ParseScanState(reply), ParseUpgradeState(reply), ParseScanStep(reply);
    ParseKey(reply), ParseSerialByte(reply), ParseAudioLanguages(reply), ParseCaptionLanguages(reply);
}

}  // namespace

/// \param flags  1: a stream, whose datagram size is in the next byte, in quarters of a packet; else a
/// reply
void fuzz::Replies(Input& input, unsigned flags) {
    if ((flags & 1) == 0) {
        const Block reply = input.Rest();
        return Parse({reinterpret_cast<const char*>(reply.data()), reply.size()});
    }
    StreamProbe probe;
    const std::size_t size = input.Byte() * kTsPacketSize / 4 + 1;
    for (StreamProbe::Time now{}; !input.Empty(); now += std::chrono::milliseconds(10))
        probe.Add(input.Take(size), now);
    std::uint64_t packets = 0;
    for (const auto& [pid, item] : probe.Report().pids)
        packets += item.packets, PromiseShown(probe.Report().PidPurpose(pid));
    Promise(packets == probe.Report().packets, "each packet has a PID");
    for (const Finding& finding : Judge(probe.Report())) PromiseShown(finding.text);
}
#else
void fuzz::Replies(Input&, unsigned) {}
#endif
