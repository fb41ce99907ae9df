// Sections rebuilt from pieces: scenarios step by step.
#include "psip/tablecollector.h"

#include "core/statistics.h"
#include "support/output.h"
#include "transport.h"

namespace {

using transport::Blob;

constexpr std::uint16_t kPid = 0x1FFB;

/// A section of `size` bytes in all, 12 and above, with a valid CRC. \param seed  varies its bytes
Blob Section(unsigned tableId, std::size_t size, unsigned version = 1, unsigned number = 0, unsigned seed = 0) {
    Blob section = transport::Start(tableId, 1, version);
    section[6] = static_cast<std::uint8_t>(number);
    while (section.size() < size - kCrcSize) section.push_back(static_cast<std::uint8_t>(section.size() * 7 + seed));
    return transport::Closed(section);
}

/// Bytes [from, to) of a section.
Blob Part(const Blob& section, std::size_t from, std::size_t to) {
    return Blob(section.begin() + static_cast<std::ptrdiff_t>(from), section.begin() + static_cast<std::ptrdiff_t>(to));
}

Blob operator+(Blob first, const Blob& second) {
    transport::Append(first, second);
    return first;
}

Blob Altered(Blob section, std::size_t at, unsigned bits) {
    section[at] = static_cast<std::uint8_t>(section[at] ^ bits);
    return section;
}

/// The same with a valid CRC.
Blob Resealed(const Blob& section, std::size_t at, unsigned bits) {
    return transport::Closed(Part(Altered(section, at, bits), 0, section.size() - kCrcSize));
}

/// A section whose bytes from `second` on look like another start, as in a stream that repeats a head.
Blob SectionWithTwoHeads(std::ptrdiff_t second) {
    Blob section = Part(Section(0xC7, 300), 0, 296);
    std::copy_n(section.begin(), 8, section.begin() + second);
    return transport::Closed(section);
}

struct Step {
    Blob piece;
    bool start;
    int continuity;
    Blob delivered;  ///< empty: nothing
    std::uint16_t pid = kPid;
};

constexpr bool kStart = true;
constexpr bool kGoesOn = false;
constexpr int kCounted = 0xF0;  ///< added to the continuity of a packet's second piece
const Blob kNothing;
const Blob kStuffing(20, 0xFF);

class CollectorTest : public testing::Test {
 protected:
    CollectorTest() { global_debug_flag = 0; }

    /// The piece has a block of its exact size, so that a read past its end is caught.
    Blob Collect(const Step& step) {
        const Blob piece(step.piece);
        const Bytes whole =
            mCollector->CollectPsipSection(step.pid, piece, step.start, static_cast<std::uint8_t>(step.continuity));
        return Blob(whole.begin(), whole.end());
    }

    void Run(const std::string& name, const std::vector<Step>& steps) {
        for (std::size_t i = 0; i < steps.size(); ++i) {
            EXPECT_EQ(Collect(steps[i]), steps[i].delivered) << name << ", step " << i;
        }
    }

