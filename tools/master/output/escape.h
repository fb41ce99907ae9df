/// Text for terminals and logs: text of broadcasts and replies is always escaped. Suggestions for mistyped words.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "common/byte_text.h"

namespace zulctl {

using common::HexText;
using common::Unescaped;

/// Makes any bytes safe to print, on one line: valid UTF-8 stays, a backslash is doubled, and control characters (C0,
/// DEL, C1), bidirectional overrides, line separators and bytes that aren't UTF-8 become \r, \n, \t, \xNN or \u{NNNN}.
std::string Escaped(std::string_view bytes);

/// Escapes a message whose parts may be escaped already: as Escaped, but backslashes and line ends stay.
std::string EscapedMessage(std::string_view message);
/// Replaces control characters, line separators and bytes that aren't UTF-8 by blanks, for formats without escapes.
std::string Blanked(std::string_view bytes);

/// \return a basic string of TOML, with its quotes; control characters are escaped
std::string TomlText(std::string_view bytes);
/// \return a word for a command line in an advice: quoted where a shell needs that, and escaped
std::string ShellWord(const std::string& word);

/// \return "; did you mean \"status\"?" for the most similar of the known words, or an empty text where none is
std::string DidYouMean(std::string_view word, const std::vector<std::string>& known);

/// \return the columns that escaped UTF-8 text takes on a terminal
std::size_t DisplayWidth(std::string_view text);
/// Cuts escaped text to at most `columns`, the last of which then shows an ellipsis.
std::string CutToWidth(std::string_view text, std::size_t columns);

/// \return a time of the wall clock as in 2026-03-01T19:30:00Z
std::string UtcText(std::chrono::system_clock::time_point when);
/// \return the present time with milliseconds, as in 2026-03-01T19:30:00.123Z
std::string UtcNow();

}  // namespace zulctl
