/// What boards reply as JSON, the same in every command that prints it.
#pragma once

#include <string>
#include <vector>

#include "output/output.h"
#include "protocol/beacon.h"
#include "protocol/channels.h"
#include "protocol/guide_reply.h"
#include "protocol/status.h"

namespace zulctl {

/// Texts of the broadcast are UTF-8; the output escapes them for terminals.
Json JsonOf(const Channel& channel);
Json JsonOf(const std::vector<Channel>& channels);
Json JsonOf(const GuideEvent& event);
Json JsonOf(const std::vector<ChannelGuide>& guides);

Json JsonOf(const TransmitterStatus& status);
Json JsonOf(const ReceiverStatus& status);
Json JsonOf(const ScanState& scan);

/// A board and its reply to STATUS, by role; neither is given without a reply.
/// \param error  why there is none, or an empty text
Json BoardJson(const std::string& name, const Endpoint& at, Role role,
               const std::optional<TransmitterStatus>& transmitter, const std::optional<ReceiverStatus>& receiver,
               const std::optional<ScanState>& scan, const std::string& error);

}  // namespace zulctl
