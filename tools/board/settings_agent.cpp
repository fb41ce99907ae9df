// The settings agent: its settings, and the text protocol of its two queues.
#include "settings_agent.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

#include "common/mapped_file.h"

namespace board {

namespace {

constexpr int kRequestKey = 1235;
constexpr int kAnswerKey = 1236;
constexpr long kSetType = 769;
constexpr long kGetType = 770;
constexpr long kAnswerType = 772;

std::string WithoutQuotes(const std::string& value) {
    const bool quoted = value.size() >= 2 && value.front() == '"' && value.back() == '"';
    return quoted ? value.substr(1, value.size() - 2) : value;
}

/// \return whether an agent accepts the value: integers in decimal, anything for other types
bool Fits(const std::string& type, const std::string& value) {
    if (type != "i") return true;
    int number;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    return error == std::errc() && end == value.data() + value.size();
}

std::string Shown(const std::string& type, const std::string& value) {
    if (type == "i") return "INTEGER: " + value;
    if (type == "a") return "IpAddress: " + value;
    return fmt::format("STRING: \"{}\"", value);
}

}  // namespace

// clang-format off
SettingsAgent::SettingsAgent(std::string burnInto)
    : mBurnInto(std::move(burnInto)),
      mSettings{
        // OID                                 name                         type value
        {".1.3.6.1.4.1.48217.3.5.13.0", "QVAN_VERSION",              "i", "68026368"},  // 0x040e0000, a transmitter
        {".1.3.6.1.4.1.48217.3.3.1.0",  "CURRENT_ITEM_BEING_PLAYED", "s", ""},
        {".1.3.6.1.4.1.48217.3.1.1.0",  "IP_ADDRESS",                "a", "10.0.0.1"},
        {".1.3.6.1.4.1.48217.3.1.2.0",  "IP_MASK",                   "a", "255.255.255.0"},
        {".1.3.6.1.4.1.48217.3.1.3.0",  "IP_GATEWAY",                "a", "10.0.0.254"},
        {".1.3.6.1.4.1.48217.3.1.6.0",  "DHCP_ENABLE",               "i", "0"},
        {".1.3.6.1.4.1.48217.3.1.7.0",  "NETWORK_COMMIT",            "i", "0"},
        {".1.3.6.1.4.1.48217.3.5.32.0", "MULTIPLE_UPGRADE",          "s", ""},
        {".1.3.6.1.4.1.48217.3.2.9.0",  "VIDEO_RESOLUTION",          "i", "3"},
        {".1.3.6.1.4.1.48217.3.2.14.0", "SERIAL_PARAMETERS",         "s", "9600,N,8,1"},
        {".1.3.6.1.4.1.48217.3.5.27.0", "IR_CONTROL",                "i", "16"},
        {".1.3.6.1.4.1.48217.3.5.11.0", "CONFIG_SAVE",               "i", "0"},
        {".1.3.6.1.4.1.48217.3.5.7.0",  "REBOOT",                    "i", "0"},
        {".1.3.6.1.4.1.48217.3.8.5.0",  "TUNER_MODE",                "i", "0"},
        {".1.3.6.1.4.1.48217.3.3.54.0", "CLOSE_CAPTION",             "i", "0"},
        {".1.3.6.1.4.1.48217.3.3.43.0", "NETWORK_BUFFER_SIZE",       "i", "1024"},
      },
      mAnswerQueue(kAnswerKey),
      mReader(kRequestKey, [this](const Message& message, Fault fault) { Take(message, fault); }) {}
// clang-format on

std::string SettingsAgent::Get(std::string_view name) {
    const std::lock_guard lock(mMutex);
    return Named(name).value;
}

void SettingsAgent::Put(std::string_view name, const std::string& value) {
    const std::lock_guard lock(mMutex);
    Named(name).value = value;
}

void SettingsAgent::OnSet(std::string_view name, std::function<void(const std::string&)> applied) {
    const std::lock_guard lock(mMutex);
    Named(name).applied = std::move(applied);
}

void SettingsAgent::AnswerWith(std::string_view name, std::optional<std::string> text) {
    const std::lock_guard lock(mMutex);
    Named(name).answer = std::move(text);
}

SettingsAgent::Setting& SettingsAgent::Named(std::string_view name) {
    const auto found = std::ranges::find(mSettings, name, &Setting::name);
    if (found == mSettings.end()) throw std::out_of_range(fmt::format("the board has no setting {}", name));
    return *found;
}

void SettingsAgent::Take(const Message& message, Fault fault) {
    if (message.type != kSetType && message.type != kGetType) return;
    std::istringstream words(message.bytes.c_str());  // up to the zero byte
    SettingsRequest request;
    request.set = message.type == kSetType;
    std::getline(words, request.oid, ' ');
    if (request.set) {
        std::getline(words, request.type, ' ');
        std::getline(words, request.value, '\0');
    }
    std::string answer = request.oid + " = No Such Object available on this agent at this OID";
    std::function<void(const std::string&)> applied;
    {
        const std::lock_guard lock(mMutex);
        const auto setting = std::ranges::find(mSettings, request.oid, &Setting::oid);
        if (setting != mSettings.end()) {
            request.name = setting->name;
            answer = Answer(request, *setting, fault);
            if (request.set) applied = setting->applied;
        }
    }
    mRequests.Add(request);
    if (fault == Fault::kSlow) std::this_thread::sleep_for(kLate);
    if (fault != Fault::kSilent) mAnswerQueue.Send({kAnswerType, answer + '\0'});
    if (request.set && request.name == "MULTIPLE_UPGRADE") BurnImage(request.value);
    if (applied) applied(WithoutQuotes(request.value));
}

std::string SettingsAgent::Answer(const SettingsRequest& request, Setting& setting, Fault fault) {
    if (setting.answer) return *setting.answer;
    if (request.set) {
        if (request.type != setting.type || !Fits(setting.type, request.value)) return request.oid + " = Wrong Value";
        setting.value = WithoutQuotes(request.value);
    }
    const std::string value = fault == Fault::kLying ? "4711" : setting.value;
    return fmt::format("{} = {} \r\n", request.oid, Shown(setting.type, value));
}

void SettingsAgent::BurnImage(const std::string& url) {
    constexpr std::string_view kScheme = "ide://";
    if (!url.starts_with(kScheme)) return;
    Burn burn{url.substr(kScheme.size()), mBurnInto};
    std::error_code error;
    std::filesystem::copy_file(burn.image, burn.copy, std::filesystem::copy_options::overwrite_existing, error);
    const auto image = common::MapFile(burn.image), copy = common::MapFile(burn.copy);
    burn.size = image ? image->size() : 0;
    burn.good = !error && image && copy && std::ranges::equal(*image, *copy);
    mBurns.Add(burn);
}

}  // namespace board
