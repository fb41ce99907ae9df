// From MGT, VCT, STT, EIT and ETT sections to PID rows, store and clock.
#include <map>
#include <random>
#include <regex>
#include <tuple>

#include "core/broadcasttime.h"
#include "core/log.h"
#include "filter/filter_fixture.h"
#include "psip_sections.h"
#include "support/output.h"

using namespace transport;

namespace {

constexpr unsigned kBasePid = 0x1FFB;
constexpr unsigned kGuidePid = 0x1D00;
constexpr std::uint16_t kSource = 0x0102;
constexpr std::uint16_t kOther = 0x0103;

/// The same section with other bits in one byte, and a valid CRC.
Blob Flipped(Blob section, std::size_t at, unsigned bits) {
    section.resize(section.size() - kCrcSize);
    section[at] = static_cast<std::uint8_t>(section[at] ^ bits);
    Put32(section, crc32(section.data(), static_cast<std::uint32_t>(section.size())));
    return section;
}

/// The first `size` bytes of a section as a separate section.
Blob CutTo(Blob section, std::size_t size) {
    section.resize(size);
    return Sealed(section);
}

}  // namespace

class AnalysersTest : public TsFilterTest {
 protected:
    /// Adds a programme to the current channel, as the VCT does, and makes the guide's PID one of an EIT.
    void SetUp() override {
        TsFilterTest::SetUp();
        Row(kGuidePid).type = ePidEit;
        mTuner.AddProgramToScanResults(0x55, 3);
        mTuner.SetPsipInfoForProgram(0x55, 3, "\0A\0B\0C\0D\0E\0F\0G\0", 7, 1, 4, 1, 2, kSource);
    }

    /// Feeds a section in packets. \return the log's lines of the analysis
    std::string Feed(const Blob& section, unsigned pid = kBasePid) {
        std::string kept;
        for (const std::string& line : LogLines([&] { FeedProved(SectionPackets(pid, mContinuity[pid], section)); })) {
            for (const char* analysis : {"Mgt", "Vct", "Eit", "Ett", "Reserved"}) {
                if (line.starts_with(analysis)) kept += line;
            }
        }
        return kept;
    }

    ScalProgramDesc& Programme() { return *ProgrammesOf(mTuner).back(); }

    /// "id start duration title" of each event, in order.
    std::vector<std::string> Events() {
        std::vector<std::string> events;
        for (const Event* event = Programme().mEvents.begin(0); event != nullptr; event = Programme().mEvents.next(0)) {
            events.push_back(std::to_string(event->eventId) + " " + std::to_string(event->startTime) + " " +
                             std::to_string(event->duration) + " " + std::string(event->titleShort, event->titleLen));
        }
        return events;
    }

    std::map<unsigned, unsigned> mContinuity;
};

TEST_F(AnalysersTest, MgtTellsWhatItsPidsCarry) {
    const struct {
        unsigned tableType;
        int type;
        int status;
    } kCases[] = {
        {0x0000, ePidVct, ePidUnknown},  {0x0003, ePidVct, ePidUnknown},  {0x0004, ePidEtt, ePidUnknown},
        {0x0005, ePidDcc, ePidUnknown},  {0x0006, ePidNone, ePidIgnored}, {0x00FF, ePidNone, ePidIgnored},
        {0x0100, ePidEit, ePidUnknown},  {0x017F, ePidEit, ePidUnknown},  {0x0180, ePidNone, ePidIgnored},
        {0x01FF, ePidNone, ePidIgnored}, {0x0200, ePidEtt, ePidUnknown},  {0x027F, ePidEtt, ePidUnknown},
        {0x0280, ePidNone, ePidIgnored}, {0x0300, ePidNone, ePidIgnored}, {0x0301, ePidRrt, ePidUnknown},
        {0x03FF, ePidRrt, ePidUnknown},  {0x0400, ePidNone, ePidIgnored}, {0x0FFF, ePidNone, ePidIgnored},
        {0x1000, ePidNone, ePidIgnored}, {0x13FF, ePidNone, ePidIgnored}, {0x1400, ePidDcc, ePidUnknown},
        {0x14FF, ePidDcc, ePidUnknown},  {0x1500, ePidNone, ePidIgnored}, {0xFFFF, ePidNone, ePidIgnored},
    };
    std::vector<Blob> entries;
    for (unsigned i = 0; i < std::size(kCases); ++i) {
        Row(0x1E00 + i).type = ePidPmt;
        entries.push_back(MgtTable(kCases[i].tableType, 0x1E00 + i, Blob(i % 3 * 2, 0)));
    }
    Feed(Mgt(entries));
    for (unsigned i = 0; i < std::size(kCases); ++i) {
        EXPECT_EQ(Row(0x1E00 + i).type, kCases[i].type) << std::hex << kCases[i].tableType;
        EXPECT_EQ(Row(0x1E00 + i).status, kCases[i].status) << std::hex << kCases[i].tableType;
    }
}

