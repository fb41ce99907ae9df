// Plans and the file of names: refused ones, and the steps from running to planned streams, checked with a model of a
// board's slots.
#include "plan/plan.h"

#include <fstream>
#include <map>
#include <random>

#include "master/failure_of.h"
#include "net/config.h"

namespace zulctl {
namespace {

std::string Written(const std::string& text) {
    std::ofstream("/mnt/plan.toml") << text;
    return "/mnt/plan.toml";
}

TEST(Config, NamesBoards) {
    const Config config =
        ReadConfig(Written("interface = \"eth1\"\nlocal_port = 40000\n"
                           "[boards.attic]\naddress = \"10.0.0.5\"\nrole = \"transmitter\"\n"
                           "[boards.hall]\naddress = \"10.0.0.6:2008\"\n"));
    EXPECT_EQ(config.interfaceName, "eth1");
    EXPECT_EQ(config.localPort, 40000);
    EXPECT_EQ(config.Find("hall")->port, 2008);
    EXPECT_EQ(config.Find("cellar"), nullptr);
    EXPECT_EQ(config.NameOf({0x0A000005, 5000}), "attic");
    EXPECT_EQ(config.NameOf({0x0A000005, 2008}), "") << "another board at that address";
}

TEST(Plan, IsReadWithItsPlaces) {
    const auto plan =
        ReadPlan(Written("[boards.attic]\nstreams = [\n"
                         "  {to = \"239.1.1.1:5000\", channels = [\"CINEMA\"]},\n"
                         "  {to = \"239.1.1.2:5000\", channels = [\"7.1\", \"7.3\"], slot = 2, whole = true},\n"
                         "]\n[boards.\"10.0.0.7\"]\nstreams = []\n"));
    ASSERT_EQ(plan.size(), 2u);
    EXPECT_EQ(plan[0].board, "10.0.0.7");
    EXPECT_EQ(plan[1].streams[1].slot, 2);
    EXPECT_TRUE(plan[1].streams[1].whole);
    EXPECT_EQ(plan[1].streams[1].place, "/mnt/plan.toml:4");
}

TEST(Files, SayWhereTheyAreWrong) {
    const auto plan = [](const std::string& path) { ReadPlan(path); };
    const auto names = [](const std::string& path) { ReadConfig(path); };
    const std::string a = "{to = \"239.1.1.1:5000\", channels = [\"A\"]}",
                      slot = "{to = \"239.1.1.2:5000\", channels = [\"A\"], slot = ";
    const struct {
        void (*read)(const std::string&);
        std::string text, words;
    } rows[] = {
        {plan, "", "names no board"},
        {plan, "[boards.a]\n", "no streams"},
        {plan, "[board.a]\nstreams = []\n", "no such \"board\""},
        {plan, "[boards.a]\nstreams = [" + a + "]\n[boards.b]\nstreams = [" + a + "]\n", "is taken by"},
        {plan, "[boards.a]\nstreams = [" + slot + "1}, {to = \"239.1.1.3:5000\", channels = [\"B\"], slot = 1}]\n",
         "slot 1 is taken"},
        {plan, "[boards.a]\nstreams = [" + slot + "8}]\n", "slots 0 to 7"},
        {plan, "[boards.a]\nstreams = [{to = \"10.0.0.1:5000\", channels = [\"A\"]}]\n", "multicast"},
        {plan, "[boards.a]\nstreams = [{to = \"239.1.1.1:5000\"}]\n", "no channels"},
        {plan, "[boards.a]\nstreams = [{channels = [\"A\"]}]\n", "no \"to\""},
        {plan, "[boards.a]\nstreams = [{to = \"239.1.1.1:5000\", channels = [\"A\"], slott = 1}]\n", "slott"},
        {plan, "[boards.a\n", "/mnt/plan.toml:1"},
        {names, "[boards.a]\nadress = \"10.0.0.5\"\n", ":2: a board has no \"adress\""},
        {names, "[boards.a]\naddress = \"10.0.0.256\"\n", ":2: \"10.0.0.256\" isn't an IPv4 address"},
        {names, "[boards.a]\n", ":1: board a has no address"},
        {names, "[boards.a]\naddress = \"10.0.0.5\"\nrole = \"tx\"\n", ":3: a role is transmitter or receiver"},
        {names, "local_port = 0\n", ":1: local_port is a number from 1 to 65535"},
        {names, "colour = 1\n", ":1: \"colour\" isn't known here"},
        {names, "interface = \n", ":1: "},
    };
    for (const auto& row : rows) {
        const std::string why = FailureOf(kUsage, [&] { row.read(Written(row.text)); });
        EXPECT_NE(why.find(row.words), std::string::npos) << why;
    }
}

TEST(Plan, OneTunerHasOneChannel) {
    const std::vector<Channel> channels = {{71, {1, 3}, 7, 255, 2, 129, false, "A"},
                                           {72, {1, 4}, 7, 255, 2, 129, false, "B"},
                                           {91, {2, 3}, 9, 255, 2, 129, false, "C"}};
    const auto stream = [](const std::string& to, std::vector<std::string> names, bool whole = false) {
        return PlannedStream{*ParseEndpoint(to), std::move(names), whole, std::nullopt, "p:1"};
    };
    const auto wanted =
        Wanted({"a", {stream("239.1.1.1:5000", {"A", "7.2", "A"}), stream("239.1.1.2:5000", {"B"}, true)}}, channels);
    EXPECT_EQ(wanted[0].request.programmes.size(), 2u);
    EXPECT_EQ(wanted[0].what, "A, B");
    EXPECT_TRUE(wanted[1].request.programmes.empty());
    EXPECT_EQ(wanted[1].programmes, (std::set<std::uint16_t>{3, 4}));
    EXPECT_THROW(Wanted({"a", {stream("239.1.1.1:5000", {"A"}), stream("239.1.1.2:5000", {"C"})}}, channels), Failure);
}

/// What a board does with the steps: a start or stop of any slot stops slot 0.
class Slots {
 public:
    int tuned = 7;
    std::map<int, StreamStatus> running;

