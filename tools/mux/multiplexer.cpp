// The multiplexer: one flow per PID and per clock; each slot sends the packet that is due first.
#include "multiplexer.h"

#include <bitstream/mpeg/ts.h>

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <optional>
#include <queue>
#include <random>

#include "flow.h"

namespace mux {
namespace {

constexpr std::int64_t kPacketBits = kPacketSize * 8;

// A PCR is the arrival time of the last byte of its base (ISO/IEC 13818-1, 2.4.3.5).
constexpr std::int64_t kPcrByte = 10;

// Presentation delay of sound, 90 kHz. Decoders buffer little of it.
constexpr std::int64_t kAudioDelay = 90 * 90;

// Largest share of the rate for elementary streams and tables.
constexpr double kUsableRate = 0.98;

class Builder {
 public:
    Builder(const Description& description, const MuxOptions& options, const StreamSupply& supply)
        : mDescription(description),
          mOptions(options),
          mSlots(static_cast<std::size_t>(std::int64_t{options.milliseconds} * description.rate / 1000 / kPacketBits)),
          mScrambler(static_cast<std::minstd_rand::result_type>(options.seed)),
          mTables(MakeTables(description, options.milliseconds)) {
        AddTables();
        for (const Programme& programme : description.programmes) AddProgramme(programme, supply);
        CheckRate();
    }

    void Run(const PacketSink& sink) {
        for (std::size_t i = 0; i < mFlows.size(); ++i) Enqueue(i);
        Packet null;
        ts_pad(null.data());
        for (std::size_t slot = 0; slot < mSlots; ++slot) {
            const auto bytes = static_cast<std::int64_t>(slot * kPacketSize);
            const auto next = Dequeue(TimeOf(bytes));
            sink(next ? mFlows[*next]->Take(TimeOf(bytes + kPcrByte)) : null);
            if (next) Enqueue(*next);
        }
        for (const auto& flow : mFlows) {
            if (flow->Remaining() > 0) Fail("the rate is too low: not all packets found a slot");
        }
    }

 private:
    void Enqueue(std::size_t flow) {
        mQueues[static_cast<std::size_t>(mFlows[flow]->Class())].emplace(mFlows[flow]->Due(), flow);
    }

    // The flow that the slot at `now` belongs to, if one is due.
    std::optional<std::size_t> Dequeue(Ticks now) {
        for (auto& queue : mQueues) {
            if (queue.empty() || queue.top().first > now) continue;
            const std::size_t flow = queue.top().second;
            queue.pop();
            return flow;
        }
        return std::nullopt;
    }

    Ticks TimeOf(std::int64_t bytes) const { return bytes * 8 * kTicksPerSecond / mDescription.rate; }
    Ticks Length() const { return TimeOf(static_cast<std::int64_t>(mSlots * kPacketSize)); }

    void AddTables() {
        std::map<std::uint16_t, std::vector<const Table*>> byPid;
        for (const Table& table : mTables) byPid[table.pid].push_back(&table);
        for (const auto& [pid, tables] : byPid) {
            mFlows.push_back(std::make_unique<TableFlow>(pid, tables, mDescription.packing, Length(), mFlows.size()));
        }
    }

    EsFlow& AddStream(StreamPlan plan, const StreamSupply& supply, bool scrambled) {
        plan.units = static_cast<std::size_t>(std::int64_t{mOptions.milliseconds} * 90 / UnitTime(plan.streamId));
        auto flow = std::make_unique<EsFlow>(plan, supply(plan), Length(), scrambled ? &mScrambler : nullptr);
        EsFlow& added = *flow;
        mFlows.push_back(std::move(flow));
        return added;
    }

    // The clock is on the PID of the first stream.
    void AddProgramme(const Programme& programme, const StreamSupply& supply) {
        EsFlow* clock = nullptr;
        std::int64_t lead = 0;
        if (programme.video) {
            const Video& video = *programme.video;
            clock = &AddStream({.streamId = kStreamIdVideo, .pid = video.pid, .bitRate = video.bitRate}, supply,
                               programme.scrambled);
            lead = std::max<std::int64_t>(0, clock->NeededDelay() - kAudioDelay);
        }
        for (const Audio& audio : programme.audio) {
            EsFlow& flow =
                AddStream({.streamId = kStreamIdPrivate1, .pid = audio.pid, .bitRate = audio.bitRate, .lead = lead},
                          supply, programme.scrambled);
            flow.SetDelay(std::max(kAudioDelay, flow.NeededDelay()));
            if (clock == nullptr) clock = &flow;
        }
        if (clock != nullptr) mFlows.push_back(std::make_unique<PcrFlow>(*clock, Length()));
    }

    void CheckRate() const {
        std::size_t packets = 0;
        for (const auto& flow : mFlows) packets += flow->Remaining();
        if (static_cast<double>(packets) <= static_cast<double>(mSlots) * kUsableRate) return;
        const auto needed =
            static_cast<double>(packets) / static_cast<double>(mSlots) * mDescription.rate / kUsableRate;
        Fail("the rate of {} bit/s is too low: about {} bit/s are needed", mDescription.rate,
             static_cast<std::int64_t>(needed));
    }

    const Description& mDescription;
    const MuxOptions& mOptions;
    const std::size_t mSlots;
    std::minstd_rand mScrambler;
    const std::vector<Table> mTables;
    std::vector<std::unique_ptr<Flow>> mFlows;

    // Flows of each urgency by due time; of equal ones, the one made first goes first.
    using Entry = std::pair<Ticks, std::size_t>;
    std::array<std::priority_queue<Entry, std::vector<Entry>, std::greater<>>, kUrgencies> mQueues;
};

}  // namespace

StreamSupply SyntheticSupply(std::uint64_t seed) {
    return [seed](const StreamPlan& plan) {
        constexpr std::size_t kGroup = 15;  // pictures; decoding can begin at the first
        const bool video = plan.streamId == kStreamIdVideo;
        ElementaryStream stream;
        for (std::size_t i = 0; i < plan.units; ++i) {
            const auto bits = static_cast<std::size_t>(plan.bitRate * UnitTime(plan.streamId) / 90'000);
            stream.units.push_back({bits / 8, !video || i % kGroup == 0});
        }
        // No bytes that could form a start code or the sync word of AC-3.
        stream.read = [random = std::minstd_rand(seed + plan.pid)](const AccessUnit&,
                                                                   std::span<std::uint8_t> bytes) mutable {
            for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random() | 0x80);
        };
        return stream;
    };
}

void Multiplex(const Description& description, const MuxOptions& options, const StreamSupply& supply,
               const PacketSink& sink) {
    Builder(description, options, supply).Run(sink);
}

Octets MakeMultiplex(const Description& description, const MuxOptions& options) {
    Octets stream;
    Multiplex(description, options, SyntheticSupply(options.seed),
              [&](const Packet& packet) { stream.insert(stream.end(), packet.begin(), packet.end()); });
    return stream;
}

}  // namespace mux
