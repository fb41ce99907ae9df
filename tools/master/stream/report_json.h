/// The judge's report as JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "stream/probe.h"

namespace zulctl {

nlohmann::ordered_json JsonOf(const std::string& stream, const StreamReport& report,
                              const std::vector<Finding>& findings, bool good);

}  // namespace zulctl
