/// The same work on several boards at the same time.
#pragma once

#include <future>
#include <optional>
#include <type_traits>
#include <vector>

#include "net/session.h"

namespace zulctl {

/// What became of the work on one board: a result or a failure.
template <typename Result>
struct Outcome {
    Target target;
    std::optional<Result> result{};
    std::optional<Failure> failure{};
};

/// Calls `work` with each board, in parallel. \return the outcomes in the order of the boards
template <typename Work, typename Result = std::invoke_result_t<Work, const Target&>>
std::vector<Outcome<Result>> OnEach(const std::vector<Target>& targets, Work work) {
    std::vector<std::future<Outcome<Result>>> pending;
    for (const Target& target : targets) {
        pending.push_back(std::async(std::launch::async, [&work, &target] {
            Outcome<Result> outcome{target};
            try {
                outcome.result = work(target);
            } catch (const Failure& failure) {
                outcome.failure = failure;
            }
            return outcome;
        }));
    }
    std::vector<Outcome<Result>> outcomes;
    for (auto& future : pending) outcomes.push_back(future.get());
    return outcomes;
}

}  // namespace zulctl
