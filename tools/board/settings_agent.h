/// The board's settings agent: keeps the settings by OID and answers the module over queues 1235 and 1236.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "journal.h"
#include "queue.h"

namespace board {

/// One request, as received.
struct SettingsRequest {
    bool set = false;
    std::string oid;
    std::string name;   ///< the board's name of the setting; empty for an OID that it doesn't serve
    std::string type;   ///< of a set: i integer, a address, s text
    std::string value;  ///< of a set, as received
};

/// One image that was burnt.
struct Burn {
    std::string image;  ///< path that the module gave
    std::string copy;   ///< file with the written image
    std::size_t size = 0;
    bool good = false;  ///< the copy reads back as the image
};

class SettingsAgent {
 public:
    /// \param burnInto  file for upgrade images
    explicit SettingsAgent(std::string burnInto);

    Journal<SettingsRequest>& Requests() { return mRequests; }
    Journal<Burn>& Burns() { return mBurns; }

    /// \return value of a setting, by the board's name, which must exist
    std::string Get(std::string_view name);
    void Put(std::string_view name, const std::string& value);

    /// Calls `applied` on the agent's thread after a setting was set and answered, and its image burnt.
    void OnSet(std::string_view name, std::function<void(const std::string& value)> applied);

    /// kSilent and kFull block the module for good. kSlow answers after 300 ms. kLying reports a wrong value.
    void Set(Fault fault) { mReader.Set(fault); }

    /// From now on answers requests for one setting with this text, such as one without '='.
    void AnswerWith(std::string_view name, std::optional<std::string> text);

 private:
    struct Setting {
        std::string oid;
        std::string name;
        std::string type;
        std::string value;
        std::optional<std::string> answer{};  ///< instead of the right one
        std::function<void(const std::string&)> applied{};
    };

    void Take(const Message& message, Fault fault);
    static std::string Answer(const SettingsRequest& request, Setting& setting, Fault fault);
    void BurnImage(const std::string& url);
    Setting& Named(std::string_view name);

    const std::string mBurnInto;
    Journal<SettingsRequest> mRequests;
    Journal<Burn> mBurns;
    std::mutex mMutex;
    std::vector<Setting> mSettings;
    const Queue mAnswerQueue;
    QueueReader mReader;  ///< last: its thread uses all of the above
};

}  // namespace board
