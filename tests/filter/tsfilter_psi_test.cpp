// PAT and PMT: the PID table, the streams' own PATs, languages and captions.
#include "filter/filter_fixture.h"

using namespace transport;

namespace {

constexpr unsigned kPmt1 = 0x30, kPmt2 = 0x40;

const std::vector<Programme> kTwo = {{1, kPmt1}, {2, kPmt2}};

/// The PAT section of a packet, without its stuffing.
Blob SectionOf(const Blob& packet) {
    const std::size_t size = 3 + ((packet[6] & 0xFu) << 8 | packet[7]);
    return Blob(packet.begin() + 5, packet.begin() + 5 + static_cast<long>(size));
}

}  // namespace

class PsiTest : public TsFilterTest {
 protected:
    void FeedPat(unsigned version, const std::vector<Programme>& programmes = kTwo) {
        FeedProved(SectionPacket(0, mContinuity++, Pat(0x1234, version, programmes)));
    }
    unsigned mContinuity = 0;
};

TEST_F(PsiTest, PrivatePat_BlanksProgrammesTheStreamDoesNotCarry) {
    const std::vector<std::uint16_t> carried[] = {{1}, {2}, {1, 2}};
    FeedPat(1);
    for (unsigned id = 0; id < 3; ++id) {
        AddEagerStream(static_cast<int>(id));
        for (const auto programme : carried[id]) mFilter.AddProgramToStream(static_cast<int>(id), 0x1234, programme);
    }
    FeedPat(2);
    EXPECT_TRUE(TakeOutput().empty()) << "the PAT that is analysed in full is not sent";
    for (unsigned i = 1; i <= 12; ++i) {  // after the 15th of 128 it is analysed again
        FeedPat(2);
        const Blob packets = TakeOutput();
        ASSERT_EQ(packets.size(), 3 * kPacket) << i;
        for (unsigned id = 0; id < 3; ++id) {
            const Blob packet(packets.begin() + id * kPacket, packets.begin() + (id + 1) * kPacket);
            EXPECT_EQ(packet[3], 0x10 | (i & 0xF)) << "the stream's own continuity";
            const Blob wanted = Pat(0x1234, 2, {{id != 1 ? 1u : 0u, kPmt1}, {id != 0 ? 2u : 0u, kPmt2}});
            EXPECT_EQ(SectionOf(packet), wanted) << "blanked in its place, with a CRC of its own";
        }
    }
}

TEST_F(PsiTest, OnePatIn128IsAnalysedAgain) {
    FeedPat(1);
    AddEagerStream(0);
    std::vector<int> silent;
    for (int i = 2; i <= 300; ++i) {
        FeedPat(2);
        if (TakeOutput().empty()) silent.push_back(i);
    }
    EXPECT_EQ(silent, (std::vector<int>{2, 16, 144, 272})) << "the first, then each after the 15th of 128";
}

TEST_F(PsiTest, PatFillsRowsAndStore) {
    Row(kPmt1).status = ePidKnown;  // as a stream leaves an unidentified PID
    FeedPat(1, {{1, kPmt1}, {0, 0x10}, {0x7FFF, 0x1FFE}});
    EXPECT_EQ(Row(kPmt1).status, ePidUnknown);
    EXPECT_EQ(Row(kPmt1).type, ePidPmt);
    EXPECT_EQ(Row(kPmt1).programId, 1);
    EXPECT_EQ(Row(kPmt1).transportId, 0x1234);
    EXPECT_EQ(Row(0x10).type, ePidNone);
    EXPECT_EQ(Row(0x1FFE).programId, 0x7FFF);
    EXPECT_EQ(ProgrammesOf(mTuner).size(), 2u);
    for (int again = 0; again < 3; ++again) FeedPat(2u + static_cast<unsigned>(again), {{1, kPmt1}, {0x7FFF, 0x1FFE}});
    EXPECT_EQ(ProgrammesOf(mTuner).size(), 2u);
}

TEST_F(PsiTest, SectionLengthsAreHeldToTheStandard) {
    Blob section(1024 + 3, 0xFF);
    section[0] = 0;
    for (const auto& [length, accepted] : {std::pair{1021u, true}, {1022u, false}, {0xFFFu, false}}) {
        section.resize(3 + length);
        section[1] = static_cast<std::uint8_t>(0xB0 | length >> 8);
        section[2] = static_cast<std::uint8_t>(length);
        EXPECT_EQ(mFilter.AnalyzeSectionPat(section.data()), accepted) << length;
        section[0] = 2;
        section[10] = section[11] = 0;
        EXPECT_EQ(mFilter.AnalyzeSectionPmt(section.data(), 0), accepted) << length;
        section[0] = 0;
    }
}

