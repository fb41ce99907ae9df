/// Descriptions of multiplexes as JSON; tools/mux/README.md lists the keys.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "description.h"

namespace mux {

/// Reads a description. \param start  system_time of its start, GPS seconds, instead of that in the text
/// Throws Error naming the key that is wrong.
Description ParseDescription(const std::string& json, std::optional<std::uint32_t> start = std::nullopt);

/// The same from a file. Also throws Error when it can't be read; the message begins with the file name.
Description LoadDescription(const std::string& file, std::optional<std::uint32_t> start = std::nullopt);

/// A moment as "2026-03-01T18:00:00Z", or "now". \return Unix time. Throws Error for anything else.
std::int64_t ParseUtc(const std::string& text);

/// A text: a string, in English and in the smallest coding, or an object or an array of objects with "text",
/// "language", "compression" and "mode".
Text ReadText(const nlohmann::json& value);

/// The events of a "guide": those listed and those made by its rules.
std::vector<GuideEvent> ReadGuide(const nlohmann::json& value, std::int64_t startUtc);

}  // namespace mux
