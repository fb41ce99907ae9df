/// Channels and events as JSON, the same in every command that prints them.
#pragma once

#include <nlohmann/json.hpp>
#include <vector>

#include "protocol/guide_reply.h"
#include "protocol/scal_report.h"

namespace zulctl {

/// Texts of the broadcast are UTF-8; the output escapes them for terminals.
nlohmann::ordered_json JsonOf(const Channel& channel);
nlohmann::ordered_json JsonOf(const std::vector<Channel>& channels);
nlohmann::ordered_json JsonOf(const GuideEvent& event);

}  // namespace zulctl
