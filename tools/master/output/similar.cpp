// Similarity of words: the least number of characters inserted, removed, replaced or swapped with their neighbour.
#include "output/escape.h"

#include <algorithm>
#include <cctype>

namespace zulctl {

namespace {

bool Same(char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

std::size_t Distance(std::string_view a, std::string_view b) {
    std::vector<std::vector<std::size_t>> cost(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                cost[i][j] = i + j;
                continue;
            }
            const std::size_t replaced = cost[i - 1][j - 1] + (Same(a[i - 1], b[j - 1]) ? 0 : 1);
            cost[i][j] = std::min({replaced, cost[i - 1][j] + 1, cost[i][j - 1] + 1});
            if (i > 1 && j > 1 && Same(a[i - 1], b[j - 2]) && Same(a[i - 2], b[j - 1]))
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
        }
    }
    return cost[a.size()][b.size()];
}

}  // namespace

std::string DidYouMean(std::string_view word, const std::vector<std::string>& known) {
    constexpr std::size_t kLongest = 64;
    const std::string* best = nullptr;
    std::size_t limit = std::min(word.size(), kLongest) / 3 + 2;  // distances below it count as similar
    for (const std::string& candidate : known) {
        if (word.size() > kLongest || candidate.size() > kLongest) continue;
        const std::size_t distance = Distance(word, candidate);
        if (distance >= std::min(limit, candidate.size())) continue;
        best = &candidate;
        limit = distance;
    }
    return best == nullptr ? "" : "; did you mean \"" + Escaped(*best) + "\"?";
}

}  // namespace zulctl
