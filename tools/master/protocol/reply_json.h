/// What boards reply as JSON, the same in every command that prints it.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "protocol/beacon.h"
#include "protocol/channels.h"
#include "protocol/guide_reply.h"
#include "protocol/status.h"

namespace zulctl {

/// Texts of the broadcast are UTF-8; the output escapes them for terminals.
nlohmann::ordered_json JsonOf(const Channel& channel);
nlohmann::ordered_json JsonOf(const std::vector<Channel>& channels);
nlohmann::ordered_json JsonOf(const GuideEvent& event);

nlohmann::ordered_json JsonOf(const TransmitterStatus& status);
nlohmann::ordered_json JsonOf(const ReceiverStatus& status);
nlohmann::ordered_json JsonOf(const ScanState& scan);

/// A board and its reply to STATUS, by role; neither is given without a reply.
/// \param error  why there is none, or an empty text
nlohmann::ordered_json BoardJson(const std::string& name, const Endpoint& at, Role role,
                                 const std::optional<TransmitterStatus>& transmitter,
                                 const std::optional<ReceiverStatus>& receiver, const std::optional<ScanState>& scan,
                                 const std::string& error);

}  // namespace zulctl