    std::vector<StreamStatus> Status() const {
        std::vector<StreamStatus> streams;
        for (const auto& [slot, stream] : running) streams.push_back(stream);
        streams.push_back({6, false, *ParseEndpoint("239.9.9.9:1"), {}});  // one that was stopped is still listed
        return streams;
    }
    void Obey(const PlanStep& step, const std::vector<WantedStream>& wanted) {
        if (step.request == "UNIT0") return running.clear();
        running.erase(0), running.erase(*step.slot);
        if (step.kind != PlanStep::Kind::kStart) return;
        for (const auto& [slot, stream] : running) {
            EXPECT_NE(stream.group, *step.to) << "two slots send to one group";
            EXPECT_EQ(tuned, wanted.front().request.channel) << "a stream that runs is tuned away";
        }
        for (const WantedStream& stream : wanted) {
            if (stream.request.to != *step.to) continue;
            tuned = stream.request.channel;
            running[*step.slot] = {*step.slot, true, *step.to, {stream.programmes.begin(), stream.programmes.end()}};
        }
    }
};

WantedStream Random(std::mt19937& random, int group, int channel) {
    WantedStream stream;
    stream.request.to = {0xEF010100u + static_cast<unsigned>(group), 5000};
    stream.request.channel = channel;
    for (std::uint16_t programme = 1; programme <= 3; ++programme) {
        if (random() % 2 == 0 && programme > 1) continue;
        stream.programmes.insert(programme);
        stream.request.programmes.push_back({1, programme});
    }
    return stream;
}

TEST(Steps, LeadToThePlanFromAnywhereAndThenToNothing) {
    std::mt19937 random(5);
    Slots board;
    for (int round = 0; round < 3000; ++round) {
        std::vector<WantedStream> wanted;
        const int channel = random() % 4 == 0 ? 9 : 7;
        const bool fixed = random() % 2 == 0;
        const std::size_t count = random() % 9, first = random() % 8;
        for (std::size_t n = 0; n < count; ++n) {
            wanted.push_back(Random(random, static_cast<int>(random() % 2 * 8 + n), channel));
            if (fixed || n == 0) wanted.back().request.slot = static_cast<int>((first + n) % 8);
        }
        const auto before = board.running;
        const auto steps = StepsTo(wanted, board.Status(), board.tuned);
        for (const PlanStep& step : steps) {
            if (step.kind == PlanStep::Kind::kKeep)
                EXPECT_TRUE(step.request.empty());
            else
                board.Obey(step, wanted);
        }
        ASSERT_EQ(board.running.size(), wanted.size()) << "round " << round;
        for (const PlanStep& step : StepsTo(wanted, board.Status(), board.tuned)) {
            ASSERT_EQ(step.kind, PlanStep::Kind::kKeep) << "round " << round << ": " << step.why;
        }
        for (const PlanStep& step : steps) {
            if (step.kind != PlanStep::Kind::kKeep) continue;
            EXPECT_EQ(before.at(*step.slot).programmes, board.running.at(*step.slot).programmes) << "round " << round;
        }
    }
}

}  // namespace
}  // namespace zulctl