TEST_F(PsiTest, PmtSettlesItsStreamsOnce) {
    FeedPat(1);
    const Blob english{0x0A, 4, 'e', 'n', 'g', 0}, spanish{0x0A, 4, 's', 'p', 'a', 3};
    FeedProved(
        SectionPacket(kPmt1, 0, Pmt(1, {{2, 0x31, {}}, {0x81, 0x34, english}, {0x81, 0, {}}, {0x81, 0x35, spanish}})));
    EXPECT_EQ(Row(0x31).status, ePidKnown);
    EXPECT_EQ(Row(0x31).type, ePidElementary);
    EXPECT_EQ(Row(0x31).streamType, 2);
    EXPECT_EQ(Row(0x31).transportId, 0x1234);
    EXPECT_STREQ(Row(0x34).audioLanguage, "eng");
    EXPECT_STREQ(Row(0x35).audioLanguage, "spa");
    EXPECT_EQ(Row(0x35).audioLangType, 3);
    EXPECT_EQ(Row(0).streamType, 0) << "PID 0 is skipped, by its length";
    // Another programme lists the PID: it stays, but its descriptors are read.
    FeedProved(SectionPacket(kPmt2, 0, Pmt(2, {{3, 0x34, spanish}})));
    EXPECT_EQ(Row(0x34).programId, 1);
    EXPECT_EQ(Row(0x34).streamType, 0x81);
    EXPECT_STREQ(Row(0x34).audioLanguage, "spa");
    const ScalProgramDesc& first = *ProgrammesOf(mTuner).front();
    EXPECT_EQ(first.videoType, 2u);
    EXPECT_EQ(first.audioType, 0x81u);
    EXPECT_EQ(first.language.size(), 3u) << "eng, spa on 0x35, spa on 0x34";
}

TEST(Psi, LanguagesOfNoTransportStreamAreReportedOnAReceiverAlone) {
    for (const char role : {'T', 'R'}) {
        TunerManager tuner(role);
        TsFilter filter(role, &tuner);
        Blob pat = Pat(0x1234, 1, kTwo), pmt = Pmt(1, {{0x81, 0x34, {0x0A, 4, 'e', 'n', 'g', 0}}});
        filter.AnalyzeSectionPat(pat.data());
        filter.AnalyzeSectionPmt(pmt.data(), 0);
        EXPECT_EQ(ProgrammesOf(tuner).front()->language.size(), role == 'R' ? 1u : 0u) << role;
    }
}

TEST_F(PsiTest, APacketMayEndOneSectionAndBeginAnother) {
    unsigned continuity = 0;
    for (const auto& [pointer, read] : {std::pair{1u, true}, {100u, true}, {181u, true}, {182u, false}}) {
        mFilter.CleanPacketIdMap();
        FeedPat(pointer & 0x1F);
        const Blob first = Pmt(1, {{2, 0x31, Blob(162 + pointer)}});  // 183 bytes of it fill the first packet
        const Blob second = Pmt(1, {{0x81, 0x34, {}}});
        const std::size_t cut = std::min<std::size_t>(183 - pointer, second.size());
        Blob start{0}, middle{static_cast<std::uint8_t>(pointer)};
        start.insert(start.end(), first.begin(), first.begin() + 183);
        middle.insert(middle.end(), first.begin() + 183, first.end());
        middle.insert(middle.end(), second.begin(), second.begin() + static_cast<long>(cut));
        FeedProved(Packet(kPmt1, continuity++, start, true));
        FeedProved(Packet(kPmt1, continuity++, middle, true));
        FeedProved(Packet(kPmt1, continuity++, Blob(second.begin() + static_cast<long>(cut), second.end())));
        EXPECT_EQ(Row(0x31).status == ePidKnown, read) << "the rest before a pointer_field of " << pointer;
        EXPECT_EQ(Row(0x34).status == ePidKnown, read) << "the start after it";
    }
}

TEST_F(PsiTest, DescriptorsThatLieAreHeldToTheirBytes) {
    struct Case {
        const char* what;
        Blob descriptors;
        const char* audio;
        const char* caption;
        std::size_t reports;
    };
    const Case cases[] = {
        {"language whose second entry is cut", {0x0A, 6, 'e', 'n', 'g', 0, 's', 'p'}, "eng", "", 1},
        {"language that runs past the loop", {0x0A, 200, 'e', 'n', 'g', 0}, "eng", "", 1},
        {"language cut in its only entry", {0x0A, 4, 'e', 'n'}, "", "", 1},
        {"descriptor of length 0 in front", {0x86, 0, 0x0A, 4, 'f', 'r', 'a', 0}, "fra", "", 1},
        {"tag without a length", {0x0A}, "", "", 0},
        {"one caption service", {0x86, 7, 0xC1, 'e', 'n', 'g', 0xC1, 0xBF, 0xFF}, "", "eng", 1},
        {"captions: no service", {0x86, 1, 0xC0}, "", "", 1},
        {"captions: more bytes than services", {0x86, 9, 0xC1, 'e', 'n', 'g', 0xC1, 0xBF, 0xFF, 1, 2}, "", "eng", 1},
        {"captions: fewer bytes than services", {0x86, 7, 0xC2, 'e', 'n', 'g', 0xC1, 0xBF, 0xFF}, "", "eng", 1},
        {"captions: no whole entry", {0x86, 4, 0xC1, 'e', 'n', 'g'}, "", "", 0},
    };
    unsigned pid = 0x100;
    for (const Case& step : cases) {
        FeedPat(pid & 0x1F);
        mTuner.CleanScalProgramDescriptors();
        ++pid;
        FeedProved(SectionPacket(kPmt1, pid, Pmt(1, {{0x81, pid, step.descriptors}}, pid & 0x1F)));
        EXPECT_STREQ(Row(pid).audioLanguage, step.audio) << step.what;
        EXPECT_STREQ(Row(pid).captionLanguage, step.caption) << step.what;
        EXPECT_EQ(ProgrammesOf(mTuner).front()->language.size(), step.reports) << step.what;
    }
}
