// The overview as Prometheus metrics.
#include <prometheus/text_serializer.h>

#include <algorithm>

#include "serve/overview.h"

namespace zulctl::serve {

namespace {

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;

using Labels = std::vector<ClientMetric::Label>;

/// One family: a name, its help, and a value for each thing that has one.
class Family {
 public:
    Family(std::vector<MetricFamily>& all, const char* name, const char* help, MetricType type = MetricType::Gauge)
        : mrFamily(all.emplace_back(MetricFamily{name, help, type, {}})) {}

    template <typename Number>
    void Add(const Labels& labels, Number value, const Labels& more = {}) {
        ClientMetric& metric = mrFamily.metric.emplace_back();
        metric.label = labels;
        metric.label.insert(metric.label.end(), more.begin(), more.end());
        (mrFamily.type == MetricType::Counter ? metric.counter.value : metric.gauge.value) = static_cast<double>(value);
    }

 private:
    MetricFamily& mrFamily;
};

void Boards(std::vector<MetricFamily>& all, const Overview& overview) {
    Family up(all, "zul_board_up", "1 for a board that answered the last request, 0 for one that didn't");
    Family silent(all, "zul_board_silent_seconds", "Seconds since a board's last answer");
    Family info(all, "zul_board_info", "What a board is; always 1");
    Family load(all, "zul_board_load_ratio", "Load that a board reports, 0 to 1");
    Family signal(all, "zul_board_signal_ratio", "Signal strength at a transmitter's tuner, 0 to 1");
    Family locked(all, "zul_board_tuner_locked", "1 where a transmitter's tuner has locked");
    Family active(all, "zul_board_streams_active", "Streams that a transmitter sends");
    Family channels(all, "zul_board_channels", "Channels in a transmitter's list");
    Family asPlanned(all, "zul_board_as_planned", "1 where a transmitter sends what the plan says, 0 where it differs");
    Family playing(all, "zul_receiver_playing", "1 where a receiver plays a stream");
    Family dark(all, "zul_receiver_dark", "1 where something darkens a receiver's television");
    for (const BoardState& board : overview.boards) {
        const Labels labels = {{"board", EndpointText(board.at)}, {"name", board.name}, {"role", RoleName(board.role)}};
        up.Add(labels, board.lastAnswer && board.trouble.empty());
        silent.Add(labels, board.SilentSeconds(overview.now));
        info.Add(labels, 1, {{"version", board.version}, {"model", board.model}});
        if (!board.trouble.empty()) continue;  // what it said last isn't its state now
        if (board.receiver) {
            load.Add(labels, board.receiver->load / 100.0);
            playing.Add(labels, board.receiver->playsStream);
            dark.Add(labels, overview.DarknessOf(board).has_value());
        }
        if (!board.transmitter) continue;
        load.Add(labels, board.transmitter->load / 100.0);
        signal.Add(labels, board.transmitter->signal / 255.0);
        locked.Add(labels, board.transmitter->locked);
        active.Add(labels, std::ranges::count_if(board.transmitter->streams, &StreamStatus::active));
        if (board.channels) channels.Add(labels, board.channels->size());
        if (const auto differences = overview.DifferencesOf(board)) asPlanned.Add(labels, differences->empty());
    }
}

void Streams(std::vector<MetricFamily>& all, const Overview& overview) {
    constexpr auto kCounter = MetricType::Counter;
    Family info(all, "zul_stream_info", "Which slot of which board sends a stream; always 1");
    Family good(all, "zul_stream_good", "1 for a stream without a fault in the last seconds");
    Family rate(all, "zul_stream_bits_per_second", "Measured bit rate over the last five seconds");
    Family silent(all, "zul_stream_silent_seconds", "Seconds since the last datagram");
    Family bytes(all, "zul_stream_bytes_total", "Bytes received since the stream was joined", kCounter);
    Family packets(all, "zul_stream_packets_total", "Transport packets received", kCounter);
    Family continuity(all, "zul_stream_continuity_errors_total", "Places where packets of a PID are missing", kCounter);
    Family sync(all, "zul_stream_sync_losses_total", "Places where no packet began where one had to", kCounter);
    Family dropped(all, "zul_stream_dropped_here_total", "Datagrams that this machine dropped itself", kCounter);
    for (const Measured& stream : overview.streams) {
        const Labels labels = {{"stream", EndpointText(stream.group)}};
        for (const auto& [board, slot] : overview.SourcesOf(stream.group))
            info.Add(labels, 1, {{"board", EndpointText(board->at)}, {"slot", std::to_string(slot->id)}});
        good.Add(labels, HealthOf(stream) == Health::kGood);
        rate.Add(labels, stream.BitRate());
        silent.Add(labels, stream.silentSeconds);
        bytes.Add(labels, stream.counts.bytes);
        packets.Add(labels, stream.counts.packets);
        continuity.Add(labels, stream.counts.continuityErrors);
        sync.Add(labels, stream.counts.syncLosses);
        dropped.Add(labels, stream.droppedHere);
    }
}

}  // namespace

std::string MetricsText(const Overview& overview) {
    std::vector<MetricFamily> all;
    all.reserve(32);  // families are filled while others are added
    Boards(all, overview);
    Streams(all, overview);
    std::erase_if(all, [](const MetricFamily& family) { return family.metric.empty(); });
    return prometheus::TextSerializer().Serialize(all);
}

}  // namespace zulctl::serve
