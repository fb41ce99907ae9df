// JSON objects read key by key.
#include "json_reader.h"

#include <algorithm>
#include <charconv>

namespace mux {
namespace {

const nlohmann::json kEmptyObject = nlohmann::json::object();
const nlohmann::json kEmptyArray = nlohmann::json::array();

std::optional<std::int64_t> WholeNumber(const nlohmann::json& value) {
    if (value.is_number_unsigned()) {
        const auto number = value.get<std::uint64_t>();
        return number > INT64_MAX ? std::nullopt : std::optional(static_cast<std::int64_t>(number));
    }
    if (value.is_number_integer()) return value.get<std::int64_t>();
    if (!value.is_string()) return std::nullopt;
    const auto& text = value.get_ref<const std::string&>();
    if (!text.starts_with("0x")) return std::nullopt;
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data() + 2, end, number, 16);
    return error == std::errc() && at == end && number >= 0 ? std::optional(number) : std::nullopt;
}

std::string Range(std::int64_t least, std::int64_t most) {
    return "from " + std::to_string(least) + " to " + std::to_string(most);
}

}  // namespace

JsonObject::JsonObject(const nlohmann::json& value, std::string path) : mValue(value), mPath(std::move(path)) {
    if (!mValue.is_object()) throw Error((mPath.empty() ? "the description" : mPath) + ": an object was expected");
}

std::string JsonObject::PathOf(const std::string& key) const { return mPath.empty() ? key : mPath + "." + key; }

void JsonObject::Expected(const std::string& key, const std::string& what) const {
    const bool there = Has(key);
    throw Error(PathOf(key) + ": " + what + " was expected, " +
                (there ? "not " + mValue[key].dump() : "it is missing"));
}

const nlohmann::json& JsonObject::Value(const std::string& key) {
    mKnown.insert(key);
    if (!Has(key)) Expected(key, "a value");
    return mValue[key];
}

std::int64_t JsonObject::Number(const std::string& key, std::int64_t least, std::int64_t most,
                                std::optional<std::int64_t> otherwise) {
    mKnown.insert(key);
    if (!Has(key) && otherwise) return *otherwise;
    const auto number = Has(key) ? WholeNumber(mValue[key]) : std::nullopt;
    if (!number || *number < least || *number > most) Expected(key, "a number " + Range(least, most));
    return *number;
}

std::string JsonObject::String(const std::string& key, const std::optional<std::string>& otherwise) {
    mKnown.insert(key);
    if (!Has(key) && otherwise) return *otherwise;
    if (!Has(key) || !mValue[key].is_string()) Expected(key, "a text");
    return mValue[key].get<std::string>();
}

bool JsonObject::Bool(const std::string& key, bool otherwise) {
    mKnown.insert(key);
    if (!Has(key)) return otherwise;
    if (!mValue[key].is_boolean()) Expected(key, "true or false");
    return mValue[key].get<bool>();
}

std::size_t JsonObject::Choice(const std::string& key, const std::vector<std::string>& words, std::size_t otherwise) {
    mKnown.insert(key);
    if (!Has(key)) return otherwise;
    const auto at =
        mValue[key].is_string() ? std::find(words.begin(), words.end(), mValue[key].get<std::string>()) : words.end();
    if (at != words.end()) return static_cast<std::size_t>(at - words.begin());
    std::string list;
    for (const std::string& word : words) list += (list.empty() ? "one of \"" : ", \"") + word + "\"";
    Expected(key, list);
}

JsonObject JsonObject::Object(const std::string& key) {
    mKnown.insert(key);
    return {Has(key) ? mValue[key] : kEmptyObject, PathOf(key)};
}

const nlohmann::json& JsonObject::Array(const std::string& key) {
    mKnown.insert(key);
    if (!Has(key)) return kEmptyArray;
    if (!mValue[key].is_array()) Expected(key, "an array");
    return mValue[key];
}

std::vector<JsonObject> JsonObject::Objects(const std::string& key) {
    std::vector<JsonObject> objects;
    for (const auto& element : Array(key)) {
        objects.emplace_back(element, PathOf(key) + "[" + std::to_string(objects.size()) + "]");
    }
    return objects;
}

std::vector<std::string> JsonObject::Strings(const std::string& key) {
    std::vector<std::string> strings;
    for (const auto& element : Array(key)) {
        if (!element.is_string()) Expected(key, "an array of texts");
        strings.push_back(element.get<std::string>());
    }
    return strings;
}

std::vector<std::int64_t> JsonObject::Numbers(const std::string& key, std::int64_t least, std::int64_t most) {
    std::vector<std::int64_t> numbers;
    for (const auto& element : Array(key)) {
        const auto number = WholeNumber(element);
        if (!number || *number < least || *number > most) Expected(key, "an array of numbers " + Range(least, most));
        numbers.push_back(*number);
    }
    return numbers;
}

void JsonObject::CheckKeys() const {
    for (const auto& [key, value] : mValue.items()) {
        if (!mKnown.contains(key)) throw Error(PathOf(key) + ": there is no such key");
    }
}

}  // namespace mux
