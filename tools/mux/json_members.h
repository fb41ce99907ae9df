/// Members of a JSON object, read into variables that hold their defaults.
#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <type_traits>
#include <utility>

#include "section.h"

namespace mux {

/// Throws std::runtime_error: what was expected of a member.
[[noreturn]] inline void Expected(const std::string& key, const std::string& what, const nlohmann::json& value) {
    Fail("{}: {} was expected, not {}", key, what, value.dump());
}

/// Reads throw std::runtime_error for a number out of range, and nlohmann::json::exception, which names the member's
/// place, for another type and for a missing member.
class Members {
 public:
    explicit Members(const nlohmann::json& object) : mObject(object) {
        if (!object.is_object()) Fail("an object was expected, not {}", object.dump());
    }

    /// \return a member; null where there is none
    const nlohmann::json* Find(const std::string& key) {
        mKnown.insert(key);
        const auto found = mObject.find(key);
        return found == mObject.end() ? nullptr : &*found;
    }

    /// \return a required member
    const nlohmann::json& At(const std::string& key) {
        mKnown.insert(key);
        return mObject.at(key);
    }

    /// Calls `read` with each element of an array; not at all without the member.
    template <class Reader>
    void Each(const std::string& key, Reader read) {
        if (const auto* const member = Find(key))
            for (const nlohmann::json& element : member->get_ref<const nlohmann::json::array_t&>()) read(element);
    }

    /// Reads a member where there is one; a number is whole and within the limits of its type.
    template <class T>
    void Read(const std::string& key, T& value) {
        if constexpr (std::is_integral_v<T> && !std::is_same_v<T, bool>) {
            Read(key, value, std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
        } else if (const auto* const member = Find(key)) {
            value = member->get<T>();
        }
    }

    /// The same for a whole number in a range.
    template <class T>
    void Read(const std::string& key, T& value, std::int64_t least, std::int64_t most) {
        const auto* const member = Find(key);
        if (member == nullptr) return;
        if (!member->is_number_integer() || member->get<std::int64_t>() < least || member->get<std::int64_t>() > most)
            Expected(key, fmt::format("a number from {} to {}", least, most), *member);
        value = member->get<T>();
    }

    /// The same for one of several words, each with its value.
    template <class T>
    void Choose(const std::string& key, T& value, std::initializer_list<std::pair<std::string, T>> words) {
        const auto* const member = Find(key);
        if (member == nullptr) return;
        const auto* const found =
            std::find_if(words.begin(), words.end(), [&](const auto& word) { return *member == word.first; });
        if (found != words.end()) {
            value = found->second;
            return;
        }
        std::string list;
        for (const auto& [word, meaning] : words) list += (list.empty() ? "one of \"" : ", \"") + word + "\"";
        Expected(key, list, *member);
    }

    /// Throws std::runtime_error for the first member that nothing has read.
    void CheckAllRead() const {
        for (const auto& [key, value] : mObject.items())
            if (!mKnown.contains(key)) Fail("{}: there is no such key", key);
    }

 private:
    const nlohmann::json& mObject;
    std::set<std::string> mKnown;
};

}  // namespace mux
