/// Members of a JSON object, read into variables that hold their defaults.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <type_traits>
#include <utility>

#include "error.h"

namespace mux {

/// Throws Error: what was expected of a member.
[[noreturn]] inline void Expected(const std::string& key, const std::string& what, const nlohmann::json& value) {
    throw Error(key + ": " + what + " was expected, not " + value.dump());
}

/// Reads throw Error for a number out of range, and nlohmann::json::exception, which names the member's place, for
/// another type and for a missing member.
class Members {
 public:
    explicit Members(const nlohmann::json& object) : mObject(object) {
        if (!object.is_object()) throw Error("an object was expected, not " + object.dump());
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

    /// \return the elements of an array; none without the member
    const nlohmann::json::array_t& List(const std::string& key) {
        static const nlohmann::json::array_t kNone;
        const auto* const member = Find(key);
        return member == nullptr ? kNone : member->get_ref<const nlohmann::json::array_t&>();
    }

    /// Reads a member where there is one.
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
        if (!member->is_number_integer() || member->get<std::int64_t>() < least || member->get<std::int64_t>() > most) {
            Expected(key, "a number from " + std::to_string(least) + " to " + std::to_string(most), *member);
        }
        value = member->get<T>();
    }

    /// The same for one of several words, each with its value.
    template <class T>
    void Choose(const std::string& key, T& value, std::initializer_list<std::pair<const char*, T>> words) {
        const auto* const member = Find(key);
        if (member == nullptr) return;
        std::string list;
        for (const auto& [word, meaning] : words) {
            if (*member == word) {
                value = meaning;
                return;
            }
            list += (list.empty() ? "one of \"" : ", \"") + std::string(word) + "\"";
        }
        Expected(key, list, *member);
    }

    /// Throws Error for the first member that nothing has read.
    void CheckAllRead() const {
        for (const auto& [key, value] : mObject.items()) {
            if (!mKnown.contains(key)) throw Error(key + ": there is no such key");
        }
    }

 private:
    const nlohmann::json& mObject;
    std::set<std::string> mKnown;
};

}  // namespace mux
