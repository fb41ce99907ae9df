/// Suggestions for mistyped words.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zulctl {

/// \return "; did you mean \"status\"?" for the most similar of the known words, or an empty text where none is
std::string DidYouMean(std::string_view word, const std::vector<std::string>& known);

}  // namespace zulctl
