/// Reads JSON objects key by key, with errors that name the key and what was expected there.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "error.h"

namespace mux {

/// An object of a JSON document and the path that leads to it. Every read marks its key as known; CheckKeys() then
/// refuses the others. All reads throw Error, as "programmes[1].pmt_pid: a number from 16 to 8190 was expected, not
/// -3".
class JsonObject {
 public:
    /// \param path  empty for the document itself
    JsonObject(const nlohmann::json& value, std::string path);

    bool Has(const std::string& key) const { return mValue.contains(key); }

    /// A whole number, also as text in hexadecimal ("0x1FFB"). Without the key: `otherwise`, or an error where that is
    /// nothing.
    std::int64_t Number(const std::string& key, std::int64_t least, std::int64_t most,
                        std::optional<std::int64_t> otherwise = std::nullopt);

    /// The same as a narrower type, over its whole range unless limits are given.
    template <class T>
    T Get(const std::string& key, std::optional<T> otherwise = std::nullopt,
          std::int64_t least = std::numeric_limits<T>::min(), std::int64_t most = std::numeric_limits<T>::max()) {
        const auto fallback = otherwise ? std::optional<std::int64_t>(*otherwise) : std::nullopt;
        return static_cast<T>(Number(key, least, most, fallback));
    }

    std::string String(const std::string& key, const std::optional<std::string>& otherwise = std::nullopt);
    bool Bool(const std::string& key, bool otherwise);

    /// One of `words`. \return its index
    std::size_t Choice(const std::string& key, const std::vector<std::string>& words, std::size_t otherwise);

    /// The value of a key that must be there.
    const nlohmann::json& Value(const std::string& key);

    /// An object; without the key an empty one.
    JsonObject Object(const std::string& key);

    /// The elements of an array, none without the key.
    std::vector<JsonObject> Objects(const std::string& key);
    std::vector<std::string> Strings(const std::string& key);
    std::vector<std::int64_t> Numbers(const std::string& key, std::int64_t least, std::int64_t most);

    /// Throws Error for the first key that nobody has read.
    void CheckKeys() const;

    std::string PathOf(const std::string& key) const;

    /// Throws Error: what was expected at a key, and what is there.
    [[noreturn]] void Expected(const std::string& key, const std::string& what) const;

 private:
    const nlohmann::json& Array(const std::string& key);

    const nlohmann::json& mValue;
    std::string mPath;
    std::set<std::string> mKnown;
};

}  // namespace mux