TEST_F(AnalysersTest, ReservedBitsCostALineAndNothingElse) {
    const Blob mgt = Mgt({MgtTable(0x100, 0x100)});
    const Blob tvct = Vct(0xC8, 0x55, {VctChannel(9, 1, 1, 9), VctChannel(3, 100, 2, kSource)});  // 9 isn't known
    const Blob cvct = Vct(0xC9, 0x55, {VctChannel(3, 100, 2, kSource)});
    const Blob ett = Ett(kSource, 5 << 2, Plain("long"));
    const struct {
        Blob section;
        std::size_t at;
        unsigned bits;
    } kCases[] = {{mgt, 1, 0x40},   {mgt, 13, 0x20},  {mgt, 15, 0x80},  {mgt, 20, 0x10},
                  {tvct, 1, 0x10},  {tvct, 5, 0x80},  {tvct, 24, 0x10}, {tvct, 36, 0x08},
                  {cvct, 36, 0x01}, {cvct, 40, 0x04}, {ett, 1, 0x20}};
    for (const auto& [section, at, bits] : kCases) {
        const unsigned table = section[0];
        Row(0x100).type = ePidNone;
        Programme().channelMajorNo = 0;
        mTuner.SetExtendedText(kSource, 5 << 2, "", 0, 0x77);
        EXPECT_EQ(Feed(section, table == 0xCC ? kGuidePid : kBasePid), "") << table;
        EXPECT_NE(Feed(Flipped(section, at, bits), table == 0xCC ? kGuidePid : kBasePid), "")
            << table << " byte " << at;
        EXPECT_EQ(Row(0x100).type == ePidEit, table == 0xC7) << table << " byte " << at;
        EXPECT_EQ(Programme().channelMajorNo, table == 0xC8 || table == 0xC9 ? 100 : 0) << table << " byte " << at;
        EXPECT_EQ(Programme().mEvents.begin(0)->unicodeModeForLongInfo, table == 0xCC ? 0 : 0x77) << table << at;
    }
}

TEST_F(AnalysersTest, SttSetsTheClockAtEveryDelivery) {
    for (const std::uint32_t time : {1400000000u, 1400000001u, 1300000000u}) {
        const Blob stt = Stt(time, 17);
        Feed(stt);
        EXPECT_EQ(Time::Self()->GetSystemTime(), time);
        EXPECT_EQ(Time::Self()->MjdToSystem(44244, 0), 17u) << "GPS_UTC_offset";
        Feed(CutTo(Flipped(stt, 12, 0x01), 15));
        EXPECT_EQ(Time::Self()->GetSystemTime(), time) << "cut: not applied";
    }
}