    std::unique_ptr<TableCollector> mCollector = std::make_unique<TableCollector>();
};

/// Scenarios on fresh collectors.
TEST_F(CollectorTest, Scenarios) {
    const Blob a = Section(0xC7, 300);
    const Blob a1 = Part(a, 0, 183), a2 = Part(a, 183, 300) + kStuffing;
    const Blob b = Section(0xC8, 40);
    const Blob twice = SectionWithTwoHeads(183), twice1 = Part(twice, 0, 183), twice2 = Part(twice, 183, 300);
    const Blob later = SectionWithTwoHeads(200);
    const struct {
        std::string name;
        std::vector<Step> steps;
    } kScenarios[] = {
        {"one packet, followed by stuffing", {{b + kStuffing, kStart, 9, b}}},
        {"two packets, then one after the other",
         {{a1, kStart, 15, {}}, {a2, kGoesOn, 0, a}, {b, kStart, 1, b}, {a1, kStart, 2, {}}, {a2, kGoesOn, 3, a}}},
        {"gap in a section, picked up at the next start",
         {{a1, kStart, 3, {}}, {a2, kGoesOn, 5, {}}, {a2, kGoesOn, 6, {}}, {a1, kStart, 7, {}}, {a2, kGoesOn, 8, a}}},
        {"a repeated counter is a gap", {{a1, kStart, 5, {}}, {a2, kGoesOn, 5, {}}}},
        {"a rest without a start isn't counted",
         {{b, kStart, 3, b}, {a2, kGoesOn, 9, {}}, {a1, kStart, 4, {}}, {a2, kGoesOn, 5, a}}},
        {"rest and start in one packet count once",
         {{a1, kStart, 3, {}}, {a2, kGoesOn, 4, a}, {a1, kStart, 4 + kCounted, {}}, {a2, kGoesOn, 5, a}}},
        {"a start in the middle, with a gap: both are lost",
         {{a1, kStart, 3, {}}, {a1, kStart, 5, {}}, {a2, kGoesOn, 6, {}}, {a1, kStart, 7, {}}, {a2, kGoesOn, 8, a}}},
        {"a start in the middle, in step, continues the section",
         {{twice1, kStart, 3, {}}, {twice2, kStart, 4, twice}}},
        {"the same in the middle of a packet, which counts once",
         {{Part(later, 0, 183), kStart, 3, {}},
          {Part(later, 183, 200), kGoesOn, 4, {}},
          {Part(later, 200, 300), kStart, 4 + kCounted, later}}},
        {"another table between the pieces", {{a1, kStart, 3, {}}, {b, kStart, 4, b}, {a2, kGoesOn, 5, a}}},
        {"the same section on two PIDs",
         {{a1, kStart, 3, {}}, {a1, kStart, 7, {}, 0x100}, {a2, kGoesOn, 4, a}, {a2, kGoesOn, 8, a, 0x100}}},
        {"a bad CRC", {{Altered(b, 39, 1), kStart, 3, {}}}},
    };
    for (const auto& [name, steps] : kScenarios) {
        mCollector = std::make_unique<TableCollector>();
        Run(name, steps);
    }
}

TEST_F(CollectorTest, AHeadThatIsCutWaitsForItsRest) {
    const Blob a = Section(0xCB, 180), b = Section(0xCB, 170, 1, 1);
    for (std::size_t cut = 1; cut < 10; ++cut) {
        const Blob head = Part(a, 0, cut), rest = Part(a, cut, a.size()) + kStuffing;
        Run("after stuffing, cut at " + std::to_string(cut), {{head, kStart, 3, {}}, {rest, kGoesOn, 4, a}});
        Run("after a rest", {{Part(b, 0, 90), kStart, 5, {}},
                             {Part(b, 90, 170) + head, kGoesOn, 6, b},
                             {head, kStart, 6 + kCounted, {}},
                             {rest, kGoesOn, 7, a}});
        Run("rest and a new start in one packet",
            {{head, kStart, 8, {}}, {rest, kGoesOn, 9, a}, {b, kStart, 9 + kCounted, b}});
        Run("byte by byte", {{head, kStart, 1, {}},
                             {Part(a, cut, cut + 1), kGoesOn, 2, {}},
                             {Part(a, cut + 1, cut + 2), kGoesOn, 3, {}},
                             {Part(a, cut + 2, 180), kGoesOn, 4, a}});
        Run("a gap loses it", {{head, kStart, 3, {}}, {rest, kGoesOn, 5, {}}, {rest, kGoesOn, 6, {}}});
        if (cut >= 8) continue;  // enough to name its table: no head is kept
        Run("a start loses it", {{head, kStart, 7, {}}, {b, kStart, 8, b}, {rest, kGoesOn, 9, {}}});
        Run("stuffing is no head", {{Blob(cut, 0xFF), kStart, 1, {}}, {a, kGoesOn, 2, {}}, {a, kStart, 3, a}});
    }
    EXPECT_EQ(mCollector->GetStats().size(), 2u) << "no object but those of a and b";
}

TEST_F(CollectorTest, SizesAreHeldToTheTablesBuffer) {
    const struct {
        unsigned tableId;
        std::size_t size;
        bool delivered;
    } kCases[] = {
        {0x02, 1024, true},  {0x02, 1025, false}, {0x00, 1024, true},  {0x00, 1025, false},
        {0xC5, 1025, false}, {0xC8, 1025, false}, {0xC9, 1024, true},  {0xCD, 1025, false},
        {0xC6, 1025, true},  {0xC7, 4096, true},  {0xC7, 4097, false}, {0xCB, 4096, true},
        {0xCC, 4097, false}, {0x02, 12, true},    {0xC0, 1025, false}, {0xBF, 1025, true},
    };
    for (const auto& row : kCases) {
        const Blob section = Section(row.tableId, row.size);
        Reported([&] {
            EXPECT_EQ(Collect({section, kStart, 0, {}}), row.delivered ? section : kNothing)
                << row.tableId << " " << row.size;
        });
    }
}

TEST_F(CollectorTest, SectionsTooShortForACrcAreRefused) {
    for (std::uint8_t length = 0; length < 9; ++length) {
        const Blob piece = Blob{0xC7, 0xF0, length} + Blob(20, 0x00);
        Reported([&] { EXPECT_EQ(Collect({piece, kStart, 0, {}}), kNothing) << int{length}; });
    }
}

TEST_F(CollectorTest, VersionsAreFollowedAndRepetitionsDelivered) {
    const Blob v1 = Section(0xC8, 60), other = Section(0xC8, 60, 1, 0, 9), v31 = Section(0xC8, 60, 31);
    const Blob notYet = Resealed(v1, 5, 0x01), noReserved = Resealed(v1, 5, 0xC0);
    const struct {
        const char* name;
        Blob piece;
        bool delivered;
        std::uint32_t good, changes, reserved;
    } kSteps[] = {
        {"first", v1, true, 1, 0, 0},
        {"again", v1, true, 2, 0, 0},
        {"same version, other content", other, true, 3, 0, 0},
        {"not in force yet", notYet, false, 3, 0, 0},
        {"31", v31, true, 1, 1, 0},
        {"31 to 0", Section(0xC8, 60, 0), true, 1, 2, 0},
        {"reserved bits", noReserved, true, 1, 3, 0},  // counted before the new version resets the counters
        {"reserved bits again", noReserved, true, 2, 3, 1},
    };
    for (const auto& step : kSteps) {
        EXPECT_EQ(Collect({step.piece, kStart, 0, {}}), step.delivered ? step.piece : kNothing) << step.name;
        const PsipSection::Stats stats = mCollector->GetStats().at(0);
        EXPECT_EQ(stats.good, step.good) << step.name;
        EXPECT_EQ(stats.versionChanges, step.changes) << step.name;
        EXPECT_EQ(stats.droppedReserved, step.reserved) << step.name;
    }
    // current_next_indicator is ignored in the PAT and the STT.
    const Blob pat = Resealed(Section(0x00, 30), 5, 0x01), stt = Resealed(Section(0xCD, 30), 5, 0x01);
    EXPECT_EQ(Collect({pat, kStart, 0, {}, 0}), pat);
    EXPECT_EQ(Collect({stt, kStart, 0, {}}), stt);
}

TEST_F(CollectorTest, AnMgtMakesOneEitAndOneEttNew) {
    const Blob mgt = Section(0xC7, 40);
    for (const unsigned table : {0xCBu, 0xCCu}) {
        for (unsigned number = 0; number < 2; ++number) Collect({Section(table, 40, 1, number), kStart, 0, {}, 0x100});
    }
    EXPECT_EQ(Collect({mgt, kStart, 0, {}}), mgt);
    for (const unsigned table : {0xCBu, 0xCCu}) {
        for (unsigned number = 0; number < 2; ++number) Collect({Section(table, 40, 2, number), kStart, 0, {}, 0x100});
    }
    std::vector<std::uint32_t> changes;
    for (const auto& stats : mCollector->GetStats()) changes.push_back(stats.versionChanges);
    EXPECT_EQ(changes, (std::vector<std::uint32_t>{0, 1, 0, 1, 0})) << "EIT 0 and 1, ETT 0 and 1, MGT";
}

TEST_F(CollectorTest, CountsGoodAndDroppedSectionsByTable) {
    const Blob good = Section(0xC8, 60), long1 = Part(Section(0xC9, 300), 0, 183);
    Statistics::Self()->Reset();
    for (const Blob& piece : {good, good, Altered(good, 20, 1), Resealed(good, 5, 1), long1})
        Collect({piece, kStart, 0, {}});
    Collect({long1, kGoesOn, 9, {}});
    const std::string dump = Printed([] { Statistics::Self()->DumpStats(); });
    EXPECT_NE(dump.find("SECTION 0xc8: good 2, dropped 2\nSECTION 0xc9: good 0, dropped 1\n"), std::string::npos)
        << dump;
}

// Five failures let a table pass only when a start, in step, arrives in the middle of a section.
TEST_F(CollectorTest, ACrcThatNeverMatchesIsIgnoredAfterFiveFailures) {
    const Blob bad = Altered(SectionWithTwoHeads(183), 20, 0x01);
    const Blob front = Part(bad, 0, 183), rest = Part(bad, 183, 300);
    int counter = 0;
    for (int failures = 0; failures < 4; ++failures) {
        Run("whole", {{front, kStart, counter, {}}, {rest, kGoesOn, counter + 1, {}}});
        counter += 2;
    }
    Run("four aren't enough", {{front, kStart, counter, {}}, {rest, kStart, counter + 1, {}}});
    Run("five", {{front, kStart, counter + 2, {}}, {rest, kStart, counter + 3, bad}});
    Run("not for the next section", {{front, kStart, counter + 4, {}}, {rest, kGoesOn, counter + 5, {}}});
}

TEST_F(CollectorTest, KeepsAtMost1024ObjectsAndTakesTheOldestIdleOneAgain) {
    const auto numbered = [](unsigned i, std::size_t size) { return Section(0xC7 + i / 256, size, 1, i % 256); };
    Collect({Part(numbered(0, 300), 0, 183), kStart, 0, {}});  // in progress from now on
    for (unsigned i = 1; i < 1024; ++i) Collect({numbered(i, 30), kStart, 0, {}});
    ASSERT_EQ(mCollector->GetStats().size(), TableCollector::kMaxSections);
    const Blob large = numbered(2000, 2000);
    EXPECT_EQ(Collect({large, kStart, 0, {}}), large) << "a small buffer grows";
    auto stats = mCollector->GetStats();
    ASSERT_EQ(stats.size(), TableCollector::kMaxSections);
    EXPECT_EQ(stats.front().sectionNo, 0) << "the one in progress stays";
    EXPECT_EQ(stats[1].sectionNo, 2) << "the oldest idle one was evicted";
    EXPECT_EQ(stats.back().good, 1u);

    for (unsigned i = 0; i < 1024; ++i) {  // none is idle: the oldest of all is evicted
        Collect({Part(numbered(i, 300), 0, 183), kStart, 0, {}, 0x100});
    }
    const Blob last = Section(0xD0, 30);
    EXPECT_EQ(Collect({last, kStart, 0, {}, 0x100}), last);
    stats = mCollector->GetStats();
    EXPECT_EQ(stats.front().sectionNo, 1);
    EXPECT_EQ(stats.front().pid, 0x100);
    EXPECT_EQ(stats.back().tableId, 0xD0);
}

}  // namespace
