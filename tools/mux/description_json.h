/// Descriptions of multiplexes as JSON; tools/mux/README.md lists the keys.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "description.h"

namespace mux {

/// Reads a description from text. \param start  replaces its "start", unless empty
/// Throws std::exception naming the key that is wrong, or the first two owners of a number that must be unique.
Description ParseDescription(const std::string& json, const std::string& start = "");

/// The same from a file. Throws std::runtime_error also when it can't be read; the message begins with the file name.
Description LoadDescription(const std::string& file, const std::string& start = "");

/// A moment as "2026-03-01T18:00:00Z", or "now". \return Unix time. Throws std::runtime_error for anything else.
std::int64_t ParseUtc(const std::string& text);

/// A text: a string, in English and in the smallest coding, or an object or an array of objects with "text",
/// "language", "compression" and "mode".
Text ReadText(const nlohmann::json& value);

/// The events of a "guide": those listed and those made by its rules.
std::vector<GuideEvent> ReadGuide(const nlohmann::json& value, std::int64_t startUtc);

}  // namespace mux