TEST_F(AnalysersTest, EitFilesItsEvents) {
    const Blob none;
    EXPECT_EQ(Feed(Eit(kSource, {EitEvent(1, 1000, 0xFFFFF, none), EitEvent(2, 2000, 60, Plain("News"), Blob(200, 0)),
                                 EitEvent(3, 0xFFFFFFFF, 0, none), EitEvent(0x3FFF, 4000, 5, Plain("")),
                                 EitEvent(5, 5000, 5, Plain("b\x01")), EitEvent(6, 6000, 5, none)}),
                   kGuidePid),
              "");
    EXPECT_EQ(Events(), (std::vector<std::string>{"1 1000 1048575 ", "2 2000 60 News", "3 4294967295 0 News",
                                                  "16383 4000 5 ", "5 5000 5 b*", "6 6000 5 b*"}));
}

// The length of a title is passed as one byte. Coded, "The News" takes three bytes and yields nine, with its
// terminator.
TEST_F(AnalysersTest, EitTitlesCountInOneByte) {
    for (const auto& [plain, filed] : {std::pair{10u, 100u}, {166u, 0u}, {167u, 1u}}) {
        Blob title{1, 'e', 'n', 'g', 11, 0, 0, static_cast<std::uint8_t>(plain)};
        Append(title, Blob(plain, 'x'));
        for (int i = 0; i < 10; ++i) Append(title, {1, 0, 3, 0x43, 0x65, 0xEC});
        ASSERT_LT(title.size(), 256u);
        Feed(Eit(kSource, {EitEvent(1, 1000, 5, title)}), kGuidePid);
        EXPECT_EQ(Programme().mEvents.begin(0)->titleLen, filed) << plain + 90 << " bytes";
    }
}

TEST_F(AnalysersTest, EitWithWrongReservedBitsIsGivenUp) {
    const Blob eit = Eit(kSource, {EitEvent(1, 1000, 5, Plain("a")), EitEvent(2, 2000, 5, Plain("b")),
                                   EitEvent(3, 3000, 5, Plain("c"))});
    EXPECT_EQ(Feed(Flipped(eit, 1, 0x40), kGuidePid), "Eit: ERROR reserved not chking: pkt[1] b0 mask 0x30\n");
    EXPECT_EQ(Events(), std::vector<std::string>{});
    const std::size_t second = 10 + 21 + 19;  // descriptors_length of the second event
    EXPECT_EQ(Feed(Flipped(eit, second, 0x10), kGuidePid), "Eit ERROR reserved 3 mismatch is e0 should be 0xC0\n");
    EXPECT_EQ(Events(), std::vector<std::string>{"1 1000 5 a"}) << "what was reported stays";
}

TEST_F(AnalysersTest, TheCrcIsNoPartOfACutEntry) {
    Row(0x100).type = ePidNone;
    Programme().channelMajorNo = 0;
    Feed(CutTo(Mgt({MgtTable(0x100, 0x100)}), 11 + 10));
    Feed(CutTo(Vct(0xC8, 0x55, {VctChannel(3, 100, 2, kSource)}), 10 + 31));
    Feed(CutTo(Eit(kSource, {EitEvent(1, 1000, 5, Blob())}), 10 + 11), kGuidePid);
    EXPECT_EQ(Row(0x100).type, ePidNone);
    EXPECT_EQ(Programme().channelMajorNo, 0);
    EXPECT_EQ(Events(), std::vector<std::string>{});
}

namespace {

/// A transmitter that receives sections while its store changes.
class Hearer : public AnalysersTest {
 public:
    explicit Hearer(bool forgets) : mForgets(forgets) { SetUp(); }
    ~Hearer() override { TearDown(); }
    void TestBody() override {}

    /// \return its reports and log lines, without addresses and line numbers
    std::string Hear(const Blob& section, int level) {
        if (mForgets) ForgetFiledSections();
        std::string lines;
        lines += Reported([&] {
            lines = Printed([&] {
                global_debug_flag = level;
                FeedProved(SectionPackets(kGuidePid, mContinuity[kGuidePid], section));
                global_debug_flag = 0;
            });
        });
        return std::regex_replace(lines, std::regex("SetExtendedText at [0-9a-f]+"), "");
    }

