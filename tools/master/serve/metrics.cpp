// The overview as Prometheus metrics.
#include <prometheus/text_serializer.h>

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

    void Add(Labels labels, double value) {
        ClientMetric metric;
        metric.label = std::move(labels);
        (mrFamily.type == MetricType::Counter ? metric.counter.value : metric.gauge.value) = value;
        mrFamily.metric.push_back(std::move(metric));
    }

 private:
    MetricFamily& mrFamily;
};

Labels Of(const BoardState& board) {
    return {{"board", board.Id()}, {"name", board.name}, {"role", RoleName(board.role)}};
}

Labels Of(const Measured& stream) { return {{"stream", EndpointText(stream.group)}}; }

template <typename Value>
void EachStream(std::vector<MetricFamily>& all, const Overview& overview, const char* name, const char* help,
                MetricType type, Value value) {
    Family family(all, name, help, type);
    for (const Measured& stream : overview.streams) family.Add(Of(stream), static_cast<double>(value(stream)));
}

void Boards(std::vector<MetricFamily>& all, const Overview& overview) {
    Family up(all, "zul_board_up", "1 for a board that answered the last request, 0 for one that didn't");
    for (const BoardState& board : overview.boards)
        up.Add(Of(board), board.lastAnswer && board.trouble.empty() ? 1 : 0);
    Family silent(all, "zul_board_silent_seconds", "Seconds since a board's last answer");
    for (const BoardState& board : overview.boards) silent.Add(Of(board), board.SilentSeconds(overview.now));
    Family info(all, "zul_board_info", "What a board is; always 1");
    for (const BoardState& board : overview.boards) {
        Labels labels = Of(board);
        labels.push_back({"version", board.version});
        labels.push_back({"model", board.model});
        info.Add(std::move(labels), 1);
    }
    // What a silent board said last isn't its state now.
    Family load(all, "zul_board_load_ratio", "Load that a board reports, 0 to 1");
    for (const BoardState& board : overview.boards) {
        if (!board.trouble.empty()) continue;
        if (board.transmitter) load.Add(Of(board), board.transmitter->load / 100.0);
        if (board.receiver) load.Add(Of(board), board.receiver->load / 100.0);
    }
    Family signal(all, "zul_board_signal_ratio", "Signal strength at a transmitter's tuner, 0 to 1");
    Family locked(all, "zul_board_tuner_locked", "1 where a transmitter's tuner has locked");
    Family active(all, "zul_board_streams_active", "Streams that a transmitter sends");
    Family channels(all, "zul_board_channels", "Channels in a transmitter's list");
    Family asPlanned(all, "zul_board_as_planned", "1 where a transmitter sends what the plan says, 0 where it differs");
    Family playing(all, "zul_receiver_playing", "1 where a receiver plays a stream");
    Family dark(all, "zul_receiver_dark", "1 where something darkens a receiver's television");
    for (const BoardState& board : overview.boards) {
        if (board.trouble.empty() && board.receiver) {
            playing.Add(Of(board), board.receiver->playsStream ? 1 : 0);
            dark.Add(Of(board), overview.DarknessOf(board) ? 1 : 0);
        }
        if (!board.trouble.empty() || !board.transmitter) continue;
        if (const auto differences = overview.DifferencesOf(board))
            asPlanned.Add(Of(board), differences->empty() ? 1 : 0);
        signal.Add(Of(board), board.transmitter->signal / 255.0);
        locked.Add(Of(board), board.transmitter->locked ? 1 : 0);
        double count = 0;
        for (const StreamStatus& stream : board.transmitter->streams) count += stream.active ? 1 : 0;
        active.Add(Of(board), count);
        if (board.channels) channels.Add(Of(board), static_cast<double>(board.channels->size()));
    }
}

void Streams(std::vector<MetricFamily>& all, const Overview& overview) {
    Family info(all, "zul_stream_info", "Which slot of which board sends a stream; always 1");
    for (const Measured& stream : overview.streams) {
        for (const StreamSource& source : overview.SourcesOf(stream.group)) {
            Labels labels = Of(stream);
            labels.push_back({"board", source.board->Id()});
            labels.push_back({"slot", std::to_string(source.slot->id)});
            info.Add(std::move(labels), 1);
        }
    }
    const auto gauge = MetricType::Gauge, counter = MetricType::Counter;
    EachStream(all, overview, "zul_stream_good", "1 for a stream without a fault in the last seconds", gauge,
               [](const Measured& stream) { return HealthOf(stream) == Health::kGood ? 1 : 0; });
    EachStream(all, overview, "zul_stream_bits_per_second", "Measured bit rate over the last five seconds", gauge,
               [](const Measured& stream) { return stream.BitRate(); });
    EachStream(all, overview, "zul_stream_silent_seconds", "Seconds since the last datagram", gauge,
               [](const Measured& stream) { return stream.silentSeconds; });
    EachStream(all, overview, "zul_stream_bytes_total", "Bytes received since the stream was joined", counter,
               [](const Measured& stream) { return stream.counts.bytes; });
    EachStream(all, overview, "zul_stream_packets_total", "Transport packets received", counter,
               [](const Measured& stream) { return stream.counts.packets; });
    EachStream(all, overview, "zul_stream_continuity_errors_total", "Places where packets of a PID are missing",
               counter, [](const Measured& stream) { return stream.counts.continuityErrors; });
    EachStream(all, overview, "zul_stream_sync_losses_total", "Places where no packet began where one had to", counter,
               [](const Measured& stream) { return stream.counts.syncLosses; });
    EachStream(all, overview, "zul_stream_dropped_here_total", "Datagrams that this machine dropped itself", counter,
               [](const Measured& stream) { return stream.droppedHere; });
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