    /// Changes the store, by number: empties it, or adds a channel, a programme or a name. Other numbers do nothing.
    void Change(unsigned number) {
        if (number == 0) LoadTheStoreAnew();
        if (number == 1 || number == 2) mTuner.TuneToChannel(static_cast<int>(number));
        if (number == 3 || number == 4) mTuner.AddProgramToScanResults(0x55, 3);
        if (number == 4) mTuner.AddProgramToScanResults(0x55, 4);
        for (const auto& [when, program, source] :
             {std::tuple{5u, 3, kSource}, {6u, 4, kSource}, {7u, 3, kOther}, {8u, 4, kOther}}) {
            if (number != when) continue;
            mTuner.SetPsipInfoForProgram(0x55, static_cast<std::uint16_t>(program), "\0A\0B\0C\0D\0E\0F\0G\0", 7, 1, 4,
                                         1, 2, source);
        }
    }

    std::string Store() {
        std::string store;
        const auto add = [&store](std::initializer_list<std::uint32_t> numbers) {
            for (const std::uint32_t number : numbers) store += std::to_string(number) + ' ';
        };
        mTuner.Store().VisitAll([&](ScalProgramDesc& program) {
            add({program.programId, program.channelLongNameSize, program.unicodeModeForLongName});
            if (program.channelLongName) store += program.channelLongName.get();
            for (const Event* event = program.mEvents.begin(0); event != nullptr; event = program.mEvents.next(0)) {
                add({event->eventId, event->sourceId, event->channelId, event->startTime, event->duration,
                     event->longInfoSize, event->unicodeModeForTitleShort, event->unicodeModeForLongInfo,
                     event->eitWasSet, event->ettWasSet});
                store.append(event->titleShort, event->titleLen);
                if (event->pLongInfo) store.append(event->pLongInfo.get(), event->longInfoSize + 4);
            }
            store += '\n';
        });
        return store;
    }

 private:
    /// A scan that stops immediately empties the store.
    void LoadTheStoreAnew() {
        mTuner.ScanOneChannel(159);
        mTuner.DoScan();
        mFilter.FilterActive(true);
        Row(kGuidePid).type = ePidEit;
    }

    const bool mForgets;
};

}  // namespace

TEST(RepeatedSections, LeaveTheStoreAndTheLogAsIfEachWereFiled) {
    const Blob none;
    std::vector<Blob> sections;
    for (const std::uint16_t source : {std::uint16_t{0}, kSource, kOther}) {  // 0: programmes without a name
        for (const char* title : {"News", "Sports"}) {
            sections.push_back(Eit(source, {EitEvent(1, 1000, 60, Plain(title)), EitEvent(2, 2000, 60, none)}));
            sections.push_back(Ett(source, 1 << 2, Plain(title)));
        }
        sections.push_back(Eit(source, {EitEvent(1, 3000, 60, Plain("News"))}));
        sections.push_back(Eit(source, {EitEvent(3, 1000, 60, Plain(std::string(130, 'x')))}));  // reported each time
        sections.push_back(Ett(source, 1 << 2, Plain(std::string(1100, 'y'))));                  // reported each time
        sections.push_back(Ett(source, 0, Plain("Channel")));
        sections.push_back(Flipped(sections[sections.size() - 4], 1, 0x40));  // logged each time
    }
    Hearer plain(false), forgetful(true);
    std::mt19937 random;  // NOLINT: the same sequence in every run
    std::size_t window = 0;
    for (int step = 0; step < 6000; ++step) {
        const auto number = static_cast<unsigned>(random() % 200);
        plain.Change(number);
        forgetful.Change(number);
        if (random() % 32 == 0) window = random();
        const Blob& section =
            sections[(window + random() % 3) % sections.size()];  // few at a time, so that they repeat
        const int level = random() % 8 == 0;
        ASSERT_EQ(plain.Hear(section, level), forgetful.Hear(section, level)) << "step " << step;
        ASSERT_EQ(plain.Store(), forgetful.Store()) << "step " << step;
    }
}
